// Parser of WFDB record headers (.hea). See header.hpp for the fields.
#include "wfdb/header.hpp"

#include <charconv>
#include <cmath>
#include <fstream>
#include <sstream>

#include "wfdb/error.hpp"

namespace zyn::wfdb {
namespace {

struct Token {
  std::string_view text;
  std::size_t end;  // offset just past the token in its line
};

std::vector<Token> split_fields(std::string_view line) {
  std::vector<Token> tokens;
  std::size_t i = 0;
  while (i < line.size()) {
    while (i < line.size() && (line[i] == ' ' || line[i] == '\t')) ++i;
    const std::size_t start = i;
    while (i < line.size() && line[i] != ' ' && line[i] != '\t') ++i;
    if (i > start) tokens.push_back({line.substr(start, i - start), i});
  }
  return tokens;
}

std::string_view trim(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r')) s.remove_suffix(1);
  return s;
}

class LineContext {
 public:
  LineContext(std::string_view source, std::size_t lineNumber)
      : source_(source), lineNumber_(lineNumber) {}

  [[noreturn]] void fail(const std::string& problem) const {
    throw Error(source_, "line " + std::to_string(lineNumber_) + ": " + problem);
  }

  template <class Int>
  Int integer(std::string_view text, const char* what) const {
    Int value{};
    const auto [ptr, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (ec != std::errc() || ptr != text.data() + text.size() || text.empty())
      fail(std::string("bad ") + what + " '" + std::string(text) + "'");
    return value;
  }

  double real(std::string_view text, const char* what) const {
    double value = 0.0;
    const auto [ptr, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (ec != std::errc() || ptr != text.data() + text.size() || text.empty() ||
        !std::isfinite(value))
      fail(std::string("bad ") + what + " '" + std::string(text) + "'");
    return value;
  }

 private:
  std::string_view source_;
  std::size_t lineNumber_;
};

// "name[/segments] nsig [fs[/counter][(base)] [nsamples [time [date]]]]"
void parse_record_line(const std::vector<Token>& fields, const LineContext& at, Header& header,
                       std::size_t& signalCount) {
  const std::string_view name = fields[0].text;
  if (name.find('/') != std::string_view::npos)
    at.fail("multi-segment records are not supported ('" + std::string(name) + "')");
  header.recordName = std::string(name);
  if (fields.size() < 2) at.fail("record line lacks the number of signals");
  const int count = at.integer<int>(fields[1].text, "number of signals");
  if (count < 0) at.fail("negative number of signals");
  signalCount = static_cast<std::size_t>(count);
  if (fields.size() >= 3) {
    std::string_view fs = fields[2].text;
    if (const auto paren = fs.find('('); paren != std::string_view::npos) fs = fs.substr(0, paren);
    if (const auto slash = fs.find('/'); slash != std::string_view::npos) {
      header.counterFrequency = at.real(fs.substr(slash + 1), "counter frequency");
      fs = fs.substr(0, slash);
    }
    header.samplingFrequency = at.real(fs, "sampling frequency");
    if (!(header.samplingFrequency > 0.0)) at.fail("sampling frequency must be positive");
  }
  if (fields.size() >= 4) {
    header.numSamples = at.integer<long>(fields[3].text, "number of samples");
    if (header.numSamples < 0) at.fail("negative number of samples");
  }
  if (fields.size() >= 5) header.baseTime = std::string(fields[4].text);
  if (fields.size() >= 6) header.baseDate = std::string(fields[5].text);
}

// "fmt[xspf][:skew][+offset]"
void parse_format_field(std::string_view field, const LineContext& at, SignalSpec& spec) {
  if (const auto plus = field.find('+'); plus != std::string_view::npos) {
    spec.byteOffset = at.integer<long>(field.substr(plus + 1), "byte offset");
    field = field.substr(0, plus);
  }
  if (const auto colon = field.find(':'); colon != std::string_view::npos) {
    spec.skew = at.integer<int>(field.substr(colon + 1), "skew");
    field = field.substr(0, colon);
  }
  if (const auto x = field.find('x'); x != std::string_view::npos) {
    spec.samplesPerFrame = at.integer<int>(field.substr(x + 1), "samples per frame");
    field = field.substr(0, x);
  }
  spec.format = at.integer<int>(field, "signal format");
  if (spec.byteOffset < 0 || spec.samplesPerFrame < 1)
    at.fail("bad format field '" + std::string(field) + "'");
}

// "gain[(baseline)][/units]"; a gain of 0 means uncalibrated.
void parse_gain_field(std::string_view field, const LineContext& at, SignalSpec& spec,
                      bool& baselineGiven) {
  if (const auto slash = field.find('/'); slash != std::string_view::npos) {
    spec.units = std::string(field.substr(slash + 1));
    field = field.substr(0, slash);
  }
  if (const auto open = field.find('('); open != std::string_view::npos) {
    const auto close = field.find(')', open);
    if (close == std::string_view::npos || close != field.size() - 1)
      at.fail("unbalanced baseline in gain field '" + std::string(field) + "'");
    spec.baseline = at.integer<int32_t>(field.substr(open + 1, close - open - 1), "baseline");
    baselineGiven = true;
    field = field.substr(0, open);
  }
  const double gain = at.real(field, "gain");
  if (gain < 0.0) at.fail("negative gain");
  spec.calibrated = gain != 0.0;
  spec.gain = spec.calibrated ? gain : kDefaultGainAdcPerMillivolt;
}

SignalSpec parse_signal_line(std::string_view line, const std::vector<Token>& fields,
                             const LineContext& at) {
  SignalSpec spec;
  spec.fileName = std::string(fields[0].text);
  if (fields.size() < 2) at.fail("signal line lacks the storage format");
  parse_format_field(fields[1].text, at, spec);
  bool baselineGiven = false;
  if (fields.size() >= 3) parse_gain_field(fields[2].text, at, spec, baselineGiven);
  else spec.calibrated = false;
  if (fields.size() >= 4) spec.adcResolution = at.integer<int>(fields[3].text, "ADC resolution");
  if (spec.adcResolution < 0 || spec.adcResolution > 32) at.fail("ADC resolution out of range");
  if (fields.size() >= 5) spec.adcZero = at.integer<int32_t>(fields[4].text, "ADC zero");
  if (!baselineGiven) spec.baseline = spec.adcZero;
  if (fields.size() >= 6) spec.initialValue = at.integer<int32_t>(fields[5].text, "initial value");
  if (fields.size() >= 7) spec.checksum = at.integer<int32_t>(fields[6].text, "checksum");
  if (fields.size() >= 8) spec.blockSize = at.integer<long>(fields[7].text, "block size");
  if (fields.size() >= 9) spec.description = std::string(trim(line.substr(fields[7].end)));
  return spec;
}

std::string read_text_file(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw Error(path.string(), "cannot open file");
  std::ostringstream text;
  text << in.rdbuf();
  if (in.bad()) throw Error(path.string(), "read error");
  return text.str();
}

}  // namespace

Header parse_header(std::string_view text, std::string_view source) {
  Header header;
  bool haveRecordLine = false;
  std::size_t expectedSignals = 0;
  std::size_t lineNumber = 0;
  std::size_t pos = 0;
  while (pos < text.size()) {
    std::size_t eol = text.find('\n', pos);
    if (eol == std::string_view::npos) eol = text.size();
    const std::string_view line = trim(text.substr(pos, eol - pos));
    pos = eol + 1;
    ++lineNumber;
    if (line.empty()) continue;
    if (line.front() == '#') {
      header.comments.emplace_back(trim(line.substr(1)));
      continue;
    }
    const LineContext at(source, lineNumber);
    const std::vector<Token> fields = split_fields(line);
    if (!haveRecordLine) {
      parse_record_line(fields, at, header, expectedSignals);
      haveRecordLine = true;
    } else if (header.signals.size() < expectedSignals) {
      header.signals.push_back(parse_signal_line(line, fields, at));
    } else {
      at.fail("more signal lines than the " + std::to_string(expectedSignals) +
              " the record line announces");
    }
  }
  if (!haveRecordLine) throw Error(source, "no record line");
  if (header.signals.size() != expectedSignals)
    throw Error(source, "record line announces " + std::to_string(expectedSignals) +
                            " signals but " + std::to_string(header.signals.size()) +
                            " signal lines follow");
  return header;
}

Header read_header(const std::filesystem::path& headerPath) {
  return parse_header(read_text_file(headerPath), headerPath.string());
}

std::optional<std::size_t> find_signal(const Header& header, std::string_view name) {
  for (std::size_t i = 0; i < header.signals.size(); ++i)
    if (header.signals[i].description == name) return i;
  return std::nullopt;
}

double to_physical(int32_t sample, const SignalSpec& spec) {
  return (static_cast<double>(sample) - static_cast<double>(spec.baseline)) / spec.gain;
}

int effective_adc_resolution(const SignalSpec& spec) {
  if (spec.adcResolution > 0) return spec.adcResolution;
  switch (spec.format) {
    case 212: return 12;
    case 8: case 80: return 8;
    case 310: case 311: return 10;
    case 24: return 24;
    case 32: return 32;
    default: return 16;
  }
}

double full_scale(const SignalSpec& spec) {
  const double halfRange = std::ldexp(1.0, effective_adc_resolution(spec) - 1);
  const double lowest = static_cast<double>(spec.adcZero) - halfRange;
  const double highest = static_cast<double>(spec.adcZero) + halfRange - 1.0;
  const double baseline = static_cast<double>(spec.baseline);
  return std::max(std::abs(lowest - baseline), std::abs(highest - baseline)) / spec.gain;
}

}  // namespace zyn::wfdb
