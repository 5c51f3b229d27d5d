// Fuzz target: the exported heart-rate and HRV routines on arbitrary peak
// lists (unsorted, repeated, negative, huge gaps) and arbitrary counts and
// sampling rates.
//
// Input layout (little-endian):
//   i32 nRR, i32 fs, u16 normalCount, i32 hrCount
//   payload  int32 positions: the first normalCount are the normal beats,
//            the rest the extra systoles
// Every routine is called within the lengths it is given (the C contract);
// the counts themselves are hostile.
#include <algorithm>
#include <cmath>
#include <vector>

#include "fuzz_input.hpp"
#include "zynecgsolver/emxarray.h"
#include "zynecgsolver/hrv.h"

namespace {

std::vector<int32_t> positions_from(std::span<const uint8_t> bytes) {
  std::vector<int32_t> out(bytes.size() / sizeof(int32_t));
  if (!out.empty()) std::memcpy(out.data(), bytes.data(), out.size() * sizeof(int32_t));
  return out;
}

// Interval series as the drivers see it: times (s) and intervals (s) of
// consecutive positions, labelled 'N' or 'V'.
struct Series {
  std::vector<double> t, rr;
  std::vector<char> flags;
};

Series series_from(const std::vector<int32_t>& peaks, int32_t fs) {
  Series s;
  const double rate = fs != 0 ? static_cast<double>(fs) : 200.0;
  for (std::size_t i = 1; i < peaks.size(); ++i) {
    s.t.push_back(static_cast<double>(peaks[i]) / rate);
    s.rr.push_back((static_cast<double>(peaks[i]) - static_cast<double>(peaks[i - 1])) / rate);
    s.flags.push_back((peaks[i] & 7) == 0 ? 'V' : 'N');
  }
  return s;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  zyn::fuzz::InputReader in(data, size);
  const auto nRR = in.take<int32_t>();
  const auto fs = in.take<int32_t>();
  const auto normalCount = in.take<uint16_t>();
  const auto hrCount = in.take<int32_t>();
  std::vector<int32_t> all = positions_from(in.rest());
  const std::size_t split = std::min<std::size_t>(normalCount, all.size());
  std::vector<int32_t> normal(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(split));
  std::vector<int32_t> extra(all.begin() + static_cast<std::ptrdiff_t>(split), all.end());

  emxArray_int32_T* normalRec =
      emxCreateWrapper_int32_T(normal.data(), static_cast<int32_T>(normal.size()), 1);
  emxArray_int32_T* extraRec =
      emxCreateWrapper_int32_T(extra.data(), static_cast<int32_T>(extra.size()), 1);

  (void)calcHRvar(normalRec, hrCount, fs);
  (void)m_calcHRsys(normalRec, hrCount, extraRec, nRR, fs);

  double timeResults[7] = {};
  double freqResults[6] = {};
  int32_t status = 0;
  calcHrvExtra(normalRec, extraRec, nRR, fs, timeResults, freqResults, &status);

  emxArray_int16_T* flags = emxCreate_int16_T(0, 0);
  emxArray_real_T* t = emxCreate_real_T(0, 0);
  emxArray_real_T* rr = emxCreate_real_T(0, 0);
  emxArray_real_T* nnT = emxCreate_real_T(0, 0);
  emxArray_real_T* nnRR = emxCreate_real_T(0, 0);
  m_calcRRextra(normalRec, extraRec, fs, flags, t, rr, nnT, nnRR);
  emxDestroyArray_int16_T(flags);
  emxDestroyArray_real_T(t);
  emxDestroyArray_real_T(rr);
  emxDestroyArray_real_T(nnT);
  emxDestroyArray_real_T(nnRR);

  // calcHrv reads peaks(1..nRR+1): keep the count inside the list.
  if (!all.empty()) {
    const auto n = std::clamp<int32_t>(nRR, -1, static_cast<int32_t>(all.size()) - 1);
    calcHrv(all.data(), n, fs, timeResults, freqResults, &status);
  }

  // The time and frequency steps on the raw interval series.
  Series s = series_from(all, fs);
  const auto n = static_cast<int32_t>(s.t.size());
  (void)calcStatNN(s.t.data(), s.rr.data(), s.flags.data(), n, timeResults);
  (void)calcHrvTime(s.t.data(), s.rr.data(), s.flags.data(), n, timeResults, &status);
  calcHrvFreq(s.t.data(), s.rr.data(), n, freqResults, &status);
  std::vector<double> freq(64), amp(64);
  calcLomb(s.t.data(), s.rr.data(), n, freq.data(), amp.data(), static_cast<int32_t>(freq.size()));

  emxDestroyArray_int32_T(normalRec);
  emxDestroyArray_int32_T(extraRec);
  return 0;
}
