// The median of a vector and of many short windows of one signal.
//
// Unit-free. The median is the middle of the stable ascending order in which
// NaN sorts after every number (see reductions.hpp); it is found by
// selection, never by a full sort, along the path that suits the input:
//   - up to 64 samples without NaN: each element's rank is counted (lane
//     kernel), and the element spanning the middle place is the median;
//   - short inputs with NaN, and up to 2048 samples: partitioning
//     (std::nth_element) of a copy;
//   - longer inputs: a sample brackets the middle places, one counting pass
//     keeps the few samples inside the bracket (lane kernels of
//     search_sort_kernels.cpp), and only those are selected;
//   - many windows of one short width: a selection network over eight
//     windows side by side (lane kernel).
// Every path gives the value of the stable sort's middle, equivalent but
// different doubles (-0 and +0, NaN payloads) included.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <vector>

#include "runtime/scalar.hpp"
#include "toolbox/median_kernels.hpp"
#include "toolbox/reductions.hpp"
#include "toolbox/search_sort.hpp"

namespace zyn {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// a comes before b in the ascending sort order, where NaN sorts after every
// number (and all NaN are equivalent).
bool sorts_before(double a, double b) { return a < b || (std::isnan(b) && !std::isnan(a)); }
// The same order as a function object, which the selection algorithms inline.
constexpr auto kSortsBefore = [](double a, double b) { return sorts_before(a, b); };

// The element at 0-based place k of the stable ascending order of x, given
// the value an unstable selection put there. Equivalent elements that are
// different doubles (-0 and +0; NaN with different payloads) keep their input
// order in a stable sort, so for those the k-th is looked up in input order;
// any other value has exactly one representation.
double as_in_stable_order(std::span<const double> x, std::size_t k, double selected) {
  if (selected != 0.0 && !std::isnan(selected)) return selected;
  auto equivalent = [selected](double v) {
    return std::isnan(selected) ? std::isnan(v) : v == 0.0;
  };
  std::size_t before = 0;
  for (double v : x) {
    if (sorts_before(v, selected)) ++before;
  }
  std::size_t wanted = k - before;
  for (double v : x) {
    if (!equivalent(v)) continue;
    if (wanted == 0) return v;
    --wanted;
  }
  return selected;
}

// The k-th (0-based) element of x in the ascending order of sorts_before and
// the one after it (the k-th again when k is the last place); equivalent
// doubles may come back in either representation.
struct Selected {
  double kth;
  double next;
};

// Selection in a part of the data: kth is the element at place k of `part`.
Selected select_in_part(std::span<double> part, std::size_t k) {
  const auto kth = part.begin() + static_cast<std::ptrdiff_t>(k);
  std::nth_element(part.begin(), kth, part.end(), kSortsBefore);
  const double next = kth + 1 == part.end() ? *kth : *std::min_element(kth + 1, part.end(), kSortsBefore);
  return {*kth, next};
}

// Short NaN-free input: the element spanning place k (and k + 1) found by
// counting ranks, which has no data-dependent branches and runs across vector
// lanes, instead of partitioning. Equal elements span the same places; the
// last of them in input order is taken.
Selected select_by_ranks(std::span<const double> x, std::size_t k) {
  const auto place = static_cast<int64_t>(k);
  const bool last = k + 1 == x.size();
  std::array<int64_t, kShortInput> below{}, notAbove{};
  rank_every_element(x, below.data(), notAbove.data());
  Selected s{x[0], x[0]};
  for (std::size_t i = 0; i < x.size(); ++i) {
    if (below[i] <= place && place < notAbove[i]) s.kth = x[i];
    if (!last && below[i] <= place + 1 && place + 1 < notAbove[i]) s.next = x[i];
  }
  if (last) s.next = s.kth;
  return s;
}

bool holds_nan(std::span<const double> x) {
  return std::any_of(x.begin(), x.end(), [](double v) { return std::isnan(v); });
}

// For long inputs, a sample of an eighth of x (at most kLargestSample
// elements) spread over x brackets places k and k + 1 between two sample
// values, chosen 3.5 standard errors of a sample rank either side; one pass
// counts the elements below the bracket and keeps the few inside it, and
// only those are ordered, by the same means while they are many (a second
// bracket cuts the ten thousand of a 10-minute recording at 200 Hz to about
// a thousand). When the bracket misses or holds a NaN, the whole input is
// selected instead; the result is the same either way.
constexpr std::size_t kLargestSample = 2048;
constexpr std::size_t kSmallestSampledInput = 2048;

Selected select_in_order(std::span<const double> x, std::size_t k) {
  const std::size_t n = x.size();
  const auto select_whole = [&] {
    std::vector<double> work(x.begin(), x.end());
    return select_in_part(work, k);
  };
  if (n <= kShortInput) {  // a beat-sized window
    if (!holds_nan(x)) return select_by_ranks(x, k);
    std::array<double, kShortInput> work{};
    std::copy(x.begin(), x.end(), work.begin());
    return select_in_part(std::span<double>(work.data(), n), k);
  }
  if (n < kSmallestSampledInput) return select_whole();
  const std::size_t sampleSize = std::min(kLargestSample, n / 8);
  // A sample rank's standard error is at most sqrt(sampleSize) / 2.
  const auto bracketHalfWidth = static_cast<std::size_t>(std::ceil(1.75 * std::sqrt(static_cast<double>(sampleSize))));
  const std::size_t stride = n / sampleSize;
  // Expected place of x's k-th in the sorted sample.
  const auto rank = std::min(static_cast<std::size_t>(static_cast<double>(k) / static_cast<double>(n) *
                                                      static_cast<double>(sampleSize)),
                             sampleSize - 1);
  const std::size_t lowRank = rank >= bracketHalfWidth ? rank - bracketHalfWidth : 0;
  const std::size_t highRank = std::min(rank + bracketHalfWidth, sampleSize - 1);
  std::vector<double> sample(sampleSize);
  // One element from each run of `stride`, at a scrambled offset: a signal
  // with a period near the stride (a heart beat) would bias an evenly
  // spaced sample.
  for (std::size_t i = 0; i < sampleSize; ++i) {
    const uint64_t scrambled = (static_cast<uint64_t>(i) + 1) * 0x9E3779B97F4A7C15ULL;
    sample[i] = x[i * stride + static_cast<std::size_t>((scrambled >> 32) % stride)];
  }
  const auto lowIt = sample.begin() + static_cast<std::ptrdiff_t>(lowRank);
  const auto highIt = sample.begin() + static_cast<std::ptrdiff_t>(highRank);
  std::nth_element(sample.begin(), lowIt, sample.end(), kSortsBefore);
  std::nth_element(lowIt + 1, highIt, sample.end(), kSortsBefore);  // keeps *lowIt in place
  // Without NaN bounds, "v sorts before low" is v < low and "v does not sort
  // after high" is v <= high (both false for a NaN v).
  const double low = lowRank > 0 ? *lowIt : -std::numeric_limits<double>::infinity();
  const double high = highRank + 1 < sampleSize ? *highIt : std::numeric_limits<double>::infinity();
  if (std::isnan(low) || std::isnan(high)) return select_whole();
  // A counting pass across vector lanes sizes the bracket, then the samples
  // inside it are kept.
  const IntervalCounts counted = count_within(x, low, high);
  if (counted.inside > n / 4) return select_whole();  // far wider than expected
  const std::size_t below = counted.below;
  const std::vector<double> inside = elements_within(x, low, high, counted.inside);
  // Places k and k + 1 (or k alone when it is the last) must lie inside.
  const std::size_t end = below + inside.size();
  if (below <= k && (k + 1 < end || (k + 1 == end && end == n))) return select_in_order(inside, k - below);
  return select_whole();
}

// The middle of two ordered values. The first form cannot overflow for two
// large values of one sign; the second is used across zero or for infinities.
double midpoint_of(double lower, double upper) {
  const bool same_sign = (lower < 0.0) == (upper < 0.0);
  if (same_sign && !is_inf(lower) && !is_inf(upper)) return lower + (upper - lower) / 2.0;
  return (lower + upper) / 2.0;
}

}  // namespace

double median(std::span<const double> x) {
  const std::size_t n = x.size();
  if (n == 0) return kNaN;
  // Selection instead of a full sort: the k-th of the ascending order is the
  // same value, and as_in_stable_order settles the equivalent-but-different
  // doubles exactly as the stable sort would.
  const std::size_t upper_place = n / 2;
  if (n % 2 == 1) return as_in_stable_order(x, upper_place, select_in_order(x, upper_place).kth);
  const std::size_t lower_place = upper_place - 1;
  const Selected lower = select_in_order(x, lower_place);
  return midpoint_of(as_in_stable_order(x, lower_place, lower.kth),
                     as_in_stable_order(x, upper_place, lower.next));
}

namespace {

// A comparator network that sorts the few places of a short window, or
// selects its middle places (comparators as in median_kernels.hpp).
using Network = std::vector<Comparator>;

// Knuth's merge exchange (Batcher's odd-even merge for any n): about
// n log2(n)^2 / 4 comparators that sort n places.
Network merge_exchange_network(std::size_t n) {
  Network net;
  if (n < 2) return net;
  std::size_t t = 0;
  while ((std::size_t{1} << t) < n) ++t;
  for (std::size_t p = std::size_t{1} << (t - 1); p > 0; p >>= 1) {
    std::size_t q = std::size_t{1} << (t - 1), r = 0, d = p;
    for (;;) {
      for (std::size_t i = 0; i + d < n; ++i) {
        if ((i & p) == r) net.push_back({static_cast<uint8_t>(i), static_cast<uint8_t>(i + d)});
      }
      if (q == p) break;
      d = q - p;
      q >>= 1;
      r = p;
    }
  }
  return net;
}

// The comparators of a sorting network that can move a value into one of the
// wanted places (found walking back from the outputs): a selection network
// that still leaves the wanted places' sorted values there.
Network selecting(const Network& sorting, std::size_t n, std::initializer_list<std::size_t> wanted) {
  std::vector<bool> matters(n, false);
  for (std::size_t place : wanted) matters[place] = true;
  Network kept;
  for (auto c = sorting.rbegin(); c != sorting.rend(); ++c) {
    if (!matters[c->lower] && !matters[c->higher]) continue;
    kept.push_back(*c);
    matters[c->lower] = matters[c->higher] = true;
  }
  std::reverse(kept.begin(), kept.end());
  return kept;
}

// The selection network of the middle place(s) of every short width, built
// once per process.
const Network& middle_selection_network(std::size_t width) {
  static const std::array<Network, kShortInput + 1> networks = [] {
    std::array<Network, kShortInput + 1> all;
    for (std::size_t n = 1; n <= kShortInput; ++n) {
      const Network sorting = merge_exchange_network(n);
      all[n] = n % 2 == 1 ? selecting(sorting, n, {n / 2}) : selecting(sorting, n, {n / 2 - 1, n / 2});
    }
    return all;
  }();
  return networks[width];
}

}  // namespace

void window_medians(std::span<const double> x, std::span<const std::size_t> starts, std::size_t width,
                    std::span<double> out) {
  const auto window = [&](std::size_t w) { return x.subspan(starts[w], width); };
  if (width == 0 || width > kShortInput) {
    for (std::size_t w = 0; w < starts.size(); ++w) out[w] = median(window(w));
    return;
  }
  const Network& net = middle_selection_network(width);
  const std::size_t upper = width / 2;
  WindowLanes lanes;
  for (std::size_t first = 0; first < starts.size(); first += kWindowsSideBySide) {
    const std::size_t count = std::min(kWindowsSideBySide, starts.size() - first);
    for (std::size_t l = 0; l < kWindowsSideBySide; ++l) {
      const auto samples = window(first + std::min(l, count - 1));  // a short last group repeats its last window
      for (std::size_t place = 0; place < width; ++place) lanes[place][l] = samples[place];
    }
    apply_network(net, lanes);
    for (std::size_t l = 0; l < count; ++l) {
      const auto samples = window(first + l);
      double& m = out[first + l];
      if (holds_nan(samples)) {
        m = median(samples);  // the network's comparisons do not order NaN
      } else if (width % 2 == 1) {
        m = as_in_stable_order(samples, upper, lanes[upper][l]);
      } else {
        m = midpoint_of(as_in_stable_order(samples, upper - 1, lanes[upper - 1][l]),
                        as_in_stable_order(samples, upper, lanes[upper][l]));
      }
    }
  }
}

}  // namespace zyn
