// zynecg: analyses ECG files with the library's beat detection and HRV
// analysis, prints a short summary and writes JSON, HTML reports and a batch
// summary CSV; `zynecg excerpt` cuts a short WFDB record and its 200 Hz CSV
// out of a longer one.
#include <unistd.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <mutex>
#include <optional>
#include <thread>

#include "excerpt.hpp"
#include "output.hpp"
#include "report.hpp"

namespace {

using namespace zyn::cli;
namespace fs = std::filesystem;

// A one-line progress bar on standard error, drawn only on a terminal.
class ProgressBar {
 public:
  explicit ProgressBar(std::string label) : label_(std::move(label)), enabled_(::isatty(STDERR_FILENO) == 1) {}
  ~ProgressBar() { finish(); }
  void update(std::size_t done, std::size_t total) {
    if (!enabled_ || total == 0) return;
    const std::lock_guard lock(mutex_);
    constexpr std::size_t kWidth = 30;
    const std::size_t filled = kWidth * done / total;
    std::fprintf(stderr, "\r%-24.24s [%s%s] %zu/%zu", label_.c_str(), std::string(filled, '#').c_str(),
                 std::string(kWidth - filled, '.').c_str(), done, total);
    std::fflush(stderr);
    drawn_ = true;
  }
  void finish() {
    const std::lock_guard lock(mutex_);
    if (drawn_) std::fprintf(stderr, "\r%*s\r", 72, "");
    drawn_ = false;
  }

 private:
  std::string label_;
  bool enabled_;
  bool drawn_ = false;
  std::mutex mutex_;
};

// OUT.html for one file; OUT-<file stem>.html when several files share it.
fs::path per_file_path(const std::string& out, const std::string& file, bool several) {
  if (!several) return out;
  fs::path p(out);
  const std::string stem = fs::path(file).stem().string();
  return p.parent_path() / (p.stem().string() + "-" + stem + p.extension().string());
}

struct AnalyseArgs {
  std::vector<std::string> files;
  std::string mode = "both", format = "auto", signal, json, report, summary, rawType;
  int32_t start = 0, window = 10;
  std::optional<double> fullScale, fs;
  unsigned jobs = 1;
};

int run_analyse(const AnalyseArgs& args) {
  FileOptions options;
  options.mode = args.mode == "qrs" ? Mode::Qrs : args.mode == "hrv" ? Mode::Hrv : Mode::Both;
  options.startSeconds = args.start;
  options.windowSeconds = args.window;
  options.fullScale = args.fullScale;
  options.read.format = parse_format(args.format);
  options.read.fsHz = args.fs;
  options.read.signal = args.signal;
  // One file: its stretches on every core; several: files on --jobs threads.
  if (args.files.size() == 1) options.parallel = parallel_on_threads(std::thread::hardware_concurrency());
  if (!args.rawType.empty()) options.read.rawType = args.rawType == "int16" ? RawType::Int16 : RawType::Float64;

  const std::size_t n = args.files.size();
  const bool several = n > 1;
  std::vector<std::optional<RecordingAnalysis>> results(n);
  std::vector<std::string> failures(n);
  std::vector<std::string> summaries(n);
  std::atomic<std::size_t> next{0}, finished{0};
  ProgressBar bar(several ? "files" : fs::path(args.files[0]).filename().string());
  std::mutex stdoutMutex;

  auto work = [&] {
    for (std::size_t i = next++; i < n; i = next++) {
      const std::string& file = args.files[i];
      try {
        const Progress progress = several ? Progress{} : Progress{[&](std::size_t d, std::size_t t) { bar.update(d, t); }};
        RecordingAnalysis f = analyse_file(file, options, progress);
        summaries[i] = human_summary(f);
        if (!args.report.empty()) write_file_atomically(per_file_path(args.report, file, several), html_report(f));
        results[i] = std::move(f);
      } catch (const std::exception& e) {
        failures[i] = e.what();
        bar.finish();
        const std::lock_guard lock(stdoutMutex);
        std::cerr << "zynecg: " << e.what() << "\n";
      }
      if (several) bar.update(++finished, n);
    }
  };
  const unsigned threads = std::clamp<unsigned>(args.jobs, 1, static_cast<unsigned>(std::max<std::size_t>(n, 1)));
  std::vector<std::thread> pool;
  for (unsigned t = 1; t < threads; ++t) pool.emplace_back(work);
  work();
  for (auto& t : pool) t.join();
  bar.finish();

  int status = 0;
  std::string csv = summary_csv_header();
  nlohmann::ordered_json all = {{"files", nlohmann::ordered_json::array()}};
  for (std::size_t i = 0; i < n; ++i) {
    if (results[i]) {
      std::cout << summaries[i];
      if (several) all["files"].push_back(to_json(*results[i]));
    } else {
      status = 1;
      if (several) all["files"].push_back({{"file", args.files[i]}, {"failed", failures[i]}});
    }
    csv += summary_csv_line(args.files[i], results[i] ? &*results[i] : nullptr, failures[i]);
  }
  try {
    if (!args.json.empty() && (several || results[0])) {
      write_file_atomically(args.json, (several ? all : to_json(*results[0])).dump(1) + "\n");
    }
    if (!args.summary.empty()) write_file_atomically(args.summary, csv);
  } catch (const std::exception& e) {
    std::cerr << "zynecg: " << e.what() << "\n";
    return 1;
  }
  if (several && args.summary.empty()) std::cout << "\n" << csv;
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Analyses single-lead ECG recordings: R peaks, extra systoles, signal quality, heart rate and HRV."};
  app.require_subcommand(1);

  AnalyseArgs a;
  auto* analyse = app.add_subcommand("analyse", "analyse ECG files (CSV, WFDB, EDF/EDF+, raw)");
  analyse->add_option("FILE", a.files, "ECG files; a WFDB record is given by its .hea (or name)")->required();
  analyse->add_option("--mode", a.mode, "qrs: beats only; hrv: beats and HRV (needs 180 s); both")
      ->check(CLI::IsMember({"qrs", "hrv", "both"}))->capture_default_str();
  analyse->add_option("--start", a.start, "analysis starts this many whole seconds into the recording")
      ->check(CLI::NonNegativeNumber)->capture_default_str();
  analyse->add_option("--window", a.window, "signal-quality window, seconds")->check(CLI::PositiveNumber)->capture_default_str();
  analyse->add_option("--full-scale", a.fullScale,
                      "recorder full-scale amplitude in the signal's units (default: the file header's, else 10 mV)");
  analyse->add_option("--signal", a.signal, "signal name or 0-based index (CSV column, WFDB/EDF signal)");
  analyse->add_option("--format", a.format, "input format")
      ->check(CLI::IsMember({"auto", "csv", "wfdb", "edf", "raw"}))->capture_default_str();
  analyse->add_option("--raw-type", a.rawType, "sample type of raw files (default: int16 for .i16, else float64)")
      ->check(CLI::IsMember({"float64", "int16"}));
  analyse->add_option("--fs", a.fs, "sampling rate in Hz (raw files, CSV without time column; overrides headers)");
  analyse->add_option("--json", a.json, "write every result as JSON to this file");
  analyse->add_option("--report", a.report, "write an HTML report (OUT-<name>.html for several files)");
  analyse->add_option("--summary", a.summary, "write the one-line-per-file summary CSV to this file");
  analyse->add_option("--jobs,-j", a.jobs, "files analysed in parallel")->check(CLI::Range(1u, 256u))->capture_default_str();

  ExcerptArgs e;
  auto* excerpt = app.add_subcommand("excerpt", "cut the first seconds of a WFDB record into a new record and a 200 Hz CSV");
  excerpt->add_option("RECORD", e.record, "WFDB record (.hea path or name)")->required();
  excerpt->add_option("--seconds", e.seconds, "length of the excerpt")->check(CLI::PositiveNumber)->capture_default_str();
  excerpt->add_option("--signal", e.signal, "signal name or index to keep")->capture_default_str();
  excerpt->add_option("--name", e.name, "record name of the excerpt")->required();
  excerpt->add_option("--out-dir", e.outDir, "folder for NAME.hea/.dat/.atr and NAME-200hz.csv")->capture_default_str();
  excerpt->add_option("--comment", e.comments, "comment line for the header (repeatable)");

  CLI11_PARSE(app, argc, argv);
  try {
    if (analyse->parsed()) return run_analyse(a);
    if (excerpt->parsed()) return write_excerpt(e);
  } catch (const std::exception& ex) {
    std::cerr << "zynecg: " << ex.what() << "\n";
    return 1;
  }
  return 0;
}
