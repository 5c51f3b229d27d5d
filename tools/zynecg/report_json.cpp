// The report's data document: metadata, tables and statistics through
// nlohmann-json, the long series (beats, windows, RR intervals, spectrum)
// written directly with std::to_chars, which keeps a 24-hour document
// quick to write. See report_input.hpp.
#include <nlohmann/json.hpp>

#include <charconv>
#include <cmath>

#include "analyse_recording.hpp"
#include "report_input.hpp"
#include "report_signal.hpp"

namespace zyn::cli {
namespace {

using Json = nlohmann::ordered_json;

// The ECG is embedded in steps of this size; 2.5 µV is below anything the
// eye sees at 10 mm/mV (0.025 mm) and half the resolution of common
// 200-units-per-mV recorders.
constexpr double kSignalStepMillivolts = 0.0025;
// Without a known gain the page draws the signal in its own units, scaled so
// that a step of 1/400 of the signal's largest magnitude is one step.
constexpr double kStepsPerLargestMagnitude = 4000.0;

// How long a recording must be (minutes) before a statistic means what its
// name says: time-domain variability over at least 5 minutes; the 5-minute
// segment statistics over six segments; a band over ten cycles of its
// slowest frequency; ULF over a whole day.
struct Statistic {
  const char* key;
  const char* name;
  const char* unit;
  double scale;   // from the library's value to the unit shown
  const char* meaning;
  double needsMinutes;
};
constexpr Statistic kTimeDomain[] = {
    {"nn_rr", "NN/RR", "%", 100.0, "share of RR intervals that are NN intervals (both beats normal)", 0},
    {"avnn", "AVNN", "ms", 1000.0, "mean of all NN intervals", 0},
    {"sdnn", "SDNN", "ms", 1000.0, "standard deviation of all NN intervals: overall variability", 5},
    {"sdann", "SDANN", "ms", 1000.0, "standard deviation of the mean NN interval of each 5-minute segment: slow changes", 30},
    {"sdnnidx", "SDNNIDX", "ms", 1000.0, "mean of the standard deviations of NN intervals in each 5-minute segment", 30},
    {"rmssd", "RMSSD", "ms", 1000.0, "root mean square of successive NN differences: beat-to-beat (vagal) variability", 1},
    {"pnn50", "pNN50", "%", 100.0, "share of successive NN differences above 50 ms", 1},
};
constexpr double kBandNeedsMinutes[] = {1440, 10 / 0.0033 / 60, 10 / 0.04 / 60, 10 / 0.15 / 60};
// ULF is defined over a day; a recording 5% short of it still counts.
constexpr double kWholeDayTolerance = 0.95;

void append(std::string& out, double v, int significant) {
  if (!std::isfinite(v)) {
    out += "null";
    return;
  }
  char buffer[32];
  const auto r = std::to_chars(buffer, buffer + sizeof buffer, v, std::chars_format::general, significant);
  out.append(buffer, r.ptr);
}

void append(std::string& out, int64_t v) {
  char buffer[24];
  const auto r = std::to_chars(buffer, buffer + sizeof buffer, v);
  out.append(buffer, r.ptr);
}

template <typename T, typename... Precision>
void append_array(std::string& out, const char* name, const std::vector<T>& values, double scale, Precision... p) {
  out += '"';
  out += name;
  out += "\":[";
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i) out += ',';
    if constexpr (sizeof...(p) == 0) {
      append(out, static_cast<int64_t>(values[i]));
    } else {
      append(out, static_cast<double>(values[i]) * scale, p...);
    }
  }
  out += ']';
}

Json optional_number(const std::optional<double>& v, double scale = 1.0) {
  return v && std::isfinite(*v) ? Json(*v * scale) : Json(nullptr);
}

double analysed_minutes(const ReportInput& in) { return static_cast<double>(in.ecg200.size()) / 200.0 / 60.0; }

Json needs(double needsMinutes, double minutes) {
  if (needsMinutes <= 0 || minutes >= needsMinutes * (needsMinutes >= 1440 ? kWholeDayTolerance : 1.0)) return nullptr;
  return needsMinutes >= 1440 ? std::string("needs about 24 hours")
                              : "needs at least " + std::to_string(static_cast<int>(std::ceil(needsMinutes))) + " minutes";
}

Json meta(const ReportInput& in, double unitsPerStep) {
  Json m = {{"file", in.file},
            {"format", in.format},
            {"signal", in.signalName},
            {"units", in.units},
            {"fileRateHz", in.fileRateHz},
            {"recordedSeconds", in.recordedSeconds},
            {"offsetSeconds", in.offsetSeconds},
            {"analysedSeconds", static_cast<double>(in.ecg200.size()) / 200.0},
            {"startDate", in.startDate},
            {"startOfDaySeconds", optional_number(in.startOfDaySeconds)},
            {"gainSource", in.gainSource}};
  m["signal200"] = {{"rateHz", 200},
                    {"samples", in.ecg200.size()},
                    {"chunkSeconds", kSignalChunkSeconds},
                    {"unitsPerStep", unitsPerStep},
                    {"unitsPerMillivolt", optional_number(in.unitsPerMillivolt)}};
  return m;
}

Json time_domain(const ReportInput& in) {
  Json rows = Json::array();
  const double minutes = analysed_minutes(in);
  for (std::size_t i = 0; i < std::size(kTimeDomain); ++i) {
    const Statistic& s = kTimeDomain[i];
    const double v = in.timeDomain ? (*in.timeDomain)[i] : NAN;
    // The library marks a statistic it could not form with -1.
    rows.push_back({{"key", s.key}, {"name", s.name}, {"value", v >= 0 && std::isfinite(v) ? Json(v * s.scale) : Json(nullptr)},
                    {"unit", s.unit}, {"meaning", s.meaning}, {"needs", needs(s.needsMinutes, minutes)}});
  }
  const auto p = poincare_descriptors(in.rr);
  const char* poincareMeaning = "Poincaré plot, computed by this report from successive NN pairs: spread ";
  rows.push_back({{"key", "sd1"}, {"name", "SD1"}, {"value", p ? Json(p->sd1Seconds * 1000) : Json(nullptr)}, {"unit", "ms"},
                  {"meaning", std::string(poincareMeaning) + "across the identity line (short-term variability)"},
                  {"needs", needs(1, minutes)}});
  rows.push_back({{"key", "sd2"}, {"name", "SD2"}, {"value", p ? Json(p->sd2Seconds * 1000) : Json(nullptr)}, {"unit", "ms"},
                  {"meaning", std::string(poincareMeaning) + "along the identity line (long-term variability)"},
                  {"needs", needs(5, minutes)}});
  return rows;
}

Json frequency_domain(const ReportInput& in) {
  Json out = {{"rows", Json::array()}, {"lfHf", nullptr}, {"totalMs2", nullptr}};
  if (!in.frequencyDomain) return out;
  const auto& f = *in.frequencyDomain;
  const double minutes = analysed_minutes(in);
  const auto rows = frequency_table(std::span<const double, 6>(f), in.spectrumHz, in.spectrumPower);
  for (std::size_t b = 0; b < rows.size(); ++b) {
    const BandRow& r = rows[b];
    out["rows"].push_back({{"band", r.name}, {"fromHz", r.fromHz}, {"toHz", r.toHz}, {"peakHz", optional_number(r.peakHz)},
                           {"powerMs2", r.powerSeconds2 * 1e6}, {"percent", r.percentOfTotal},
                           {"normalisedUnits", optional_number(r.normalisedUnits)},
                           {"needs", needs(kBandNeedsMinutes[b], minutes)}});
  }
  out["totalMs2"] = f[0] * 1e6;
  out["lfHf"] = std::isfinite(f[5]) ? Json(f[5]) : Json(nullptr);
  return out;
}

Json trend(const ReportInput& in) {
  Json rows = Json::array();
  for (const ReportSegment& s : in.segments) {
    const auto range = heart_rate_range(in.rr, s.startSeconds, s.startSeconds + s.seconds);
    rows.push_back({{"start", s.startSeconds}, {"seconds", s.seconds}, {"meanHr", optional_number(s.meanHrBpm)},
                    {"minHr", range ? Json(range->minBpm) : Json(nullptr)},
                    {"maxHr", range ? Json(range->maxBpm) : Json(nullptr)},
                    {"sdnnMs", optional_number(s.sdnnSeconds, 1000)}, {"rmssdMs", optional_number(s.rmssdSeconds, 1000)},
                    {"normal", s.normalBeats}, {"extra", s.extraSystoles}});
  }
  return rows;
}

double units_per_step(const ReportInput& in) {
  if (in.unitsPerMillivolt) return kSignalStepMillivolts * *in.unitsPerMillivolt;
  double largest = 0;
  for (const double x : in.ecg200)
    if (std::isfinite(x)) largest = std::max(largest, std::abs(x));
  return largest > 0 ? largest / kStepsPerLargestMagnitude : 1.0;
}

}  // namespace

ReportDocument report_document(const ReportInput& in) {
  const double unitsPerStep = units_per_step(in);
  Json small = {{"meta", meta(in, unitsPerStep)},
                {"summary",
                 {{"hrBpm", optional_number(in.hrBpm)},
                  {"hrMeanBpm", optional_number(in.hrMeanBpm)},
                  {"normalBeats", in.normalBeats.size()},
                  {"extraSystoles", in.extraSystoles.size()}}},
                {"qualityMeanings", Json::object()},
                {"timeDomain", time_domain(in)},
                {"frequencyDomain", frequency_domain(in)},
                {"trend", trend(in)},
                {"hrvNote", in.hrvNote},
                {"warnings", in.warnings}};
  for (const int32_t code : {0, 3, 5, 6, -1}) small["qualityMeanings"][std::to_string(code)] = recording::window_quality_meaning(code);
  if (const auto p = poincare_descriptors(in.rr))
    small["poincare"] = {{"sd1Ms", p->sd1Seconds * 1000}, {"sd2Ms", p->sd2Seconds * 1000}, {"pairs", p->pairs}};
  const Histogram h = nn_histogram(in.rr);
  small["histogram"] = {{"firstMs", h.firstBinSeconds * 1000}, {"binMs", h.binSeconds * 1000}, {"counts", h.counts}};

  ReportDocument doc;
  std::string& out = doc.json;
  out = small.dump();
  out.pop_back();  // the closing brace: the long series follow
  std::vector<double> starts, ends;
  std::vector<int32_t> codes;
  for (const auto& w : in.windows) {
    starts.push_back(w.startSeconds);
    ends.push_back(w.endSeconds);
    codes.push_back(w.code);
  }
  out += ",\"quality\":{\"windowSeconds\":";
  append(out, int64_t{in.windowSeconds});
  out += ',';
  append_array(out, "start", starts, 1.0, 9);
  out += ',';
  append_array(out, "end", ends, 1.0, 9);
  out += ',';
  append_array(out, "codes", codes, 1.0);
  out += "},\"beats\":{";
  append_array(out, "normal", in.normalBeats, 1.0);
  out += ',';
  append_array(out, "extra", in.extraSystoles, 1.0);
  out += "},\"rr\":{";
  append_array(out, "t", in.rr.endSeconds, 1.0, 9);
  out += ',';
  append_array(out, "ms", in.rr.rrSeconds, 1000.0, 6);
  out += ",\"nn\":\"";
  for (const uint8_t nn : in.rr.nn) out += nn ? '1' : '0';
  out += "\"},\"spectrum\":{";
  // Power spectral density in ms²/Hz: each point's power (s²) spread
  // over the spacing of the periodogram's frequencies, so that the area
  // under the curve in a band is the band's power.
  std::vector<double> hz, density;
  for (std::size_t i = 0; i < in.spectrumHz.size() && i < in.spectrumPower.size(); ++i) {
    if (in.spectrumHz[i] <= 0 || in.spectrumHz[i] > 0.4) continue;
    hz.push_back(in.spectrumHz[i]);
    density.push_back(in.spectrumPower[i] * 1e6);
  }
  const double spacing = hz.size() > 1 ? (hz.back() - hz.front()) / static_cast<double>(hz.size() - 1) : 1.0;
  for (double& d : density) d /= spacing;
  append_array(out, "hz", hz, 1.0, 6);
  out += ',';
  append_array(out, "ms2PerHz", density, 1.0, 5);
  out += "}}";
  // A "</script>" inside a file name must not end the data element early;
  // '<' occurs only inside strings in JSON.
  for (std::size_t at = out.find('<'); at != std::string::npos; at = out.find('<', at)) out.replace(at, 1, "\\u003c");

  append_encoded_signal(doc.signalLines, in.ecg200, 200.0, unitsPerStep);
  return doc;
}

}  // namespace zyn::cli
