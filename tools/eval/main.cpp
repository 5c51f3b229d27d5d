// zynecg-eval: measures the beat detection's accuracy on annotated WFDB
// databases (MIT-BIH Arrhythmia, Noise Stress Test) and writes the tables as
// Markdown.
#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "eval/evaluate.hpp"
#include "eval/report.hpp"

namespace {

namespace fs = std::filesystem;
using zyn::eval::DatabaseRun;
using zyn::eval::EvaluationSettings;

// EC57 noise tests score after the clean first 5 minutes.
constexpr double kNoiseTestStartSeconds = 300.0;

std::vector<std::string> split_list(const std::string& text) {
  std::vector<std::string> items;
  std::string item;
  std::istringstream in(text);
  while (std::getline(in, item, ','))
    if (!item.empty()) items.push_back(item);
  return items;
}

std::string quoted_command(int argc, char** argv) {
  std::string command = "zynecg-eval";
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    const bool plain = arg.find_first_of(" \t'\"$") == std::string::npos && !arg.empty();
    command += " " + (plain ? arg : "'" + arg + "'");
  }
  return command;
}

DatabaseRun run_database(const fs::path& folder, std::vector<std::string> names,
                         const EvaluationSettings& settings, bool& anyFailed) {
  DatabaseRun run;
  run.folder = folder.string();
  run.scoring = {settings.skipStartSeconds, settings.skipEndSeconds};
  if (names.empty()) names = zyn::eval::records_of(folder, settings.annotator);
  const auto start = std::chrono::steady_clock::now();
  for (const std::string& name : names) {
    try {
      run.records.push_back(zyn::eval::evaluate_record(folder, name, settings));
      const zyn::eval::RecordResult& r = run.records.back();
      std::fprintf(stderr, "%-8s %-5s TP %5lld FN %4lld FP %4lld  Se %7s  +P %7s  (%.2f s)\n",
                   r.record.c_str(), r.signal.c_str(),
                   static_cast<long long>(r.score.truePositives),
                   static_cast<long long>(r.score.falseNegatives),
                   static_cast<long long>(r.score.falsePositives),
                   zyn::eval::format_percent(r.score.sensitivity()).c_str(),
                   zyn::eval::format_percent(r.score.positivePredictivity()).c_str(),
                   r.loadSeconds + r.detectSeconds);
    } catch (const std::exception& e) {
      std::fprintf(stderr, "zynecg-eval: %s\n", e.what());
      anyFailed = true;
    }
  }
  run.wallSeconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return run;
}

void print_gross(const char* label, const zyn::eval::Score& s) {
  std::printf("%-28s beats %6lld  TP %6lld  FN %5lld  FP %5lld  Se %s %%  +P %s %%\n", label,
              static_cast<long long>(s.referenceBeats()), static_cast<long long>(s.truePositives),
              static_cast<long long>(s.falseNegatives), static_cast<long long>(s.falsePositives),
              zyn::eval::format_percent(s.sensitivity()).c_str(),
              zyn::eval::format_percent(s.positivePredictivity()).c_str());
}

std::string read_notes(const std::string& path) {
  if (path.empty()) return "";
  std::ifstream in(path);
  if (!in) throw std::runtime_error(path + ": cannot open notes file");
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// Writes to a temporary name first so that a failed run leaves no half file.
void write_file(const fs::path& path, const std::string& text) {
  if (path.has_parent_path()) fs::create_directories(path.parent_path());
  const fs::path temporary = path.string() + ".tmp";
  {
    std::ofstream out(temporary, std::ios::binary);
    out << text;
    if (!out.flush()) throw std::runtime_error(temporary.string() + ": cannot write");
  }
  fs::rename(temporary, path);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Measures beat detection accuracy on annotated WFDB databases (ANSI/AAMI EC57 "
               "beat-by-beat matching within 150 ms)."};
  std::string db;
  std::string nstdb;
  std::string recordList;
  std::string markdown;
  std::string notes;
  std::string errorsCsv;
  EvaluationSettings settings;
  app.add_option("--db", db, "Annotated database folder (MIT-BIH Arrhythmia style)")
      ->check(CLI::ExistingDirectory);
  app.add_option("--nstdb", nstdb,
                 "Noise stress test database folder (scored from minute 5, grouped by SNR)")
      ->check(CLI::ExistingDirectory);
  app.add_option("--records", recordList, "Comma-separated records of --db (default: all)");
  app.add_option("--markdown", markdown, "Write the Markdown report to this file");
  app.add_option("--notes", notes, "Markdown text to include as the report's discussion")
      ->check(CLI::ExistingFile);
  app.add_option("--errors", errorsCsv,
                 "Write every false negative and false positive, with context, as CSV");
  app.add_option("--quality-window", settings.qualityWindowSeconds,
                 "Quality window length in seconds")
      ->capture_default_str();
  CLI11_PARSE(app, argc, argv);
  if (db.empty() && nstdb.empty()) {
    std::fprintf(stderr, "zynecg-eval: give --db and/or --nstdb\n%s", app.help().c_str());
    return 2;
  }

  try {
    bool anyFailed = false;
    DatabaseRun arrhythmia;
    DatabaseRun noise;
    if (!db.empty()) {
      arrhythmia = run_database(db, split_list(recordList), settings, anyFailed);
      const auto nonPaced = [](const zyn::eval::RecordResult& r) {
        return zyn::eval::paced_records().count(r.record) == 0;
      };
      print_gross("all records", zyn::eval::gross_score(arrhythmia.records, [](const auto&) {
                    return true;
                  }));
      print_gross("without paced records", zyn::eval::gross_score(arrhythmia.records, nonPaced));
    }
    if (!nstdb.empty()) {
      EvaluationSettings noiseSettings = settings;
      noiseSettings.skipStartSeconds = kNoiseTestStartSeconds;
      noise = run_database(nstdb, {}, noiseSettings, anyFailed);
      print_gross("noise stress, all levels",
                  zyn::eval::gross_score(noise.records, [](const auto&) { return true; }));
    }
    if (!markdown.empty()) {
      const std::string document = zyn::eval::accuracy_document(
          db.empty() ? nullptr : &arrhythmia, nstdb.empty() ? nullptr : &noise,
          quoted_command(argc, argv), read_notes(notes));
      write_file(markdown, document);
    }
    if (!errorsCsv.empty()) {
      std::vector<const DatabaseRun*> runs;
      if (!db.empty()) runs.push_back(&arrhythmia);
      if (!nstdb.empty()) runs.push_back(&noise);
      write_file(errorsCsv, zyn::eval::errors_csv(runs));
    }
    return anyFailed ? 1 : 0;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "zynecg-eval: %s\n", e.what());
    return 1;
  }
}
