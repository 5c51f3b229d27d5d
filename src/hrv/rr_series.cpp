// RR-interval series of a recording from the R peaks of normal beats and of
// extra systoles (1-based sample positions at fs Hz). Every interval is
// labelled by the beat that ends it; its length rr is in seconds and its time
// t is the midpoint of the interval measured from the midpoint of the first
// one (s). The NN series keeps the intervals that touch no extra systole on
// either side, minus the first interval of the recording, and is shortened at
// its end by the number of extra systoles given, as designed (the HRV driver
// leaves the same count off the full series).
#include "hrv/rr_series.hpp"

#include <algorithm>

#include "runtime/emx.hpp"
#include "runtime/scalar.hpp"
#include "toolbox/search_sort.hpp"
#include "toolbox/sets.hpp"
#include "zynecgsolver/hrv.h"

namespace zyn {
namespace {

std::vector<int32_t> sorted_copy(std::span<const int32_t> peaks) {
  std::vector<int32_t> v(peaks.begin(), peaks.end());
  sort_ascending_in_place(v);
  return v;
}

// Keeps the first size - cut elements (none when that is below 1).
void cut_from_end(std::vector<double>& v, std::size_t cut) {
  v.resize(v.size() > cut ? v.size() - cut : 0);
}

}  // namespace

LabelledRRSeries labelled_rr_series(std::span<const int32_t> normalPeaks,
                                    std::span<const int32_t> extraPeaks, int32_t fs) {
  const std::vector<int32_t> normal = sorted_copy(normalPeaks);
  std::vector<int32_t> beats = union_sorted(sorted_copy(extraPeaks), normal);
  sort_ascending_in_place(beats);
  LabelledRRSeries s;
  if (beats.size() < 2) return s;
  const std::size_t intervals = beats.size() - 1;
  const auto rate = static_cast<double>(fs);

  s.rr.resize(intervals);
  s.t.resize(intervals);
  for (std::size_t i = 0; i < intervals; ++i) {
    s.rr[i] = static_cast<double>(saturating_sub(beats[i + 1], beats[i])) / rate;
  }
  s.t[0] = 0.0;
  for (std::size_t i = 1; i < intervals; ++i) s.t[i] = s.t[i - 1] + (s.rr[i - 1] + s.rr[i]) / 2.0;

  // endsNormal[i]: the beat ending interval i is a normal beat.
  const std::vector<unsigned char> isBeatNormal = is_member(beats, normal);
  const std::span<const unsigned char> endsNormal = std::span(isBeatNormal).subspan(1);
  s.flags.resize(intervals);
  for (std::size_t i = 0; i < intervals; ++i) {
    s.flags[i] = endsNormal[i] ? kNormalIntervalFlag : kExtraSystoleIntervalFlag;
  }

  // An interval that starts at an extra systole is left out too.
  std::vector<unsigned char> keep(endsNormal.begin(), endsNormal.end());
  for (std::size_t i = 0; i + 1 < intervals; ++i) {
    if (!endsNormal[i]) keep[i + 1] = 0;
  }
  for (std::size_t i = 0; i < intervals; ++i) {
    if (!keep[i]) continue;
    s.nnT.push_back(s.t[i]);
    s.nnRR.push_back(s.rr[i]);
  }
  if (s.flags[0] == kNormalIntervalFlag && !s.nnT.empty()) {
    s.nnT.erase(s.nnT.begin());
    s.nnRR.erase(s.nnRR.begin());
  }
  cut_from_end(s.nnT, extraPeaks.size());
  cut_from_end(s.nnRR, extraPeaks.size());
  return s;
}

}  // namespace zyn

extern "C" {

ZYN_API void m_calcRRextra(const emxArray_int32_T* normalPeaks, const emxArray_int32_T* extraPeaks,
                           int32_T fs, emxArray_int16_T* flags, emxArray_real_T* t,
                           emxArray_real_T* rr, emxArray_real_T* nnT, emxArray_real_T* nnRR) {
  zyn::guarded([&] {
    const zyn::LabelledRRSeries s =
        zyn::labelled_rr_series(zyn::elements(normalPeaks), zyn::elements(extraPeaks), fs);
    if (flags != nullptr) zyn::assign_column(flags, s.flags);
    if (t != nullptr) zyn::assign_column(t, s.t);
    if (rr != nullptr) zyn::assign_column(rr, s.rr);
    if (nnT != nullptr) zyn::assign_column(nnT, s.nnT);
    if (nnRR != nullptr) zyn::assign_column(nnRR, s.nnRR);
  });
}

}  // extern "C"
