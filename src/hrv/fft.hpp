// Radix-2 FFTs of single-precision data, as the Lomb periodogram uses them.
//
// Complex data are interleaved (re, im) floats. Twiddle factors come from
// the double-precision recurrence w <- w + w (wpr + i wpi) (tabled for the
// forward transforms of up to 2^16 values, with the same values), and every
// butterfly forms its products in double and rounds them to float, so a
// transform gives the same bits whatever processor variant runs it.
// Transforms are not normalised: the inverse returns n (complex) or n / 2
// (real) times the input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace zyn {

// In-place radix-2 complex FFT of data.size()/2 interleaved complex values;
// isign = 1 uses the kernel exp(+2 pi i jk / nn). A count that is not a power
// of two leaves data unchanged.
void complex_fft(std::span<float> data, int32_t isign);

// In-place FFT of data.size() real values (a power of two, at least 2);
// isign = 1 is the forward transform, the first and last real components
// packed into elements 1 and 2; isign = -1 is the inverse (times n/2).
void real_fft(std::span<float> data, int32_t isign);

// real_fft of two arrays of the same length at once (same results as two
// calls; the twiddle recurrences are evaluated once).
void real_fft_pair(std::span<float> a, std::span<float> b, int32_t isign);

// Kernel of one butterfly stage of span mmax floats (runtime/dispatch.hpp):
// in every block of 2 mmax floats, butterflies q = 0 .. count-1 between
// complex elements block + m0 + 2q and that plus mmax, with twiddle factor
// (tw[2q], tw[2q+1]).
void butterfly_stage_blocks(std::span<float> data, std::size_t mmax, std::size_t m0, const double* tw,
                            std::size_t count);

}  // namespace zyn
