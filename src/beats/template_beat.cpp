// Template beat of a stretch: the most typical of its taller beats.
//
// Input: one row per beat, the 2h + 1 samples around its R peak (h = 0.08 s,
// 16 samples at 200 Hz) minus their median, in the recording's amplitude
// unit. All beats but the lowest quarter form the group; the template is the
// group's beat whose sample correlation coefficients (divisor 2h, clamped to
// [-1, 1], 1 on the diagonal) with every beat of the group add up highest,
// the first of equal sums in height order.
//
// The sums in full need one coefficient per pair of beats: g^2 / 2 dot
// products of 2h + 1 samples, for g of several hundred beats a minute. Only
// which sum is largest matters, and up to rounding each sum is one dot
// product of the beat's normalised samples with the group's summed normalised
// samples. A bound on the rounding of both forms settles the winner from
// those g dot products in all but near-ties; the beats the bound cannot
// separate are summed pairwise, coefficient by coefficient in the order of
// the full matrix, so the winner is the matrix's own in every case.
#include "beats/template_beat.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>

#include "beats/signal_kernels.hpp"
#include "runtime/sample_pool.hpp"
#include "runtime/simd.hpp"
#include "toolbox/reductions.hpp"
#include "toolbox/search_sort.hpp"

namespace zyn::beats {
namespace {

// Groups from this size up share the pairwise sums with the helper thread
// (about a minute of beats: smaller ones do not repay the hand-over).
constexpr std::size_t kMinGroupForTwoThreads = 64;
// Share of the coefficient rows the caller works out itself; it also does
// all the sums.
constexpr double kRowsShareOfCaller = 0.45;
// Column sums that advance side by side in the full matrix.
constexpr std::size_t kRowsSideBySide = 4;
// Beats summed pairwise after the bound, at most; more near-equal sums (a
// synthetic recording of identical beats) go to the full matrix, which is
// shared between the threads.
constexpr std::size_t kMaxBeatsSummedPairwise = 16;
// Unit roundoff of a double.
constexpr double kRoundingUnit = 0x1p-53;
// The bound holds for samples and spreads of ordinary size: no overflow in
// the products, no precision lost to underflow.
constexpr double kLargestOrdinary = 0x1p400;
constexpr double kSmallestSpread = 0x1p-400;

// The group's beats centred on their means, stored sample-major (g beats per
// sample) so that loops over beats run across vector lanes while each beat's
// sums still add in sample order.
struct Group {
  std::vector<std::size_t> beats;  // row index of each member, in height order
  std::size_t g = 0;               // members
  std::size_t len = 0;             // samples per beat
  std::vector<double> centred;     // centred[k * g + j]: sample k of member j
  std::vector<double> variance;    // sum of squares / (len - 1)
  std::vector<double> spread;      // square root of the variance
  double nm1 = 0.0;                // len - 1
  // The divisor len - 1 is applied as a product with its reciprocal when
  // that is exact (a power of two, 32 at 200 Hz): the product rounds the
  // same real quotient once, as the division does.
  bool reciprocalIsExact = false;
  double reciprocal = 0.0;
};

Group template_group(const std::vector<std::vector<double>>& rows) {
  const std::size_t count = rows.size();
  std::vector<double> height(count);
  for (std::size_t i = 0; i < count; ++i) {
    double m = rows[i][0];
    for (double v : rows[i]) m = m > v ? m : v;
    height[i] = m;
  }
  const std::vector<int32_t> order = sort_permutation(height);
  const std::size_t q = (count + 3) / 4;
  Group grp;
  for (std::size_t place = q - 1; place < count; ++place) grp.beats.push_back(static_cast<std::size_t>(order[place] - 1));
  grp.g = grp.beats.size();
  grp.len = rows[0].size();
  grp.nm1 = static_cast<double>(grp.len) - 1.0;
  int exponent = 0;
  grp.reciprocalIsExact = std::frexp(grp.nm1, &exponent) == 0.5;
  grp.reciprocal = 1.0 / grp.nm1;
  const std::size_t g = grp.g;
  grp.centred.resize(grp.len * g);
  for (std::size_t j = 0; j < g; ++j) {
    const auto& row = rows[grp.beats[j]];
    const double m = mean(row);
    for (std::size_t k = 0; k < grp.len; ++k) grp.centred[k * g + j] = row[k] - m;
  }
  grp.variance.assign(g, 0.0);
  for (std::size_t k = 0; k < grp.len; ++k) {
    for (std::size_t j = 0; j < g; ++j) grp.variance[j] += grp.centred[k * g + j] * grp.centred[k * g + j];
  }
  grp.spread.resize(g);
  for (std::size_t j = 0; j < g; ++j) {
    grp.variance[j] /= grp.nm1;
    grp.spread[j] = std::sqrt(grp.variance[j]);
  }
  return grp;
}

// Sum over samples (in order) of the centred samples of members a and b.
double cross_product(const Group& grp, std::size_t a, std::size_t b) {
  double acc = 0.0;
  for (std::size_t k = 0; k < grp.len; ++k) acc += grp.centred[k * grp.g + a] * grp.centred[k * grp.g + b];
  return acc;
}

// tail[j - i - 1] = cross_product(i, j) for j > i. Blocks of sixteen beats
// keep their sixteen sums in registers across the samples; each sum still
// adds its products in sample order.
ZYN_WIDEST_VECTORS void cross_products(const Group& grp, std::size_t i, double* tail) {
  constexpr std::size_t kBlock = 16;
  const std::size_t g = grp.g;
  const std::vector<double>& centred = grp.centred;
  std::size_t j = i + 1;
  for (; j + kBlock <= g; j += kBlock) {
    double acc[kBlock] = {};
    for (std::size_t k = 0; k < grp.len; ++k) {
      const double xi = centred[k * g + i];
      const double* col = &centred[k * g + j];
      for (std::size_t u = 0; u < kBlock; ++u) acc[u] += xi * col[u];
    }
    for (std::size_t u = 0; u < kBlock; ++u) tail[j + u - i - 1] = acc[u];
  }
  for (; j < g; ++j) tail[j - i - 1] = cross_product(grp, i, j);
}

// A correlation coefficient from its cross product: divided by len - 1, then
// by the spread of the lower-indexed member, then by the other's. A rounding
// overshoot past +-1 is clamped to its sign; selected, not branched on, so
// that rows run across vector lanes.
template <bool ReciprocalIsExact>
inline double coefficient_from(double cross, const Group& grp, double spreadLower, double spreadHigher) {
  const double scaled = ReciprocalIsExact ? cross * grp.reciprocal : cross / grp.nm1;
  const double rho = scaled / spreadLower / spreadHigher;
  const double clamped = rho / std::fabs(rho);
  return std::fabs(rho) > 1.0 ? clamped : rho;
}

// Coefficients (i, j > i) of row i of the matrix, independent and
// branch-free, so the divisions run across vector lanes.
ZYN_WIDEST_VECTORS void coefficients_of_row(const Group& grp, std::size_t i, std::span<double> cross) {
  const double spreadI = grp.spread[i];
  const double* spreadJ = grp.spread.data() + i + 1;
  if (grp.reciprocalIsExact) {
    for (std::size_t j = 0; j < cross.size(); ++j) cross[j] = coefficient_from<true>(cross[j], grp, spreadI, spreadJ[j]);
  } else {
    for (std::size_t j = 0; j < cross.size(); ++j) cross[j] = coefficient_from<false>(cross[j], grp, spreadI, spreadJ[j]);
  }
}

void coefficient_row(const Group& grp, std::size_t i, double* tail) {
  cross_products(grp, i, tail);
  coefficients_of_row(grp, i, std::span<double>(tail, grp.g - i - 1));
}

// Diagonal entry: a beat with no spread correlates with nothing.
double self_coefficient(const Group& grp, std::size_t i) {
  return grp.variance[i] > 0.0 ? 1.0 : std::numeric_limits<double>::quiet_NaN();
}

// Column sums of the correlation matrix, each accumulated in row order: at
// row i the coefficients (i, j > i) are both the tail of column i and the
// i-th term of column j. Adds the Count rows from first, tails[r] holding the
// coefficients (first + r, j > first + r). Once the column terms of a row are
// in, what remains of its own column is a chain of additions that no later
// row reads, so the chains of the Count rows advance side by side, each still
// in its own order.
template <std::size_t Count>
void add_rows_to_column_sums(std::vector<double>& sums, const Group& grp, std::size_t first,
                             const std::array<const double*, Count>& tails) {
  const std::size_t g = sums.size();
  std::array<double, Count> own{};
  for (std::size_t r = 0; r < Count; ++r) {
    const std::size_t i = first + r;
    sums[i] += self_coefficient(grp, i);
    for (std::size_t j = i + 1; j < g; ++j) sums[j] += tails[r][j - i - 1];
    own[r] = sums[i];
  }
  // Row first + r holds g - first - r - 1 coefficients; the last row's count
  // is common to all.
  const std::size_t common = g - first - Count;
  for (std::size_t k = 0; k < common; ++k) {
    for (std::size_t r = 0; r < Count; ++r) own[r] += tails[r][k];
  }
  for (std::size_t r = 0; r < Count; ++r) {
    for (std::size_t k = common; k < g - first - r - 1; ++k) own[r] += tails[r][k];
    sums[first + r] = own[r];
  }
}

// The first rows of the upper triangle of a g x g matrix (diagonal excluded)
// that hold at least the given share of its entries.
std::size_t rows_holding_share(std::size_t g, double share) {
  const double entries = static_cast<double>(g) * static_cast<double>(g - 1) / 2.0;
  double held = 0.0;
  std::size_t i = 0;
  while (i < g && held < share * entries) held += static_cast<double>(g - 1 - i++);
  return i;
}

// The winner (its place in the group) from the full matrix. The rows from
// split on are worked out on the helper while the caller works out the first
// rows and sums them; the caller's share is smaller, since it does all the
// sums too.
std::size_t by_coefficient_matrix(const Group& grp, HelperThread& helper) {
  const std::size_t g = grp.g;
  const std::size_t split = g < kMinGroupForTwoThreads ? g : rows_holding_share(g, kRowsShareOfCaller);
  PooledSamples laterRows((g - split) * (g - split - 1) / 2);
  Pending<void> later = helper.start([&] {
    double* tail = laterRows->data();
    for (std::size_t i = split; i < g; tail += g - i - 1, ++i) coefficient_row(grp, i, tail);
  });
  std::vector<double> sums(g, 0.0);
  std::vector<double> block(kRowsSideBySide * g);
  std::size_t i = 0;
  for (; i + kRowsSideBySide <= split; i += kRowsSideBySide) {
    std::array<const double*, kRowsSideBySide> tails{};
    for (std::size_t r = 0; r < kRowsSideBySide; ++r) {
      coefficient_row(grp, i + r, &block[r * g]);
      tails[r] = &block[r * g];
    }
    add_rows_to_column_sums<kRowsSideBySide>(sums, grp, i, tails);
  }
  for (; i < split; ++i) {
    coefficient_row(grp, i, block.data());
    add_rows_to_column_sums<1>(sums, grp, i, {block.data()});
  }
  later.get();
  const double* tail = laterRows->data();
  for (; i + kRowsSideBySide <= g; i += kRowsSideBySide) {
    std::array<const double*, kRowsSideBySide> tails{};
    for (std::size_t r = 0; r < kRowsSideBySide; ++r) {
      tails[r] = tail;
      tail += g - (i + r) - 1;
    }
    add_rows_to_column_sums<kRowsSideBySide>(sums, grp, i, tails);
  }
  for (; i < g; tail += g - i - 1, ++i) add_rows_to_column_sums<1>(sums, grp, i, {tail});
  return first_max_index(sums);
}

// Column i of the matrix summed on its own, in the matrix's order: the
// coefficients (r, i) of the rows above, the diagonal, then (i, j) of the
// row's own tail; each coefficient computed as its row computes it.
double column_sum(const Group& grp, std::size_t i) {
  const auto coefficient = [&grp](std::size_t lower, std::size_t higher) {
    const double cross = cross_product(grp, lower, higher);
    return grp.reciprocalIsExact
               ? coefficient_from<true>(cross, grp, grp.spread[lower], grp.spread[higher])
               : coefficient_from<false>(cross, grp, grp.spread[lower], grp.spread[higher]);
  };
  double sum = 0.0;
  for (std::size_t r = 0; r < i; ++r) sum += coefficient(r, i);
  sum += self_coefficient(grp, i);
  for (std::size_t j = i + 1; j < grp.g; ++j) sum += coefficient(i, j);
  return sum;
}

bool magnitudes_are_ordinary(const Group& grp) {
  for (double s : grp.spread) {
    if (!(s >= kSmallestSpread && s <= kLargestOrdinary)) return false;
  }
  for (double c : grp.centred) {
    if (!(std::fabs(c) <= kLargestOrdinary)) return false;
  }
  return true;
}

// The winner from g dot products, when the rounding bound settles it.
//
// With u_j the centred samples of member j over its spread and z the sum of
// all u_j, the sum of member i's coefficients is (u_i . z) / (len - 1) in
// exact arithmetic. Computed, both that dot product and the matrix's column
// sum lie within g (g + len + 3) units of rounding of it: a coefficient is a
// dot product of two vectors that the spreads scale to length sqrt(len - 1),
// so it is off by at most len + 4 units, and g terms of magnitude at most 1
// add at most g more each; z and u_i . z obey the same bounds. The margin is
// twice that. A member whose approximate sum lies more than two margins below
// the best one is certainly below the winner; the others are summed exactly.
// Returns nothing when the bound does not apply (NaN, infinite, zero-spread
// or extreme samples) or too many members are left.
std::optional<std::size_t> by_bounded_sums(const Group& grp) {
  const std::size_t g = grp.g;
  const std::size_t len = grp.len;
  if (g < 2 || !magnitudes_are_ordinary(grp)) return std::nullopt;
  std::vector<double> normalised(grp.centred.size());
  std::vector<double> total(len, 0.0);
  for (std::size_t k = 0; k < len; ++k) {
    for (std::size_t j = 0; j < g; ++j) {
      normalised[k * g + j] = grp.centred[k * g + j] / grp.spread[j];
      total[k] += normalised[k * g + j];
    }
  }
  std::vector<double> approx(g, 0.0);
  for (std::size_t k = 0; k < len; ++k) {
    for (std::size_t j = 0; j < g; ++j) approx[j] += normalised[k * g + j] * total[k];
  }
  for (double& a : approx) a /= grp.nm1;
  const double margin =
      4.0 * static_cast<double>(g) * (static_cast<double>(g + len) + 8.0) * kRoundingUnit;
  const double best = *std::max_element(approx.begin(), approx.end());
  std::optional<std::size_t> winner;
  double winnerSum = 0.0;
  std::size_t summed = 0;
  for (std::size_t j = 0; j < g; ++j) {
    if (!(approx[j] >= best - 2.0 * margin)) continue;
    if (++summed > kMaxBeatsSummedPairwise) return std::nullopt;
    const double sum = column_sum(grp, j);
    if (!winner || sum > winnerSum) {
      winner = j;
      winnerSum = sum;
    }
  }
  return winner;
}

}  // namespace

std::size_t choose_template(const std::vector<std::vector<double>>& rows, HelperThread& helper) {
  const Group grp = template_group(rows);
  const std::optional<std::size_t> settled = by_bounded_sums(grp);
  return grp.beats[settled ? *settled : by_coefficient_matrix(grp, helper)];
}

}  // namespace zyn::beats
