// Writes a day-long test recording for the report's browser test: the MLII
// lead (the first lead where a record has none) of every MIT-BIH record in a
// folder, in record-name order, joined end to end as raw little-endian int16
// ADC units from physical zero (the header's baseline) at the database's
// 360 Hz and 200 units per mV: 48 records of 30 minutes make 24 hours.
//   zyn_day_recording MITDB_FOLDER OUT.i16
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "wfdb/signals.hpp"

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  if (argc != 3) {
    std::cerr << "usage: zyn_day_recording MITDB_FOLDER OUT.i16\n";
    return 2;
  }
  const fs::path folder = argv[1];
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder))
    if (entry.path().extension() == ".hea") names.push_back(entry.path().stem().string());
  std::sort(names.begin(), names.end());
  if (names.empty()) {
    std::cerr << "zyn_day_recording: no records in " << folder << "\n";
    return 1;
  }
  std::ofstream out(argv[2], std::ios::binary);
  std::size_t samples = 0;
  for (const std::string& name : names) {
    const zyn::wfdb::Record record = zyn::wfdb::read_record(folder, name);
    const std::size_t lead = zyn::wfdb::find_signal(record.header, "MLII").value_or(0);
    const int32_t zero = record.header.signals[lead].baseline;
    for (const int32_t v : record.samples[lead]) {
      const auto s = static_cast<int16_t>(std::clamp(v - zero, -32768, 32767));
      out.write(reinterpret_cast<const char*>(&s), sizeof s);
    }
    samples += record.samples[lead].size();
  }
  if (!out) {
    std::cerr << "zyn_day_recording: cannot write " << argv[2] << "\n";
    return 1;
  }
  std::printf("%zu records, %zu samples, %.2f h\n", names.size(), samples, static_cast<double>(samples) / 360.0 / 3600.0);
  return 0;
}
