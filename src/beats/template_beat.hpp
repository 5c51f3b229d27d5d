// Choice of the template beat that every beat of a stretch is compared with.
#pragma once

#include <cstddef>
#include <vector>

namespace zyn::beats {

// The most typical of the taller beats. rows holds one beat per row: the
// 2h + 1 samples around its R peak minus their median (all rows of one
// length, at least one row). The beats are sorted by height (row maximum);
// all but the q - 1 lowest (q = ceil(count / 4)) form the group, whose rows
// are correlated with one another; the beat with the largest sum of
// correlation coefficients wins (the first of equal sums in height order).
// Returns its index into rows.
std::size_t choose_template(const std::vector<std::vector<double>>& rows);

}  // namespace zyn::beats
