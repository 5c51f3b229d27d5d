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
// separate are summed coefficient by coefficient in the order of the full
// matrix, so the winner is the matrix's own in every case.
#include "beats/template_beat.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>

#include "beats/signal_kernels.hpp"
#include "toolbox/reductions.hpp"
#include "toolbox/search_sort.hpp"

namespace zyn::beats {
namespace {

// Members summed coefficient by coefficient after the bound, at most; with
// more near-equal sums (a synthetic recording of identical beats) the whole
// matrix is summed once instead, each coefficient formed once.
constexpr std::size_t kMaxMembersSummedAlone = 16;
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

// The coefficient of members lower < higher: the cross product divided by
// len - 1, then by the lower member's spread, then by the higher one's; a
// rounding overshoot past +-1 is clamped to its sign.
double coefficient(const Group& grp, std::size_t lower, std::size_t higher) {
  const double rho = cross_product(grp, lower, higher) / grp.nm1 / grp.spread[lower] / grp.spread[higher];
  return std::fabs(rho) > 1.0 ? rho / std::fabs(rho) : rho;
}

// Diagonal entry: a beat with no spread correlates with nothing.
double self_coefficient(const Group& grp, std::size_t i) {
  return grp.variance[i] > 0.0 ? 1.0 : std::numeric_limits<double>::quiet_NaN();
}

// Column i of the matrix summed on its own, in the matrix's order: the
// coefficients (r, i) of the rows above, the diagonal, then (i, j) of the
// row's own tail.
double column_sum(const Group& grp, std::size_t i) {
  double sum = 0.0;
  for (std::size_t r = 0; r < i; ++r) sum += coefficient(grp, r, i);
  sum += self_coefficient(grp, i);
  for (std::size_t j = i + 1; j < grp.g; ++j) sum += coefficient(grp, i, j);
  return sum;
}

// Every column sum in the same order, each coefficient formed once: row i
// adds its coefficients to the columns after it, then to its own column.
std::vector<double> all_column_sums(const Group& grp) {
  std::vector<double> sums(grp.g, 0.0), row(grp.g);
  for (std::size_t i = 0; i < grp.g; ++i) {
    sums[i] += self_coefficient(grp, i);
    for (std::size_t j = i + 1; j < grp.g; ++j) {
      row[j] = coefficient(grp, i, j);
      sums[j] += row[j];
    }
    for (std::size_t j = i + 1; j < grp.g; ++j) sums[i] += row[j];
  }
  return sums;
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
    if (++summed > kMaxMembersSummedAlone) return std::nullopt;
    const double sum = column_sum(grp, j);
    if (!winner || sum > winnerSum) {
      winner = j;
      winnerSum = sum;
    }
  }
  return winner;
}

}  // namespace

std::size_t choose_template(const std::vector<std::vector<double>>& rows) {
  const Group grp = template_group(rows);
  const std::optional<std::size_t> settled = by_bounded_sums(grp);
  return grp.beats[settled ? *settled : first_max_index(all_column_sums(grp))];
}

}  // namespace zyn::beats
