// Template choice against its definition: the group of all but the lowest
// quarter of the beats, the toolbox's correlation-coefficient matrix of the
// group, its column sums in row order and the first greatest sum. Seeded
// beat sets of realistic spread, exact ties, identical beats, flat and NaN
// beats, beat lengths of 200 and 250 Hz.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "beats/template_beat.hpp"
#include "toolbox/search_sort.hpp"
#include "toolbox/stats.hpp"

namespace {

using Rows = std::vector<std::vector<double>>;

std::size_t template_by_definition(const Rows& rows) {
  std::vector<double> height;
  for (const auto& row : rows) {
    double m = row[0];
    for (double v : row) m = m > v ? m : v;
    height.push_back(m);
  }
  const std::vector<int32_t> order = zyn::sort_permutation(height);
  const std::size_t count = rows.size(), len = rows[0].size(), q = (count + 3) / 4;
  std::vector<std::size_t> group;
  for (std::size_t place = q - 1; place < count; ++place) group.push_back(static_cast<std::size_t>(order[place] - 1));
  const std::size_t g = group.size();
  std::vector<double> X;  // len x g, column-major: one column per beat
  for (std::size_t j : group) X.insert(X.end(), rows[j].begin(), rows[j].end());
  std::vector<double> R;
  zyn::corrcoef(X, static_cast<int32_t>(len), static_cast<int32_t>(g), R);
  std::size_t best = 0;
  double bestSum = 0.0;
  for (std::size_t i = 0; i < g; ++i) {
    double sum = R[i * g];
    for (std::size_t r = 1; r < g; ++r) sum += R[r + i * g];
    if (i == 0 || sum > bestSum) {
      best = i;
      bestSum = sum;
    }
  }
  return group[best];
}

// Beats of one shape (QRS-like bumps) with random height, width, offset,
// baseline and noise, as the beat matrix holds them.
Rows beat_set(std::size_t count, std::size_t len, uint32_t seed) {
  std::mt19937 rng(seed);
  std::normal_distribution<double> unit(0.0, 1.0);
  Rows rows(count, std::vector<double>(len));
  const double centre = static_cast<double>(len - 1) / 2.0;
  for (auto& row : rows) {
    const double height = 1.0 + 0.2 * unit(rng), width = 2.5 + 0.4 * unit(rng), shift = unit(rng);
    const double base = 0.05 * unit(rng);
    for (std::size_t k = 0; k < len; ++k) {
      const double d = (static_cast<double>(k) - centre - shift) / width;
      row[k] = height * std::exp(-0.5 * d * d) - 0.3 * height * std::exp(-0.5 * (d - 2.0) * (d - 2.0)) + base +
               0.02 * unit(rng);
    }
  }
  return rows;
}

void expect_definition(const Rows& rows, const char* what) {
  SCOPED_TRACE(what);
  EXPECT_EQ(zyn::beats::choose_template(rows), template_by_definition(rows));
}

TEST(TemplateBeat, EqualsTheFirstGreatestColumnSumOfTheGroupsCoefficients) {
  for (std::size_t len : {33u, 41u}) {  // beats at 200 and 250 Hz
    for (std::size_t count : {1u, 2u, 7u, 60u, 300u, 900u}) {
      for (uint32_t seed = 1; seed <= 3; ++seed) {
        SCOPED_TRACE(testing::Message() << "len " << len << " beats " << count << " seed " << seed);
        Rows rows = beat_set(count, len, seed);
        expect_definition(rows, "random beats");
        if (count < 7) continue;
        // Copies of the winner tie exactly: the first in height order wins.
        const std::size_t winner = template_by_definition(rows);
        for (std::size_t c = 1; c <= 3; ++c) rows[(winner + c * 5) % count] = rows[winner];
        expect_definition(rows, "three copies of the winner");
        for (std::size_t c = 0; c < count; c += 2) rows[c] = rows[winner];
        expect_definition(rows, "half of the beats identical");
        rows[winner] = std::vector<double>(len, 0.0);
        rows[(winner + 1) % count].assign(len, 5.0);  // tall but flat: NaN in its column
        expect_definition(rows, "flat beats");
        rows[(winner + 3) % count][len / 2] = std::numeric_limits<double>::quiet_NaN();
        expect_definition(rows, "a NaN sample");
      }
    }
  }
}

}  // namespace
