// Duplicate removal and set operations on sorted vectors.
//
// Unit-free vector routines (sample positions, intervals in seconds, labels);
// every position is 1-based and every result is ascending. Near-duplicates are
// judged against the first value of their run (the run head) with the spacing
// of doubles at half the head, so a chain of values that drifts by less than
// the tolerance per step still splits once it has drifted away from its head.
// NaN tests here are real ones: NaNs sort last and are never merged.
#include "toolbox/sets.hpp"

#include <bit>
#include <cmath>
#include <cstdint>

#include "runtime/scalar.hpp"
#include "toolbox/search_sort.hpp"

namespace zyn {

namespace {

// Index just past the run of near-duplicates headed by values[head].
std::size_t end_of_run(std::span<const double> values, std::size_t head) {
  std::size_t k = head + 1;
  while (k < values.size() && near_duplicate(values[head], values[k])) ++k;
  return k;
}

// Index just past the run of identical integers starting at values[head].
std::size_t end_of_equal_run(std::span<const int32_t> values, std::size_t head) {
  std::size_t k = head + 1;
  while (k < values.size() && values[k] == values[head]) ++k;
  return k;
}

void keep(UniqueWithPositions& out, double value, int32_t position) {
  out.values.push_back(value);
  out.positions.push_back(position);
}

}  // namespace

bool near_duplicate(double head, double v) {
  if (std::fabs(head - v) < eps_of(head / 2.0)) return true;  // eps_of(NaN or Inf) is NaN: false
  return std::isinf(head) && std::isinf(v) && ((head > 0.0) == (v > 0.0));
}

NonFiniteCounts count_non_finite(std::span<const double> sorted) {
  const auto n = static_cast<int32_t>(sorted.size());
  const auto at = [sorted](int32_t k) { return sorted[static_cast<std::size_t>(k)]; };
  NonFiniteCounts c;
  while (c.minusInf < n && std::isinf(at(c.minusInf)) && at(c.minusInf) < 0.0) ++c.minusInf;
  int32_t end = n;
  while (end > c.minusInf && std::isnan(at(end - 1))) --end;
  c.nan = n - end;
  while (end > c.minusInf && std::isinf(at(end - 1)) && at(end - 1) > 0.0) --end;
  c.plusInf = n - c.nan - end;
  c.finite = n - c.minusInf - c.plusInf - c.nan;
  return c;
}

UniqueWithPositions unique_values_with_positions(std::span<const double> values) {
  const std::vector<int32_t> order = sort_permutation(values);
  std::vector<double> sorted(values.size());
  for (std::size_t i = 0; i < sorted.size(); ++i) sorted[i] = values[static_cast<std::size_t>(order[i] - 1)];
  const NonFiniteCounts counts = count_non_finite(sorted);
  const auto inputPosition = [&order](std::size_t sortedIndex) { return order[sortedIndex]; };

  UniqueWithPositions out;
  std::size_t k = 0;
  if (counts.minusInf > 0) keep(out, sorted[0], inputPosition(0));
  k += static_cast<std::size_t>(counts.minusInf);

  const std::size_t finiteEnd = k + static_cast<std::size_t>(counts.finite);
  const std::span<const double> finite(sorted.data(), finiteEnd);
  while (k < finiteEnd) {
    keep(out, sorted[k], inputPosition(k));
    k = end_of_run(finite, k);
  }

  if (counts.plusInf > 0) keep(out, sorted[k], inputPosition(k));
  k += static_cast<std::size_t>(counts.plusInf);
  for (; k < sorted.size(); ++k) keep(out, sorted[k], inputPosition(k));  // NaNs, each kept
  return out;
}

std::vector<double> unique_values(std::span<const double> values) {
  return unique_values_with_positions(values).values;
}

namespace {

// One key per value under exact equality: +0 and -0 share one.
uint64_t exact_key(double v) { return std::bit_cast<uint64_t>(v == 0.0 ? 0.0 : v); }

}  // namespace

std::size_t count_distinct_up_to(std::span<const double> x, std::size_t cap) {
  if (cap == 0) return 0;
  // Open addressing with linear probing, at most a quarter full.
  std::size_t slots = 16;
  while (slots < 4 * cap) slots *= 2;
  std::vector<uint64_t> table(slots);
  std::vector<unsigned char> used(slots, 0);
  std::size_t count = 0;
  for (double v : x) {
    if (std::isnan(v)) {  // no two NaN samples are ever merged
      if (++count >= cap) return cap;
      continue;
    }
    const uint64_t key = exact_key(v);
    auto slot = static_cast<std::size_t>((key * 0x9E3779B97F4A7C15ULL) >> 40) & (slots - 1);
    while (used[slot] != 0 && table[slot] != key) slot = (slot + 1) & (slots - 1);
    if (used[slot] != 0) continue;
    used[slot] = 1;
    table[slot] = key;
    if (++count >= cap) return cap;
  }
  return count;
}

std::vector<int32_t> union_sorted(std::span<const int32_t> a, std::span<const int32_t> b) {
  std::vector<int32_t> c;
  c.reserve(a.size() + b.size());
  std::size_t ia = 0;
  std::size_t ib = 0;
  while (ia < a.size() && ib < b.size()) {
    // Step onto the last copy of each head, so each value is emitted once.
    ia = end_of_equal_run(a, ia) - 1;
    ib = end_of_equal_run(b, ib) - 1;
    if (a[ia] == b[ib]) {
      c.push_back(a[ia++]);
      ++ib;
    } else if (a[ia] < b[ib]) {
      c.push_back(a[ia++]);
    } else {
      c.push_back(b[ib++]);
    }
  }
  for (; ia < a.size(); ia = end_of_equal_run(a, ia)) c.push_back(a[ia]);
  for (; ib < b.size(); ib = end_of_equal_run(b, ib)) c.push_back(b[ib]);
  return c;
}

namespace {

// Binary search of an ascending set with the overflow-free midpoint
// floor(high / 2) + floor(low / 2) (+1 when both are odd); 1-based bounds.
bool occurs_in(std::span<const int32_t> sortedSet, int32_t value) {
  int32_t low = 1;
  int32_t high = static_cast<int32_t>(sortedSet.size());
  while (low <= high) {
    int32_t mid = high / 2 + low / 2;
    if ((low & 1) == 1 && (high & 1) == 1) ++mid;
    const int32_t probe = sortedSet[static_cast<std::size_t>(mid - 1)];
    if (value == probe) return true;
    if (value > probe) {
      low = mid + 1;
    } else {
      high = mid - 1;
    }
  }
  return false;
}

}  // namespace

std::vector<unsigned char> is_member(std::span<const int32_t> a,
                                     std::span<const int32_t> sortedSet) {
  std::vector<unsigned char> found(a.size(), 0);
  for (std::size_t i = 0; i < a.size(); ++i) found[i] = occurs_in(sortedSet, a[i]) ? 1 : 0;
  return found;
}

std::vector<double> set_difference(std::span<const double> a, std::span<const double> b) {
  std::vector<double> c;
  std::size_t ia = 0;
  std::size_t ib = 0;
  while (ia < a.size() && ib < b.size()) {
    const double ak = a[ia];
    const double bk = b[ib];
    const std::size_t nextA = end_of_run(a, ia);
    const std::size_t nextB = end_of_run(b, ib);
    if (near_duplicate(bk, ak)) {  // tolerance taken at the b value
      ia = nextA;
      ib = nextB;
    } else if (ak < bk || std::isnan(bk)) {
      c.push_back(ak);
      ia = nextA;
    } else {
      ib = nextB;
    }
  }
  for (; ia < a.size(); ia = end_of_run(a, ia)) c.push_back(a[ia]);
  return c;
}

}  // namespace zyn
