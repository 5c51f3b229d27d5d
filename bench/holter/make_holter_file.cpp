// Writes a 24-hour Holter-scale test file: the MLII lead (the first signal
// where a record has none) of every record of a MIT-BIH Arrhythmia Database
// folder, joined in record order, as raw little-endian int16 ADC units
// relative to each record's baseline, at the database's 360 Hz.
// Usage: make_holter_file MITDB_FOLDER OUT.i16
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "wfdb/error.hpp"
#include "wfdb/signals.hpp"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: make_holter_file MITDB_FOLDER OUT.i16\n";
    return 2;
  }
  namespace fs = std::filesystem;
  const fs::path folder = argv[1];
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder))
    if (entry.path().extension() == ".hea") names.push_back(entry.path().stem().string());
  std::sort(names.begin(), names.end());
  std::ofstream out(argv[2], std::ios::binary | std::ios::trunc);
  std::size_t written = 0;
  try {
    for (const std::string& name : names) {
      const zyn::wfdb::Record record = zyn::wfdb::read_record(folder, name);
      const std::size_t lead = zyn::wfdb::find_signal(record.header, "MLII").value_or(0);
      const int32_t baseline = record.header.signals[lead].baseline;
      std::vector<char> bytes;
      bytes.reserve(record.samples[lead].size() * 2);
      for (const int32_t v : record.samples[lead]) {
        const auto s = static_cast<uint16_t>(static_cast<int16_t>(v - baseline));
        bytes.push_back(static_cast<char>(s & 0xFF));
        bytes.push_back(static_cast<char>(s >> 8));
      }
      out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
      written += record.samples[lead].size();
    }
  } catch (const zyn::wfdb::Error& e) {
    std::cerr << "make_holter_file: " << e.what() << "\n";
    return 1;
  }
  if (!out) {
    std::cerr << "make_holter_file: cannot write " << argv[2] << "\n";
    return 1;
  }
  std::cout << "wrote " << argv[2] << ": " << names.size() << " records, " << written << " samples at 360 Hz\n";
  return 0;
}
