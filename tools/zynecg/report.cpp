// HTML report with inline SVG. See report.hpp.
#include "report.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <sstream>

namespace zyn::cli {
namespace {

constexpr double kStripWidthPx = 1000.0;
constexpr double kStripHeightPx = 160.0;
constexpr double kPixelsPerMillivolt = 50.0;
constexpr double kBandHeightPx = 8.0;
// NN intervals outside this range are artefacts, not rhythm.
constexpr double kShortestNnSeconds = 0.3, kLongestNnSeconds = 2.0;
constexpr double kUlfVlfHz = 0.0033, kVlfLfHz = 0.04, kLfHfHz = 0.15, kHfEndHz = 0.4;

std::string num(double v, int decimals = 1) {
  char buffer[48];
  std::snprintf(buffer, sizeof buffer, "%.*f", decimals, v);
  return buffer;
}

std::string escape(const std::string& s) {
  std::string out;
  for (const char c : s) {
    switch (c) {
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '&': out += "&amp;"; break;
      case '"': out += "&quot;"; break;
      default: out += c;
    }
  }
  return out;
}

std::string clock(double seconds) {
  const auto total = static_cast<long>(std::floor(seconds));
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%ld:%02ld", total / 60, total % 60);
  return buffer;
}

const char* quality_colour(int32_t code) {
  switch (code) {
    case 0: return "#7fc97f";
    case 3: return "#bdbdbd";
    case 5: return "#fdae61";
    case 6: return "#e34a33";
    default: return "#f0f0f0";
  }
}

// One 10-second strip: quality band on top, the ECG trace, beat markers.
std::string ecg_strip(const RecordingAnalysis& f, int64_t first, int64_t count) {
  const std::span<const double> x(f.ecg200.data() + first, static_cast<std::size_t>(count));
  std::vector<double> sorted(x.begin(), x.end());
  std::nth_element(sorted.begin(), sorted.begin() + static_cast<long>(sorted.size() / 2), sorted.end());
  const double centre = sorted[sorted.size() / 2];
  const double pxPerSample = kStripWidthPx / (kStripSeconds * kAnalysisRateHz);
  const double midY = kBandHeightPx + (kStripHeightPx - kBandHeightPx) * 0.6;
  auto yOf = [&](double v) {
    return std::clamp(midY - (v - centre) * kPixelsPerMillivolt, kBandHeightPx + 1.0, kStripHeightPx - 1.0);
  };
  std::ostringstream s;
  s << "<svg class=\"strip\" viewBox=\"0 0 " << num(kStripWidthPx, 0) << " " << num(kStripHeightPx, 0)
    << "\" width=\"" << num(kStripWidthPx, 0) << "\" height=\"" << num(kStripHeightPx, 0) << "\">";
  // ECG paper: a line every 0.2 s and every 0.5 mV.
  for (int i = 1; i < 50; ++i)
    s << "<line class=\"" << (i % 5 == 0 ? "g2" : "g1") << "\" x1=\"" << i * 20 << "\" y1=\"" << num(kBandHeightPx, 0)
      << "\" x2=\"" << i * 20 << "\" y2=\"" << num(kStripHeightPx, 0) << "\"/>";
  for (double y = midY; y > kBandHeightPx; y -= 25) s << "<line class=\"g1\" x1=\"0\" y1=\"" << num(y) << "\" x2=\"1000\" y2=\"" << num(y) << "\"/>";
  for (double y = midY + 25; y < kStripHeightPx; y += 25) s << "<line class=\"g1\" x1=\"0\" y1=\"" << num(y) << "\" x2=\"1000\" y2=\"" << num(y) << "\"/>";
  for (const QualityWindow& w : f.windows) {
    const int64_t from = std::max(w.first, first), to = std::min(w.first + w.count, first + count);
    if (from >= to) continue;
    s << "<rect x=\"" << num(static_cast<double>(from - first) * pxPerSample) << "\" y=\"0\" width=\""
      << num(static_cast<double>(to - from) * pxPerSample) << "\" height=\"" << num(kBandHeightPx, 0) << "\" fill=\""
      << quality_colour(w.code) << "\"><title>quality " << w.code << ": " << window_quality_meaning(w.code)
      << "</title></rect>";
  }
  s << "<polyline class=\"ecg\" points=\"";
  for (std::size_t i = 0; i < x.size(); ++i) s << num(static_cast<double>(i) * pxPerSample) << ',' << num(yOf(x[i])) << ' ';
  s << "\"/>";
  for (const Beat& b : f.beats) {
    if (b.sample < first || b.sample >= first + count) continue;
    const double bx = static_cast<double>(b.sample - first) * pxPerSample;
    const double by = std::max(kBandHeightPx + 12.0, yOf(x[static_cast<std::size_t>(b.sample - first)]) - 8.0);
    s << "<g class=\"" << (b.extra ? "beat extra" : "beat normal") << "\"><circle cx=\"" << num(bx) << "\" cy=\""
      << num(by) << "\" r=\"4\"/><text x=\"" << num(bx + 5) << "\" y=\"" << num(by - 3) << "\">"
      << (b.extra ? "E" : "N") << "</text></g>";
  }
  s << "<text class=\"time\" x=\"4\" y=\"" << num(kStripHeightPx - 4, 0) << "\">" << clock(f.seconds(first)) << "</text>";
  s << "</svg>";
  return s.str();
}

struct Axes {
  double x0, x1, y0, y1;          // data ranges
  double left = 60, right = 20, top = 15, bottom = 40, width = 1000, height = 260;
  double px(double x) const { return left + (x - x0) / (x1 - x0) * (width - left - right); }
  double py(double y) const { return height - bottom - (y - y0) / (y1 - y0) * (height - top - bottom); }
};

// A round tick spacing (1, 2 or 5 times a power of ten) giving at most
// maxTicks intervals over span.
double nice_step(double span, int maxTicks) {
  const double raw = span / maxTicks;
  const double power = std::pow(10.0, std::floor(std::log10(raw)));
  for (const double m : {1.0, 2.0, 5.0})
    if (m * power >= raw) return m * power;
  return 10.0 * power;
}

std::string tick_text(double v, double step) {
  const int decimals = step >= 1 ? 0 : static_cast<int>(std::ceil(-std::log10(step) - 1e-9));
  return num(v, decimals);
}

std::string axes_frame(const Axes& a, const std::string& xLabel, const std::string& yLabel, int xTicks, int yTicks) {
  std::ostringstream s;
  s << "<rect class=\"frame\" x=\"" << a.left << "\" y=\"" << a.top << "\" width=\"" << a.width - a.left - a.right
    << "\" height=\"" << a.height - a.top - a.bottom << "\"/>";
  const double xStep = nice_step(a.x1 - a.x0, xTicks), yStep = nice_step(a.y1 - a.y0, yTicks);
  for (double v = std::ceil(a.x0 / xStep) * xStep; v <= a.x1 + xStep * 1e-9; v += xStep) {
    s << "<text class=\"tick\" x=\"" << num(a.px(v)) << "\" y=\"" << num(a.height - a.bottom + 15)
      << "\" text-anchor=\"middle\">" << tick_text(v, xStep) << "</text>";
  }
  for (double v = std::ceil(a.y0 / yStep) * yStep; v <= a.y1 + yStep * 1e-9; v += yStep) {
    s << "<line class=\"g1\" x1=\"" << a.left << "\" x2=\"" << a.width - a.right << "\" y1=\"" << num(a.py(v))
      << "\" y2=\"" << num(a.py(v)) << "\"/><text class=\"tick\" x=\"" << a.left - 5 << "\" y=\""
      << num(a.py(v) + 4) << "\" text-anchor=\"end\">" << tick_text(v, yStep) << "</text>";
  }
  s << "<text class=\"label\" x=\"" << num((a.left + a.width - a.right) / 2) << "\" y=\"" << a.height - 5
    << "\" text-anchor=\"middle\">" << xLabel << "</text><text class=\"label\" transform=\"translate(14,"
    << num((a.top + a.height - a.bottom) / 2) << ") rotate(-90)\" text-anchor=\"middle\">" << yLabel << "</text>";
  return s.str();
}

std::string tachogram(const RecordingAnalysis& f) {
  const auto& beats = f.beats;
  if (beats.size() < 3) return "<p>Too few beats for a tachogram.</p>";
  // NN intervals are drawn as a line that breaks wherever an interval next
  // to an extra systole (drawn as a dot) interrupts the NN series.
  struct Interval {
    double t, rr;
    bool nn, continues;
  };
  std::vector<Interval> intervals;
  double lo = 1e9, hi = 0;
  for (std::size_t i = 1; i < beats.size(); ++i) {
    const double rr = static_cast<double>(beats[i].sample - beats[i - 1].sample) / kAnalysisRateHz * 1000.0;
    const bool nn = !beats[i].extra && !beats[i - 1].extra;
    intervals.push_back({f.seconds(beats[i].sample), rr, nn, nn && !intervals.empty() && intervals.back().nn});
    lo = std::min(lo, rr);
    hi = std::max(hi, rr);
  }
  lo = std::floor(lo / 100.0) * 100.0;
  hi = std::max(lo + 100.0, std::ceil(hi / 100.0) * 100.0);
  const Axes a{f.seconds(0), f.seconds(static_cast<int64_t>(f.ecg200.size())), lo, hi};
  std::ostringstream s;
  s << "<svg class=\"plot\" viewBox=\"0 0 1000 260\" width=\"1000\" height=\"260\">"
    << axes_frame(a, "time (s)", "RR interval (ms)", 10, 5) << "<path class=\"rr\" d=\"";
  for (const Interval& i : intervals)
    if (i.nn) s << (i.continues ? 'L' : 'M') << num(a.px(i.t)) << ',' << num(a.py(i.rr)) << ' ';
  s << "\"/>";
  for (const Interval& i : intervals)
    if (!i.nn) s << "<circle class=\"rr-extra\" cx=\"" << num(a.px(i.t)) << "\" cy=\"" << num(a.py(i.rr)) << "\" r=\"2.5\"/>";
  s << "</svg><p class=\"legend\"><span class=\"key normal\"></span> NN intervals (between consecutive normal beats) "
       "<span class=\"key extra\"></span> intervals next to an extra systole</p>";
  return s.str();
}

std::string spectrum(const RecordingAnalysis& f) {
  const auto& beats = f.beats;
  std::vector<double> times, nn;
  for (std::size_t i = 1; i < beats.size(); ++i) {
    if (beats[i].extra || beats[i - 1].extra) continue;
    const double rr = static_cast<double>(beats[i].sample - beats[i - 1].sample) / kAnalysisRateHz;
    if (rr < kShortestNnSeconds || rr > kLongestNnSeconds) continue;
    times.push_back(f.seconds(beats[i].sample));
    nn.push_back(rr);
  }
  if (nn.size() < 16) return "<p>Too few NN intervals for a spectrum.</p>";
  const double fmax = 0.5;
  const auto points = lomb_periodogram(times, nn, 0.001, fmax, 500);
  double peak = 0;
  for (const auto& p : points) peak = std::max(peak, p.power);
  const Axes a{0.0, fmax, 0.0, peak > 0 ? peak * 1.1 : 1.0};
  std::ostringstream s;
  s << "<svg class=\"plot\" viewBox=\"0 0 1000 260\" width=\"1000\" height=\"260\">";
  const struct { double from, to; const char* name; const char* colour; } bands[] = {
      {0.0, kUlfVlfHz, "ULF", "#e0e0e0"}, {kUlfVlfHz, kVlfLfHz, "VLF", "#d9e7f5"},
      {kVlfLfHz, kLfHfHz, "LF", "#fde0c5"}, {kLfHfHz, kHfEndHz, "HF", "#d5efcf"}};
  for (const auto& b : bands) {
    s << "<rect x=\"" << num(a.px(b.from)) << "\" y=\"" << a.top << "\" width=\"" << num(a.px(b.to) - a.px(b.from))
      << "\" height=\"" << a.height - a.top - a.bottom << "\" fill=\"" << b.colour << "\"/><text class=\"band\" x=\""
      << num((a.px(b.from) + a.px(b.to)) / 2) << "\" y=\"" << a.top + 14 << "\" text-anchor=\"middle\">" << b.name << "</text>";
  }
  s << axes_frame(a, "frequency (Hz)", "power (s²/Hz)", 10, 5) << "<polyline class=\"psd\" points=\"";
  for (const auto& p : points) s << num(a.px(p.frequencyHz)) << ',' << num(a.py(p.power)) << ' ';
  s << "\"/></svg><p class=\"legend\">Lomb-Scargle periodogram of " << nn.size()
    << " NN intervals, computed by this tool for display and scaled so that its area equals the NN variance; "
       "the band powers in the table come from the analysis library.</p>";
  return s.str();
}

std::string row(const std::string& name, const std::string& value, const std::string& unit, const std::string& meaning) {
  return "<tr><th>" + name + "</th><td>" + value + "</td><td>" + unit + "</td><td>" + meaning + "</td></tr>";
}

std::string statistics_table(const RecordingAnalysis& f) {
  const auto& s = f;
  const std::size_t normalBeats = f.normal.samples200Hz.size(), extraSystoles = f.extraSystoles.samples200Hz.size();
  std::ostringstream t;
  t << "<table class=\"stats\"><tr><th>statistic</th><th>value</th><th>unit</th><th>meaning</th></tr>";
  auto opt = [](const std::optional<double>& v, int d) { return v ? num(*v, d) : std::string("n/a"); };
  t << row("heart rate", opt(s.hrBpm, 0), "bpm", "from the median RR interval")
    << row("heart rate (mean)", opt(s.hrMeanBpm, 0), "bpm", "from the trimmed mean of all RR intervals")
    << row("beats", std::to_string(normalBeats + extraSystoles), "", std::to_string(normalBeats) + " normal, " +
                                                                        std::to_string(extraSystoles) + " extra systoles")
    << row("good quality windows", std::to_string(f.good_windows()) + " / " + std::to_string(f.windows.size()), "",
           num(f.options.windowSeconds, 0) + "-second windows");
  if (s.hrv.timeDomain) {
    const auto& v = *s.hrv.timeDomain;
    t << row("NN/RR", num(v[0], 3), "fraction", "share of RR intervals that are NN intervals")
      << row("AVNN", num(v[1] * 1000, 1), "ms", "mean NN interval")
      << row("SDNN", num(v[2] * 1000, 1), "ms", "standard deviation of NN intervals")
      << row("SDANN", num(v[3] * 1000, 1), "ms", "standard deviation of 5-minute mean NN")
      << row("SDNNIDX", num(v[4] * 1000, 1), "ms", "mean of 5-minute NN standard deviations")
      << row("RMSSD", num(v[5] * 1000, 1), "ms", "root mean square of successive NN differences")
      << row("pNN50", num(v[6] * 100, 1), "%", "successive NN differences above 50 ms");
  }
  if (s.hrv.frequencyDomain) {
    const auto& v = *s.hrv.frequencyDomain;
    t << row("total power", num(v[0] * 1e6, 0), "ms²", "up to 0.4 Hz") << row("ULF", num(v[1] * 1e6, 0), "ms²", "below 0.0033 Hz")
      << row("VLF", num(v[2] * 1e6, 0), "ms²", "0.0033 to 0.04 Hz") << row("LF", num(v[3] * 1e6, 0), "ms²", "0.04 to 0.15 Hz")
      << row("HF", num(v[4] * 1e6, 0), "ms²", "0.15 to 0.4 Hz") << row("LF/HF", num(v[5], 2), "", "ratio of LF to HF power");
  }
  t << "</table><p class=\"legend\">Rates and HRV: those of the whole recording's merged beats.";
  if (!s.hrv.note.empty()) t << " HRV: " << escape(s.hrv.note) << ".";
  t << "</p>";
  return t.str();
}

std::string quality_overview(const RecordingAnalysis& f) {
  const double total = static_cast<double>(f.ecg200.size());
  std::ostringstream s;
  s << "<svg class=\"overview\" viewBox=\"0 0 1000 24\" width=\"1000\" height=\"24\">";
  for (const QualityWindow& w : f.windows) {
    s << "<rect x=\"" << num(static_cast<double>(w.first) / total * 1000) << "\" y=\"0\" width=\""
      << num(static_cast<double>(w.count) / total * 1000) << "\" height=\"24\" fill=\"" << quality_colour(w.code)
      << "\"><title>" << clock(f.seconds(w.first)) << ": " << window_quality_meaning(w.code) << "</title></rect>";
  }
  s << "</svg><p class=\"legend\">";
  for (const int32_t c : {0, 3, 5, 6})
    s << "<span class=\"key\" style=\"background:" << quality_colour(c) << "\"></span> " << window_quality_meaning(c) << " ";
  s << "</p>";
  return s.str();
}

std::string strips(const RecordingAnalysis& f) {
  const auto perStrip = static_cast<int64_t>(kStripSeconds * kAnalysisRateHz);
  const auto total = static_cast<int64_t>(f.ecg200.size());
  const int64_t shown = static_cast<int64_t>(kStripsShownSeconds * kAnalysisRateHz);
  const int64_t limit = std::min(total, static_cast<int64_t>(kStripsMaxSeconds * kAnalysisRateHz));
  std::ostringstream s, index;
  index << "<p class=\"index\">Later strips: ";
  for (int64_t first = 0; first + 200 <= limit; first += perStrip) {
    const int64_t count = std::min(perStrip, total - first);
    const auto id = "t" + std::to_string(static_cast<long>(std::llround(f.seconds(first))));
    const bool later = first >= shown;
    if (later) index << "<a href=\"#" << id << "\">" << clock(f.seconds(first)) << "</a> ";
    s << "<div class=\"" << (later ? "strip-row later" : "strip-row") << "\" id=\"" << id << "\">" << ecg_strip(f, first, count)
      << "</div>";
  }
  index << "</p>";
  std::string out = s.str();
  if (limit > shown) out = index.str() + out;
  if (limit < total) out += "<p>Strips are drawn for the first hour only.</p>";
  return out;
}

constexpr const char* kStyle = R"(
body{font-family:sans-serif;margin:20px;color:#222;max-width:1040px}
h1{font-size:20px}h2{font-size:16px;margin-top:28px}
table.stats{border-collapse:collapse}table.stats td,table.stats th{border:1px solid #ccc;padding:3px 8px;text-align:left}
table.stats td:nth-child(2){text-align:right}
.g1{stroke:#f4c7c7;stroke-width:0.5}.g2{stroke:#e89a9a;stroke-width:0.8}
.ecg{fill:none;stroke:#111;stroke-width:1}
.beat.normal circle{fill:#2b6cb0}.beat.extra circle{fill:#d62728}
.beat text{font-size:10px}.beat.normal text{fill:#2b6cb0}.beat.extra text{fill:#d62728;font-weight:bold}
.time{font-size:11px;fill:#555}
.frame{fill:none;stroke:#888}.tick{font-size:10px;fill:#444}.label{font-size:12px;fill:#222}.band{font-size:12px;fill:#555}
.rr{fill:none;stroke:#2b6cb0;stroke-width:1}.rr-extra{fill:#d62728}.psd{fill:none;stroke:#333;stroke-width:1.2}
.legend{font-size:12px;color:#555}.key{display:inline-block;width:12px;height:10px;margin-left:8px}
.key.normal{background:#2b6cb0}.key.extra{background:#d62728}
.strip-row{margin:4px 0}.strip-row.later{display:none}.strip-row.later:target{display:block}
)";

}  // namespace

std::vector<SpectrumPoint> lomb_periodogram(const std::vector<double>& times, const std::vector<double>& values,
                                            double fminHz, double fmaxHz, std::size_t count) {
  std::vector<SpectrumPoint> out;
  const std::size_t n = std::min(times.size(), values.size());
  if (n < 2 || count < 2) return out;
  const double mean = std::accumulate(values.begin(), values.begin() + static_cast<long>(n), 0.0) / static_cast<double>(n);
  double variance = 0.0;
  for (std::size_t i = 0; i < n; ++i) variance += (values[i] - mean) * (values[i] - mean);
  variance /= static_cast<double>(n - 1);
  const double df = (fmaxHz - fminHz) / static_cast<double>(count - 1);
  double area = 0.0;
  for (std::size_t k = 0; k < count; ++k) {
    const double w = 2.0 * M_PI * (fminHz + static_cast<double>(k) * df);
    double s2 = 0, c2 = 0;
    for (std::size_t i = 0; i < n; ++i) {
      s2 += std::sin(2 * w * times[i]);
      c2 += std::cos(2 * w * times[i]);
    }
    const double tau = std::atan2(s2, c2) / (2 * w);
    double yc = 0, ys = 0, cc = 0, ss = 0;
    for (std::size_t i = 0; i < n; ++i) {
      const double c = std::cos(w * (times[i] - tau)), s = std::sin(w * (times[i] - tau));
      const double y = values[i] - mean;
      yc += y * c;
      ys += y * s;
      cc += c * c;
      ss += s * s;
    }
    const double p = 0.5 * ((cc > 0 ? yc * yc / cc : 0) + (ss > 0 ? ys * ys / ss : 0));
    out.push_back({w / (2.0 * M_PI), p});
    area += p * df;
  }
  if (area > 0)
    for (auto& point : out) point.power *= variance / area;
  return out;
}

std::string html_report(const RecordingAnalysis& f) {
  std::ostringstream h;
  h << "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>ECG report: "
    << escape(f.recording.source) << "</title><style>" << kStyle << "</style></head><body>\n";
  h << "<h1>ECG report: " << escape(f.recording.source) << "</h1>";
  h << "<p>" << escape(f.recording.format) << ", signal " << escape(f.recording.signalName) << ", "
    << num(f.recording.fsHz, 1) << " Hz, " << num(f.recording.durationSeconds(), 1) << " s";
  if (f.options.startSeconds > 0) h << ", analysed from " << f.options.startSeconds << " s";
  h << "; analysed at 200 Hz";
  h << ", beats in " << f.stretches.size() << " stretch" << (f.stretches.size() == 1 ? "" : "es");
  h << "; full scale " << num(f.fullScale, 2) << " " << escape(f.recording.units) << " (" << f.fullScaleSource << ").</p>\n";
  h << "<h2>Statistics</h2>" << statistics_table(f) << "\n";
  h << "<h2>Signal quality per window</h2>" << quality_overview(f) << "\n";
  h << "<h2>RR tachogram</h2>" << tachogram(f) << "\n";
  h << "<h2>Spectrum of the NN intervals</h2>" << spectrum(f) << "\n";
  h << "<h2>ECG</h2><p class=\"legend\"><span class=\"key normal\"></span> normal beat (N) <span class=\"key extra\"></span>"
       " extra systole (E); the band above each strip is the window quality; grid 0.2 s and 0.5 mV.</p>"
    << strips(f) << "\n";
  // Marks the page as fully rendered for automatic checks.
  h << "<script>document.body.dataset.rendered='svg:'+document.querySelectorAll('svg').length;</script>\n";
  h << "</body></html>\n";
  return h.str();
}

}  // namespace zyn::cli
