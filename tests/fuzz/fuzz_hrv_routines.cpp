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
#include "runtime/emx.hpp"
#include "zynecgsolver/emxarray.h"
#include "zynecgsolver/hrv.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  zyn::fuzz::InputReader in(data, size);
  const auto nRR = in.take<int32_t>();
  const auto fs = in.take<int32_t>();
  const auto normalCount = in.take<uint16_t>();
  const auto hrCount = in.take<int32_t>();
  std::vector<int32_t> all(in.remaining() / sizeof(int32_t));
  if (!all.empty()) std::memcpy(all.data(), in.rest().data(), all.size() * sizeof(int32_t));
  const auto split = all.begin() + std::min<std::ptrdiff_t>(normalCount, std::ssize(all));
  std::vector<int32_t> normal(all.begin(), split), extra(split, all.end());
  using Ints = zyn::RecordPtr<emxArray_int32_T>;
  const Ints normalRec(emxCreateWrapper_int32_T(normal.data(), static_cast<int32_T>(normal.size()), 1));
  const Ints extraRec(emxCreateWrapper_int32_T(extra.data(), static_cast<int32_T>(extra.size()), 1));

  (void)calcHRvar(normalRec.get(), hrCount, fs);
  (void)m_calcHRsys(normalRec.get(), hrCount, extraRec.get(), nRR, fs);
  double timeResults[7] = {};
  double freqResults[6] = {};
  int32_t status = 0;
  calcHrvExtra(normalRec.get(), extraRec.get(), nRR, fs, timeResults, freqResults, &status);
  {
    const zyn::RecordPtr<emxArray_int16_T> flags(emxCreate_int16_T(0, 0));
    auto real = [] { return zyn::RecordPtr<emxArray_real_T>(emxCreate_real_T(0, 0)); };
    m_calcRRextra(normalRec.get(), extraRec.get(), fs, flags.get(), real().get(), real().get(), real().get(),
                  real().get());
  }
  // calcHrv reads peaks(1..nRR+1): keep the count inside the list.
  if (!all.empty())
    calcHrv(all.data(), std::clamp<int32_t>(nRR, -1, static_cast<int32_t>(all.size()) - 1), fs, timeResults,
            freqResults, &status);

  // The time and frequency steps on the raw interval series: times (s) and
  // intervals (s) of consecutive positions, labelled 'N' or 'V'.
  const double rate = fs != 0 ? static_cast<double>(fs) : 200.0;
  std::vector<double> t, rr;
  std::vector<char> labels;
  for (std::size_t i = 1; i < all.size(); ++i) {
    t.push_back(static_cast<double>(all[i]) / rate);
    rr.push_back((static_cast<double>(all[i]) - static_cast<double>(all[i - 1])) / rate);
    labels.push_back((all[i] & 7) == 0 ? 'V' : 'N');
  }
  const auto n = static_cast<int32_t>(t.size());
  (void)calcStatNN(t.data(), rr.data(), labels.data(), n, timeResults);
  (void)calcHrvTime(t.data(), rr.data(), labels.data(), n, timeResults, &status);
  calcHrvFreq(t.data(), rr.data(), n, freqResults, &status);
  std::vector<double> freq(64), amp(64);
  calcLomb(t.data(), rr.data(), n, freq.data(), amp.data(), static_cast<int32_t>(freq.size()));
  return 0;
}
