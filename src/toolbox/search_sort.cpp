// Finding true elements of masks, integer ranges and the stable ascending sort.
//
// Unit-free vector routines; every position is 1-based. The sort order puts
// NaN after every number; this is a real NaN test (unlike the deliberate
// never-NaN scalar test), so a NaN RR interval or amplitude always ends up at
// the tail of a sorted vector, in its input order.
#include "toolbox/search_sort.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>

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

std::vector<int32_t> sort_permutation(std::span<const double> values) {
  // A stable sort's permutation is unique for a given order, so std::stable_sort
  // reproduces the bottom-up merge (pairs first, then runs of 2, 4, 8, ... with
  // the left head winning ties) exactly. "Strictly before" is the negation of
  // precedes_or_equals with the arguments swapped; it is a strict weak order in
  // which equal numbers form one class and all NaNs another.
  std::vector<int32_t> order = integer_colon(static_cast<int32_t>(values.size()));
  std::stable_sort(order.begin(), order.end(), [values](int32_t i, int32_t j) {
    return !precedes_or_equals(values[static_cast<std::size_t>(j - 1)],
                               values[static_cast<std::size_t>(i - 1)]);
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
