// Lane kernels of the moving average (runtime/dispatch.hpp).
#pragma once

#include <cstddef>
#include <span>

namespace zyn {

// True when no sample is infinite or NaN.
bool all_finite(std::span<const double> x);

// out[j] = mean of the 2 * half + 1 samples from[j ..] for j < count, each
// sum added in sample order from 0 (moving_average_at's bits), one window
// per vector lane.
void full_window_means(const double* from, double* out, std::size_t count, std::size_t half);

}  // namespace zyn
