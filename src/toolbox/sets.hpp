// Duplicate removal and set operations on sorted vectors, and counts of
// distinct values.
//
// Values carry no units. For duplicate removal two finite values count as one when they differ by
// less than the spacing of doubles at half of the first value of their run
// (the run head); infinities of one sign count as one; NaNs are never merged.
// Every position returned is 1-based.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zyn {

// True when v joins the run headed by head: |head - v| < eps(head / 2), or
// both are infinities of the same sign. Never true when either is NaN.
bool near_duplicate(double head, double v);

// Sizes of the non-finite classes of an ascending vector (NaNs at its end).
struct NonFiniteCounts {
  int32_t minusInf = 0;  // leading -Inf
  int32_t finite = 0;    // everything between
  int32_t plusInf = 0;   // +Inf just before the NaNs
  int32_t nan = 0;       // trailing NaNs
};
NonFiniteCounts count_non_finite(std::span<const double> sorted);

// Distinct values, ascending: one -Inf, the finite values with near-duplicates
// removed (compared with their run head), one +Inf, then every NaN.
std::vector<double> unique_values(std::span<const double> values);

// unique_values plus, for each kept value, the 1-based position in the input
// of its run head (the first occurrence for exactly equal values).
struct UniqueWithPositions {
  std::vector<double> values;
  std::vector<int32_t> positions;
};
UniqueWithPositions unique_values_with_positions(std::span<const double> values);

// Number of distinct values of x under exact equality (+0 and -0 one value,
// no two NaNs equal), counted only up to cap: min(count, cap). By
// definition the count of elements unequal to every element before them;
// one pass with a hash table of the values seen, which stops at cap, gives
// it in time linear in x.size() whatever the order.
std::size_t count_distinct_up_to(std::span<const double> x, std::size_t cap);

// Values present in either ascending input, each once, ascending.
std::vector<int32_t> union_sorted(std::span<const int32_t> a, std::span<const int32_t> b);

// For each element of a: 1 when it occurs in the ascending sortedSet, else 0.
std::vector<unsigned char> is_member(std::span<const int32_t> a,
                                     std::span<const int32_t> sortedSet);

// Values of ascending a that are not (near-)equal to any value of ascending b,
// one per run of near-duplicates, ascending.
std::vector<double> set_difference(std::span<const double> a, std::span<const double> b);

}  // namespace zyn
