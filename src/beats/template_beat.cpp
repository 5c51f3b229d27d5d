// Template beat of a stretch: the most typical of its taller beats.
//
// Input: one row per beat, the 2h + 1 samples around its R peak (h = 0.08 s,
// 16 samples at 200 Hz) minus their median, in the recording's amplitude
// unit. All beats but the lowest quarter form the group; the template is the
// group's beat whose sample correlation coefficients (divisor 2h, clamped to
// [-1, 1], 1 on the diagonal) with every beat of the group add up highest,
// the first of equal sums in height order: the toolbox's most correlated
// column of the group's matrix.
#include "beats/template_beat.hpp"

#include <cstdint>

#include "toolbox/search_sort.hpp"
#include "toolbox/stats.hpp"

namespace zyn::beats {

std::size_t choose_template(const std::vector<std::vector<double>>& rows) {
  const std::size_t count = rows.size();
  std::vector<double> height(count);
  for (std::size_t i = 0; i < count; ++i) {
    double m = rows[i][0];
    for (double v : rows[i]) m = m > v ? m : v;
    height[i] = m;
  }
  // The group in height order, one beat per column of the matrix.
  const std::vector<int32_t> order = sort_permutation(height);
  const std::size_t q = (count + 3) / 4;
  std::vector<std::size_t> group;
  for (std::size_t place = q - 1; place < count; ++place) group.push_back(static_cast<std::size_t>(order[place] - 1));
  const std::size_t len = rows[0].size();
  std::vector<double> matrix;
  matrix.reserve(len * group.size());
  for (std::size_t beat : group) matrix.insert(matrix.end(), rows[beat].begin(), rows[beat].end());
  return group[most_correlated_column(matrix, len, group.size())];
}

}  // namespace zyn::beats
