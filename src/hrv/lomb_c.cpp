// The C routines of the Lomb periodogram and its FFTs: thin adapters from
// pointers and counts to the spans of lomb.hpp and fft.hpp. A null pointer
// stands for an empty array; negative counts for none.
#include <algorithm>
#include <cstring>
#include <limits>
#include <span>

#include "hrv/fft.hpp"
#include "hrv/lomb.hpp"
#include "runtime/emx.hpp"
#include "zynecgsolver/hrv.h"

namespace {
template <class T>
std::span<T> span_of(T* data, uint64_t n) {
  return data == nullptr ? std::span<T>() : std::span<T>(data, static_cast<std::size_t>(n));
}
template <class T>
std::span<T> span_of(T* data, int32_T n) {
  return span_of(data, static_cast<uint64_t>(std::max<int32_T>(n, 0)));
}
}  // namespace

extern "C" {

ZYN_API void calcLomb(const real_T* t, const real_T* rr, int32_T n, real_T* freqOut,
                      real_T* ampOut, int32_T nOut) {
  zyn::guarded([&] {
    zyn::lomb_spectrum(span_of(t, n), span_of(rr, n), span_of(freqOut, nOut),
                       span_of(ampOut, nOut));
  });
}

ZYN_API void fasper(const float* x, const float* y, uint64_t n, float ofac, float hifac,
                    float* wk1, float* wk2, uint64_t nwk, uint64_t* nout, uint64_t* jmax,
                    float* prob) {
  zyn::guarded([&] {
    const zyn::LombResult r = zyn::fast_lomb_periodogram(
        span_of(x, n), span_of(y, n), ofac, hifac, span_of(wk1, nwk), span_of(wk2, nwk));
    if (nout != nullptr) *nout = r.frequencies;
    if (jmax != nullptr) *jmax = r.peakIndex;
    if (prob != nullptr) *prob = r.falseAlarm;
  });
}

ZYN_API void avevar(const float* data, uint64_t n, float* ave, float* var) {
  const zyn::MeanVariance mv = zyn::mean_and_variance(span_of(data, n));
  if (ave != nullptr) *ave = mv.mean;
  if (var != nullptr) *var = mv.variance;
}

ZYN_API void spread(float* yy, uint64_t n, int32_T m, float y, float x) {
  zyn::extirpolate(span_of(yy, n), m, y, x);
}

ZYN_API void realft(float* data, uint64_t n, int32_T isign) {
  zyn::real_fft(span_of(data, n), isign);
}

ZYN_API void four1(float* data, uint64_t nn, int32_T isign) {
  if (nn > std::numeric_limits<uint64_t>::max() / 2) return;
  zyn::complex_fft(span_of(data, 2 * nn), isign);
}

ZYN_API void help(void) {}

ZYN_API const char* prog_name(const char* path) {
  if (path == nullptr) return nullptr;
  const char* slash = std::strrchr(path, '/');
  return slash == nullptr ? path : slash + 1;
}

ZYN_API void zeromean(float* x, uint64_t n) {
  const auto values = span_of(x, n);
  if (values.empty()) return;
  double sum = 0.0;
  for (float v : values) sum += v;
  const double mean = sum / static_cast<double>(values.size());
  for (float& v : values) v = static_cast<float>(v - mean);
}

}  // extern "C"
