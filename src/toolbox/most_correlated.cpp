// The most typical of several series: the one whose correlation
// coefficients with all of them add up highest (see stats.hpp).
//
// Unit-free. By definition the sums are the column sums (in row order, from
// 0) of corrcoef()'s matrix, and the first largest wins. The sums in full
// need one coefficient per pair of series: g^2 / 2 dot products of n
// samples, for g of several hundred beats in a minute of ECG. Only which
// sum is largest matters, and up to rounding each sum is one dot product of
// the series' normalised samples with the sum of all normalised series. A
// bound on the rounding of both forms settles the winner from those g dot
// products in all but near-ties; the series the bound cannot separate are
// summed coefficient by coefficient in the matrix's order, so the winner is
// the matrix's own in every case.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <vector>

#include "toolbox/reductions.hpp"
#include "toolbox/stats.hpp"

namespace zyn {
namespace {

// Series summed coefficient by coefficient after the bound, at most; with
// more near-equal sums (identical beats of a synthetic recording) the whole
// matrix is summed once instead, each coefficient formed once.
constexpr std::size_t kMaxSeriesSummedAlone = 16;
// Unit roundoff of a double.
constexpr double kRoundingUnit = 0x1p-53;
// The bound holds for samples and spreads of ordinary size: no overflow in
// the products, no precision lost to underflow.
constexpr double kLargestOrdinary = 0x1p400;
constexpr double kSmallestSpread = 0x1p-400;

// The series centred on their means, stored sample-major (g series per
// sample) so that loops over series run across vector lanes while each
// series' sums still add in sample order.
struct Group {
  std::size_t g = 0;            // series
  std::size_t len = 0;          // samples per series
  std::vector<double> centred;  // centred[k * g + j]: sample k of series j
  std::vector<double> variance;  // sum of squares / (len - 1)
  std::vector<double> spread;    // square root of the variance
  double nm1 = 0.0;              // len - 1
};

Group centred_group(std::span<const double> X, std::size_t rows, std::size_t cols) {
  Group grp;
  grp.g = cols;
  grp.len = rows;
  grp.nm1 = static_cast<double>(rows) - 1.0;
  grp.centred.resize(rows * cols);
  grp.variance.assign(cols, 0.0);
  grp.spread.resize(cols);
  for (std::size_t j = 0; j < cols; ++j) {
    const std::span<const double> series = X.subspan(j * rows, rows);
    const double m = mean(series);
    for (std::size_t k = 0; k < rows; ++k) grp.centred[k * cols + j] = series[k] - m;
  }
  for (std::size_t k = 0; k < rows; ++k) {
    for (std::size_t j = 0; j < cols; ++j) grp.variance[j] += grp.centred[k * cols + j] * grp.centred[k * cols + j];
  }
  for (std::size_t j = 0; j < cols; ++j) {
    grp.variance[j] /= grp.nm1;
    grp.spread[j] = std::sqrt(grp.variance[j]);
  }
  return grp;
}

// corrcoef()'s entry (lower, higher), lower < higher, from the group.
double coefficient(const Group& grp, std::size_t lower, std::size_t higher) {
  double cross = 0.0;
  for (std::size_t k = 0; k < grp.len; ++k) cross += grp.centred[k * grp.g + lower] * grp.centred[k * grp.g + higher];
  return correlation_coefficient(cross / grp.nm1, grp.spread[lower], grp.spread[higher]);
}

// Diagonal entry: a series with no spread correlates with nothing.
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

// Index of the first largest sum under "replace when strictly greater".
std::size_t first_largest(std::span<const double> sums) {
  std::size_t best = 0;
  for (std::size_t k = 1; k < sums.size(); ++k) {
    if (sums[k] > sums[best]) best = k;
  }
  return best;
}

// The winner from g dot products, when the rounding bound settles it.
//
// With u_j the centred samples of series j over its spread and z the sum of
// all u_j, the sum of series i's coefficients is S_i = (u_i . z) / (len - 1)
// in exact arithmetic. Computed, both that dot product A_i and the matrix's
// column sum C_i lie within B = g (g + len + 3) units of rounding of S_i: a
// coefficient is a dot product of two vectors that the spreads scale to
// length sqrt(len - 1), so it is off by at most len + 4 units, and g terms
// of magnitude at most 1 add at most g more each; z and u_i . z obey the
// same bounds. A series whose A_j lies more than two margins M below the
// best A_b then has C_j < A_j + 2B < A_b - 2M + 2B <= C_b + 4B - 2M, below
// the best series' column sum as soon as M >= 2B. The margin used,
// 4 g (g + len + 8) units, is more than four times B: twice the margin that
// proof needs. The series within two margins are summed exactly. Returns
// nothing when the bound does not apply (NaN, infinite, zero-spread or
// extreme samples) or too many series are left.
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
  const double margin = 4.0 * static_cast<double>(g) * (static_cast<double>(g + len) + 8.0) * kRoundingUnit;
  const double best = *std::max_element(approx.begin(), approx.end());
  std::optional<std::size_t> winner;
  double winnerSum = 0.0;
  std::size_t summed = 0;
  for (std::size_t j = 0; j < g; ++j) {
    if (!(approx[j] >= best - 2.0 * margin)) continue;
    if (++summed > kMaxSeriesSummedAlone) return std::nullopt;
    const double sum = column_sum(grp, j);
    if (!winner || sum > winnerSum) {
      winner = j;
      winnerSum = sum;
    }
  }
  return winner;
}

}  // namespace

std::size_t most_correlated_column(std::span<const double> X, std::size_t rows, std::size_t cols) {
  if (cols == 0 || X.size() < rows * cols) return 0;
  const Group grp = centred_group(X, rows, cols);
  const std::optional<std::size_t> settled = by_bounded_sums(grp);
  return settled ? *settled : first_largest(all_column_sums(grp));
}

}  // namespace zyn
