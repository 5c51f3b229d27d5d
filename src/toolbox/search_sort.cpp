// Finding true elements of masks and samples within an interval or above a
// threshold, integer ranges and the stable ascending sort.
//
// Unit-free vector routines; every position is 1-based. The sort order puts
// NaN after every number; this is a real NaN test (unlike the deliberate
// never-NaN scalar test), so a NaN RR interval or amplitude always ends up at
// the tail of a sorted vector, in its input order.
#include "toolbox/search_sort.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <type_traits>
#include <utility>

#include "runtime/scalar.hpp"

namespace zyn {

namespace {

int32_t one_based(std::size_t zeroBased) { return static_cast<int32_t>(zeroBased + 1); }

}  // namespace

std::vector<int32_t> true_positions(std::span<const unsigned char> mask) {
  std::vector<int32_t> positions;
  for (std::size_t k = 0; k < mask.size(); ++k) {
    if (mask[k] != 0) positions.push_back(one_based(k));
  }
  return positions;
}

std::vector<int64_t> positions_above(std::span<const double> x, double threshold) {
  // Above a double is at least the next one up, up to +inf; nothing is above
  // +inf (and nothing is at least a NaN).
  if (threshold == kInf) return {};
  const double low = std::nextafter(threshold, kInf);
  return positions_within(x, low, kInf, count_within(x, low, kInf).inside);
}

std::optional<int32_t> first_true_position(std::span<const unsigned char> mask) {
  const auto hit = std::find_if(mask.begin(), mask.end(), [](unsigned char m) { return m != 0; });
  if (hit == mask.end()) return std::nullopt;
  return one_based(static_cast<std::size_t>(hit - mask.begin()));
}

std::optional<int32_t> last_true_position(std::span<const unsigned char> mask) {
  for (std::size_t k = mask.size(); k > 0; --k) {
    if (mask[k - 1] != 0) return static_cast<int32_t>(k);
  }
  return std::nullopt;
}

std::vector<int32_t> integer_colon(int32_t n) {
  std::vector<int32_t> range(static_cast<std::size_t>(std::max<int32_t>(n, 0)));
  std::iota(range.begin(), range.end(), 1);
  return range;
}

bool precedes_or_equals(double a, double b) { return a <= b || std::isnan(b); }

namespace {

// An unsigned key per value whose integer order is the sort order: numbers
// by value (-0 and +0 one key), every NaN one key after +inf.
uint64_t order_key(double v) {
  constexpr uint64_t kSignBit = uint64_t{1} << 63;
  if (std::isnan(v)) return ~uint64_t{0};
  const uint64_t bits = std::bit_cast<uint64_t>(v == 0.0 ? 0.0 : v);
  return (bits & kSignBit) != 0 ? ~bits : bits | kSignBit;
}

// From this many values on, the permutation comes from a radix sort of the
// keys: eight counting passes over 8-bit digits, without a data-dependent
// branch, where a comparison sort mispredicts about every other comparison.
// Shorter inputs do not repay the digit tables.
constexpr std::size_t kRadixSortMinimum = 256;
constexpr std::size_t kDigitBits = 8;
constexpr std::size_t kDigitValues = std::size_t{1} << kDigitBits;
constexpr std::size_t kDigits = 64 / kDigitBits;

std::size_t digit_of(uint64_t key, std::size_t d) {
  return static_cast<std::size_t>((key >> (d * kDigitBits)) & (kDigitValues - 1));
}

// Least significant digit first: each pass is a stable counting sort, so
// equal keys keep their input order, as in the stable sort. A digit that all
// keys share is skipped.
std::vector<int32_t> radix_sort_permutation(std::span<const double> values) {
  const std::size_t n = values.size();
  std::vector<uint64_t> keys(n), movedKeys(n);
  std::vector<int32_t> order(n), movedOrder(n);
  std::vector<std::array<std::size_t, kDigitValues>> counts(kDigits);
  for (auto& c : counts) c.fill(0);
  for (std::size_t i = 0; i < n; ++i) {
    keys[i] = order_key(values[i]);
    order[i] = one_based(i);
    for (std::size_t d = 0; d < kDigits; ++d) ++counts[d][digit_of(keys[i], d)];
  }
  for (std::size_t d = 0; d < kDigits; ++d) {
    auto& next = counts[d];
    if (next[digit_of(keys[0], d)] == n) continue;
    std::size_t start = 0;
    for (std::size_t& c : next) start += std::exchange(c, start);
    for (std::size_t i = 0; i < n; ++i) {
      const std::size_t to = next[digit_of(keys[i], d)]++;
      movedKeys[to] = keys[i];
      movedOrder[to] = order[i];
    }
    keys.swap(movedKeys);
    order.swap(movedOrder);
  }
  return order;
}

}  // namespace

std::vector<int32_t> sort_permutation(std::span<const double> values) {
  // A stable sort's permutation is unique for a given order, so the radix
  // sort and std::stable_sort give the same one. "Strictly before" is the
  // negation of precedes_or_equals with the arguments swapped; it is a
  // strict weak order in which equal numbers form one class and all NaNs
  // another.
  // Input already in that order (beat positions usually are) keeps it.
  const auto strictly_before = [](double a, double b) { return !precedes_or_equals(b, a); };
  if (std::is_sorted(values.begin(), values.end(), strictly_before)) {
    return integer_colon(static_cast<int32_t>(values.size()));
  }
  if (values.size() >= kRadixSortMinimum) return radix_sort_permutation(values);
  std::vector<int32_t> order = integer_colon(static_cast<int32_t>(values.size()));
  std::stable_sort(order.begin(), order.end(), [values, strictly_before](int32_t i, int32_t j) {
    return strictly_before(values[static_cast<std::size_t>(i - 1)], values[static_cast<std::size_t>(j - 1)]);
  });
  return order;
}

std::vector<double> sorted_ascending(std::span<const double> values) {
  std::vector<double> sorted;
  sorted.reserve(values.size());
  for (int32_t p : sort_permutation(values)) sorted.push_back(values[static_cast<std::size_t>(p - 1)]);
  return sorted;
}

void sort_ascending_in_place(std::span<int32_t> values) { std::stable_sort(values.begin(), values.end()); }

}  // namespace zyn
