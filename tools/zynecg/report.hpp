// The HTML report of one analysed file: a single self-contained page that
// opens from disk with no network. Overview first (file, signal, start
// time, beats by class, heart-rate trend, window quality, warnings), then
// an ECG strip view drawn on demand from the embedded 200 Hz signal, the
// events (extra systoles, poor-quality windows) and the HRV figures and
// tables. The page's template, style and script live in report/.
#pragma once

#include <optional>
#include <string>

#include "output.hpp"
#include "report_input.hpp"

namespace zyn::cli {

struct ReportOptions {
  // ADC units per millivolt for files whose samples are not in a physical
  // unit (raw files); the page then draws them in mV.
  std::optional<double> gainUnitsPerMillivolt;
};

// What the report shows of an analysed file.
ReportInput report_input(const RecordingAnalysis& f, const ReportOptions& options);

std::string html_report(const RecordingAnalysis& f, const ReportOptions& options = {});

}  // namespace zyn::cli
