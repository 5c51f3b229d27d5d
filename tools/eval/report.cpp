// Markdown accuracy report (see report.hpp).
#include "eval/report.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <sstream>

namespace zyn::eval {
namespace {

constexpr double kTargetPercent = 99.5;

std::string fixed(double value, int decimals) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.*f", decimals, value);
  return buffer;
}

bool is_paced(const RecordResult& r) { return paced_records().count(r.record) != 0; }

void score_header(std::ostringstream& out, const std::string& first) {
  out << "| " << first << " | records | reference beats | TP | FN | FP | Se (%) | +P (%) |\n"
      << "|---|---:|---:|---:|---:|---:|---:|---:|\n";
}

void score_row(std::ostringstream& out, const std::string& label, std::size_t records,
               const Score& s) {
  out << "| " << label << " | " << records << " | " << s.referenceBeats() << " | "
      << s.truePositives << " | " << s.falseNegatives << " | " << s.falsePositives << " | "
      << format_percent(s.sensitivity()) << " | " << format_percent(s.positivePredictivity())
      << " |\n";
}

void split_row(std::ostringstream& out, const std::string& label, const GroupSplit& g) {
  const int64_t found = g.asNormal + g.asExtra;
  const double extraShare = found == 0 ? std::nan("") : 100.0 * static_cast<double>(g.asExtra) /
                                                            static_cast<double>(found);
  out << "| " << label << " | " << g.asNormal + g.asExtra + g.missed << " | " << g.asNormal
      << " | " << g.asExtra << " | " << g.missed << " | " << format_percent(extraShare) << " |\n";
}

void split_table(std::ostringstream& out, const Score& all, const Score& nonPaced) {
  out << "| reference beats | count | detected as normal beat | detected as extra systole | "
         "missed | extra systoles among detected (%) |\n"
      << "|---|---:|---:|---:|---:|---:|\n";
  split_row(out, "N, L, R, e, j (without paced records)", nonPaced.normal);
  split_row(out, "V (without paced records)", nonPaced.ventricular);
  split_row(out, "N, L, R, e, j (all records)", all.normal);
  split_row(out, "V (all records)", all.ventricular);
  out << "\n";
}

void record_table(std::ostringstream& out, const std::vector<RecordResult>& records,
                  bool withNoiseLevel) {
  out << "| record |" << (withNoiseLevel ? " SNR |" : "")
      << " signal | beats | TP | FN | FP | Se (%) | +P (%) | N→normal | N→extra | V→normal | "
         "V→extra | detected normal / extra | quality | good windows | short RR | seconds |\n"
      << "|---|" << (withNoiseLevel ? "---|" : "")
      << "---|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|\n";
  for (const RecordResult& r : records) {
    const Score& s = r.score;
    out << "| " << r.record << (is_paced(r) && !withNoiseLevel ? " (paced)" : "") << " | "
        << (withNoiseLevel ? r.noiseLevel + " | " : "") << r.signal << " | " << s.referenceBeats()
        << " | " << s.truePositives << " | " << s.falseNegatives << " | " << s.falsePositives
        << " | " << format_percent(s.sensitivity()) << " | "
        << format_percent(s.positivePredictivity()) << " | " << s.normal.asNormal << " | "
        << s.normal.asExtra << " | " << s.ventricular.asNormal << " | " << s.ventricular.asExtra
        << " | " << r.normalPeaks << " / " << r.extraPeaks << " | " << r.overallQuality << " | "
        << r.goodWindows << "/" << r.windows << " | " << r.shortRrFlag << " | "
        << fixed(r.loadSeconds + r.detectSeconds, 2) << " |\n";
  }
  out << "\n";
}

void timing_line(std::ostringstream& out, const DatabaseRun& run) {
  double load = 0.0;
  double detect = 0.0;
  for (const RecordResult& r : run.records) {
    load += r.loadSeconds;
    detect += r.detectSeconds;
  }
  out << "Run time: " << fixed(run.wallSeconds, 1) << " s wall clock for " << run.records.size()
      << " records (reading and resampling " << fixed(load, 1) << " s, wave detection "
      << fixed(detect, 1) << " s).\n\n";
}

bool below_target(const RecordResult& r) {
  return !(r.score.sensitivity() >= kTargetPercent) ||
         !(r.score.positivePredictivity() >= kTargetPercent);
}

void list_below_target(std::ostringstream& out, const std::vector<RecordResult>& records) {
  std::vector<const RecordResult*> failing;
  for (const RecordResult& r : records)
    if (below_target(r)) failing.push_back(&r);
  if (failing.empty()) {
    out << "Every record reaches Se and +P of at least " << fixed(kTargetPercent, 1) << " %.\n\n";
    return;
  }
  out << "Records below " << fixed(kTargetPercent, 1) << " % in Se or +P: ";
  for (std::size_t i = 0; i < failing.size(); ++i) {
    const RecordResult& r = *failing[i];
    out << (i ? ", " : "") << r.record << (r.noiseLevel.empty() ? "" : " (" + r.noiseLevel + ")")
        << " (FN " << r.score.falseNegatives << ", FP " << r.score.falsePositives << ")";
  }
  out << ".\n\n";
}

// "N 12, V 3" from counts, largest first, at most limit entries.
std::string tally(const std::map<std::string, int>& counts, std::size_t limit) {
  std::vector<std::pair<std::string, int>> sorted(counts.begin(), counts.end());
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const auto& a, const auto& b) { return a.second > b.second; });
  std::string text;
  for (std::size_t i = 0; i < sorted.size() && i < limit; ++i)
    text += (i ? ", " : "") + (sorted[i].first.empty() ? "-" : sorted[i].first) + " " +
            std::to_string(sorted[i].second);
  return text.empty() ? "-" : text;
}

// Numeric value of a "24 dB" / "-6 dB" label, for ordering from clean to noisy.
double level_value(const std::string& label) {
  try {
    return std::stod(label);
  } catch (...) {
    return -1e9;
  }
}

}  // namespace

const std::set<std::string>& paced_records() {
  static const std::set<std::string> kPaced = {"102", "104", "107", "217"};
  return kPaced;
}

std::string format_percent(double value) { return std::isnan(value) ? "-" : fixed(value, 2); }

std::string database_section(const DatabaseRun& run) {
  std::ostringstream out;
  const auto all = [](const RecordResult&) { return true; };
  const auto nonPaced = [](const RecordResult& r) { return !is_paced(r); };
  const std::size_t pacedCount = static_cast<std::size_t>(
      std::count_if(run.records.begin(), run.records.end(), is_paced));
  const Score allScore = gross_score(run.records, all);
  const Score nonPacedScore = gross_score(run.records, nonPaced);

  out << "## Annotated database: `" << run.folder << "`\n\n"
      << "Beats are scored from " << fixed(run.scoring.fromSeconds, 0) << " s after the start to "
      << fixed(run.scoring.toSeconds, 0) << " s before the end of each record.\n\n";
  out << "### Gross QRS detection\n\n";
  score_header(out, "set");
  score_row(out, "all records", run.records.size(), allScore);
  score_row(out, "without paced records (102, 104, 107, 217)", run.records.size() - pacedCount,
            nonPacedScore);
  Score outsideFlutter = nonPacedScore;
  for (const RecordResult& r : run.records)
    if (!is_paced(r))
      for (const ErrorEvent& e : r.errors) outsideFlutter.falsePositives -= e.falsePositive && e.flutter;
  if (outsideFlutter.falsePositives != nonPacedScore.falsePositives)
    score_row(out, "the same, detections inside ventricular flutter not counted (EC57 rule)",
              run.records.size() - pacedCount, outsideFlutter);
  out << "\n";
  list_below_target(out, run.records);
  out << "### Reference beats split between normal beats and extra systoles\n\n"
      << "Each detected beat is reported either among the normal beats (the majority "
         "morphology) or among the extra systoles. For the reference beats that were found, "
         "this shows where they went.\n\n";
  split_table(out, allScore, nonPacedScore);
  out << "### Per record\n\n";
  record_table(out, run.records, false);
  out << error_breakdown(run.records);
  timing_line(out, run);
  return out.str();
}

std::string error_breakdown(const std::vector<RecordResult>& records) {
  std::ostringstream out;
  bool any = false;
  for (const RecordResult& r : records) {
    if (!below_target(r)) continue;
    if (!any) {
      out << "### Where the errors of the records below " << fixed(kTargetPercent, 1)
          << " % fall\n\n"
          << "Noisy: the annotators marked the analysed lead noisy or unreadable there. "
             "Flutter: inside ventricular flutter or fibrillation. Displaced: a false negative "
             "with a detection 150 to 300 ms away, or a false positive with a reference beat "
             "150 to 300 ms away (a peak found on the wrong wave of the beat).\n\n"
          << "| record | FN | missed beat types | FN noisy | FN displaced | FP | FP noisy | "
             "FP flutter | FP displaced | FP as extra systole | rhythms at the errors |\n"
          << "|---|---:|---|---:|---:|---:|---:|---:|---:|---:|---|\n";
      any = true;
    }
    std::map<std::string, int> missedTypes;
    std::map<std::string, int> rhythms;
    int fnNoisy = 0, fnDisplaced = 0, fpNoisy = 0, fpFlutter = 0, fpDisplaced = 0, fpExtra = 0;
    for (const ErrorEvent& e : r.errors) {
      const bool displaced = std::abs(e.nearestMs) <= 300.0;
      ++rhythms[e.rhythm];
      if (e.falsePositive) {
        fpNoisy += e.noisy;
        fpFlutter += e.flutter;
        fpDisplaced += displaced;
        fpExtra += e.label == "extra";
      } else {
        ++missedTypes[e.label];
        fnNoisy += e.noisy;
        fnDisplaced += displaced;
      }
    }
    out << "| " << r.record << (r.noiseLevel.empty() ? "" : " (" + r.noiseLevel + ")") << " | "
        << r.score.falseNegatives << " | " << tally(missedTypes, 4) << " | " << fnNoisy << " | "
        << fnDisplaced << " | " << r.score.falsePositives << " | " << fpNoisy << " | "
        << fpFlutter << " | " << fpDisplaced << " | " << fpExtra << " | " << tally(rhythms, 3)
        << " |\n";
  }
  if (any) out << "\n";
  return out.str();
}

std::string errors_csv(const std::vector<const DatabaseRun*>& runs) {
  std::ostringstream out;
  out << "record,kind,seconds,label,nearest_ms,rhythm,noisy,flutter\n";
  for (const DatabaseRun* run : runs)
    for (const RecordResult& r : run->records)
      for (const ErrorEvent& e : r.errors)
        out << r.record << "," << (e.falsePositive ? "FP" : "FN") << "," << fixed(e.seconds, 3)
            << "," << e.label << "," << fixed(e.nearestMs, 0) << "," << e.rhythm << ","
            << e.noisy << "," << e.flutter << "\n";
  return out.str();
}

std::string noise_section(const DatabaseRun& run) {
  std::ostringstream out;
  std::map<double, std::vector<const RecordResult*>, std::greater<>> byLevel;
  for (const RecordResult& r : run.records) byLevel[level_value(r.noiseLevel)].push_back(&r);

  out << "## Noise stress test: `" << run.folder << "`\n\n"
      << "Electrode-motion noise added to records 118 and 119 at six signal-to-noise ratios. "
         "The first 5 minutes are clean; beats are scored from "
      << fixed(run.scoring.fromSeconds, 0) << " s after the start to "
      << fixed(run.scoring.toSeconds, 0)
      << " s before the end, so the scored part alternates 2 noisy and 2 clean minutes. "
         "The reference annotations of the 119e records are the older edition of record 119's "
         "(35 V beats placed 4 to 31 samples later); the 150 ms window absorbs the shift.\n\n";
  score_header(out, "SNR");
  for (const auto& [level, records] : byLevel) {
    Score total;
    for (const RecordResult* r : records) total += r->score;
    score_row(out, records.front()->noiseLevel, records.size(), total);
  }
  out << "\n### Per record\n\n";
  record_table(out, run.records, true);
  timing_line(out, run);
  return out.str();
}

std::string accuracy_document(const DatabaseRun* arrhythmia, const DatabaseRun* noise,
                              const std::string& command, const std::string& notes) {
  std::ostringstream out;
  out << "# Beat detection accuracy on annotated recordings\n\n"
      << "This file is written by `zynecg-eval` (target `zynecg-eval`, built as "
         "`build/tools/zynecg-eval`), run from the repository root as:\n\n```\n"
      << command << "\n```\n\n"
      << "## Method\n\n"
      << "- Signal: the lead named MLII, or the first signal of records without one (102 and "
         "104 of the MIT-BIH Arrhythmia Database: V5), converted to millivolts with the "
         "header's gain and baseline and resampled to 200 Hz (libsoxr, very high "
         "quality). The full-scale amplitude for the saturation test is the larger distance, "
         "in millivolts, from the baseline to either end of the header's ADC range.\n"
      << "- Detection: one wave-detection call per whole record (quality windows of 10 s). "
         "Normal beats and extra systoles together are the detected beats.\n"
      << "- Matching, as ANSI/AAMI EC57 counts QRS detection: every reference beat annotation "
         "(N L R B A a J S V r F e j n E / f Q ?) is paired with at most one detection and "
         "each detection with at most one reference beat, closest pairs first, within "
         "150 ms. TP: paired reference beats; FN: unpaired reference beats; FP: unpaired "
         "detections; Se = TP / (TP + FN); +P = TP / (TP + FP). Gross figures sum the counts "
         "of all records before dividing. Every detection counts, except in the row marked \"EC57 "
         "rule\", which leaves out detections inside the ventricular flutter episodes that the "
         "reference marks, as the standard's beat-by-beat comparator does.\n"
      << "- Columns N→normal / N→extra count reference N, L, R, e, j beats found as normal "
         "beats / extra systoles; V→normal / V→extra the same for reference V beats. "
         "\"quality\" is the whole-record quality code (1 good, 2 saturated, 3 irregular), "
         "\"good windows\" the 10-second windows coded 0, \"short RR\" the short-RR flag.\n\n";
  if (arrhythmia != nullptr) out << database_section(*arrhythmia);
  if (noise != nullptr) out << noise_section(*noise);
  if (!notes.empty()) out << "## Discussion\n\n" << notes << (notes.back() == '\n' ? "\n" : "\n\n");
  out << "## Data and attribution\n\n"
      << "The recordings are PhysioNet's, used unchanged under the Open Data Commons "
         "Attribution License v1.0.\n\n"
      << "- MIT-BIH Arrhythmia Database: Moody GB, Mark RG. The impact of the MIT-BIH "
         "Arrhythmia Database. IEEE Eng in Med and Biol 20(3):45-50 (May-June 2001). "
         "(PMID: 11446209) Database DOI: 10.13026/C2F305.\n"
      << "- MIT-BIH Noise Stress Test Database: Moody GB, Muldrow WE, Mark RG. A noise stress "
         "test for arrhythmia detectors. Computers in Cardiology 1984; 11:381-384. Database "
         "DOI: 10.13026/C2HS3T.\n"
      << "- PhysioNet: Goldberger AL, Amaral LAN, Glass L, Hausdorff JM, Ivanov PCh, Mark RG, "
         "Mietus JE, Moody GB, Peng C-K, Stanley HE. PhysioBank, PhysioToolkit, and PhysioNet: "
         "Components of a New Research Resource for Complex Physiologic Signals. Circulation "
         "101(23):e215-e220 (2000).\n";
  return out.str();
}

}  // namespace zyn::eval
