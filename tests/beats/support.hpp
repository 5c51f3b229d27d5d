// Shared helpers of the beat detection tests: a synthetic ECG, a reader of
// MIT-BIH records (format 212 signal, MIT annotations), a linear resampler
// and beat-by-beat scoring within 150 ms.
#pragma once

#include <cmath>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace beats_test {

// Narrow Gaussian QRS complexes (sigma 12 ms) of the given heights at the given
// 0-based sample positions, on a zero line with a small slow wave.
inline std::vector<double> synthetic_ecg(std::size_t n, const std::vector<std::size_t>& beats, double fs,
                                         double height = 1.0) {
  std::vector<double> y(n);
  for (std::size_t i = 0; i < n; ++i) {
    y[i] = 0.05 * std::sin(2.0 * M_PI * 0.25 * static_cast<double>(i) / fs) +
           0.002 * std::sin(0.37 * static_cast<double>(i) * static_cast<double>(i));
  }
  const double sigma = 0.012 * fs;
  for (std::size_t b : beats) {
    for (std::ptrdiff_t d = -static_cast<std::ptrdiff_t>(6 * sigma); d <= static_cast<std::ptrdiff_t>(6 * sigma); ++d) {
      const std::ptrdiff_t k = static_cast<std::ptrdiff_t>(b) + d;
      if (k >= 0 && k < static_cast<std::ptrdiff_t>(n)) {
        y[static_cast<std::size_t>(k)] += height * std::exp(-static_cast<double>(d * d) / (2.0 * sigma * sigma));
      }
    }
  }
  return y;
}

inline std::vector<std::size_t> regular_beats(std::size_t n, std::size_t first, std::size_t interval) {
  std::vector<std::size_t> b;
  for (std::size_t p = first; p < n; p += interval) b.push_back(p);
  return b;
}

struct Record {
  std::vector<double> mv;             // first signal in millivolts, 360 Hz
  std::vector<double> beatSeconds;    // reference beat annotations
};

inline bool is_beat_code(int code) {
  return (code >= 1 && code <= 13) || code == 25 || code == 34 || code == 35 || code == 38;
}

// Reads record name from folder (gain 200, ADC zero 1024, as in MIT-BIH).
inline Record read_mitdb(const std::string& folder, const std::string& name) {
  Record r;
  std::ifstream dat(folder + "/" + name + ".dat", std::ios::binary);
  std::ifstream atr(folder + "/" + name + ".atr", std::ios::binary);
  if (!dat || !atr) return r;
  const std::vector<unsigned char> b((std::istreambuf_iterator<char>(dat)), {});
  for (std::size_t i = 0; i + 2 < b.size(); i += 3) {
    int v = b[i] | ((b[i + 1] & 0x0F) << 8);
    if (v & 0x800) v -= 4096;
    r.mv.push_back((v - 1024) / 200.0);
  }
  const std::vector<unsigned char> a((std::istreambuf_iterator<char>(atr)), {});
  long t = 0;
  for (std::size_t i = 0; i + 1 < a.size();) {
    const int word = a[i] | (a[i + 1] << 8);
    i += 2;
    const int code = word >> 10, interval = word & 0x3FF;
    if (code == 0 && interval == 0) break;
    if (code == 59 && i + 3 < a.size()) {  // SKIP: 32-bit interval, high word first
      t += static_cast<long>(a[i + 2] | (a[i + 3] << 8) | (a[i] << 16) | (a[i + 1] << 24));
      i += 4;
    } else if (code == 63) {  // AUX: interval bytes of text, padded to even
      i += static_cast<std::size_t>((interval + 1) & ~1);
    } else if (code < 59) {
      t += interval;
      if (is_beat_code(code)) r.beatSeconds.push_back(static_cast<double>(t) / 360.0);
    }
  }
  return r;
}

inline std::vector<double> resample_linear(const std::vector<double>& x, double from, double to) {
  if (x.size() < 2) return x;
  const auto n = static_cast<std::size_t>(std::floor(static_cast<double>(x.size() - 1) * to / from)) + 1;
  std::vector<double> y(n);
  for (std::size_t i = 0; i < n; ++i) {
    const double t = static_cast<double>(i) * from / to;
    const auto k = static_cast<std::size_t>(t);
    const double f = t - static_cast<double>(k);
    y[i] = k + 1 < x.size() ? x[k] * (1.0 - f) + x[k + 1] * f : x[k];
  }
  return y;
}

struct Score {
  long tp = 0, fn = 0, fp = 0;
  double sensitivity() const { return static_cast<double>(tp) / static_cast<double>(tp + fn); }
  double predictivity() const { return static_cast<double>(tp) / static_cast<double>(tp + fp); }
};

// One-to-one matching within 150 ms, ignoring the first and last second.
inline Score score(const std::vector<double>& reference, const std::vector<double>& detected, double duration) {
  Score s;
  std::vector<char> used(detected.size(), 0);
  auto inside = [&](double t) { return t >= 1.0 && t <= duration - 1.0; };
  std::size_t from = 0;
  for (double t : reference) {
    if (!inside(t)) continue;
    while (from < detected.size() && detected[from] < t - 0.15) ++from;
    long best = -1;
    double bestDistance = 1e9;
    for (std::size_t j = from; j < detected.size() && detected[j] <= t + 0.15; ++j) {
      if (!used[j] && std::fabs(detected[j] - t) < bestDistance) {
        bestDistance = std::fabs(detected[j] - t);
        best = static_cast<long>(j);
      }
    }
    if (best >= 0) {
      used[static_cast<std::size_t>(best)] = 1;
      ++s.tp;
    } else {
      ++s.fn;
    }
  }
  for (std::size_t j = 0; j < detected.size(); ++j) {
    if (!used[j] && inside(detected[j])) ++s.fp;
  }
  return s;
}

}  // namespace beats_test
