// CSV text of one ECG signal: one value column, or a time column and value
// columns, with an optional header line naming them. The layout is read from
// the content and never guessed: whatever can be read two ways is refused
// with the line that shows it.
//
// - Separator: a tab, a semicolon or a comma, the first of these that the
//   header line (without header: the first line) holds.
// - Decimal mark: a point, or a comma wherever the comma does not separate
//   columns. A file uses one mark: a number holding both, or the other mark
//   than the file's first, is an error naming its line.
// - A file without header whose lines hold one comma each and no point can
//   be one column with decimal commas or two columns of whole numbers. A
//   fraction with a leading zero ("0,0450") or a negative zero ("-0,5")
//   shows the decimal comma; a sign after the comma, a point or another
//   comma show columns. The first line that shows either decides; a file
//   where no line does is refused.
// - Time column: the column whose name speaks of time (t, time, Zeit,
//   timestamp, s, ms, time_ms, "Time [s]", ...); without a header, the first
//   of exactly two columns. Its unit comes from --time-unit, else from its
//   name, else from the one unit, seconds or milliseconds, in which its
//   sampling rate is an ECG's (50 Hz to 20 kHz; the two units differ by more
//   than that range, so at most one fits). A unit named in the header that
//   gives a rate outside that range is refused as well.
// - Timestamps may be rounded: each must lie within half a sample period of
//   the even grid that the first and last timestamps define.
// - A value column taken by default in a file without time column must not
//   rise by an even step on every line: that is a time or sample-number
//   column under a name not recognised, not an ECG.
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "recording.hpp"

namespace zyn::recording {
namespace {

constexpr double kTimeGridToleranceSamples = 0.5;
constexpr double kSlowestEcgRateHz = 50.0;
constexpr double kFastestEcgRateHz = 20000.0;
constexpr double kMillisecondsPerSecond = 1000.0;

struct Line {
  std::size_t number = 0;  // 1-based, counting blank lines
  std::string_view text;
};

std::string read_bytes(const std::string& path) {
  namespace fs = std::filesystem;
  std::error_code ec;
  if (!fs::exists(path, ec)) throw InputError(path, "no such file");
  if (fs::is_directory(path, ec)) throw InputError(path, "is a folder, not a file");
  std::ifstream in(path, std::ios::binary);
  if (!in) throw InputError(path, "cannot open file (permission denied?)");
  std::ostringstream content;
  content << in.rdbuf();
  if (in.bad()) throw InputError(path, "read error");
  return content.str();
}

std::string at_line(std::size_t number) { return "line " + std::to_string(number) + ": "; }

std::string number_text(double v) {
  std::ostringstream out;
  out << v;
  return out.str();
}

// Walks the non-blank lines of a text, numbered as an editor numbers them.
// A copy goes on from where the original stands; nothing is stored, so a
// day-long file costs no memory per line.
class Lines {
 public:
  explicit Lines(std::string_view text) : rest_(text) {}

  std::optional<Line> next() {
    while (!done_) {
      const auto end = rest_.find('\n');
      const std::string_view line = rest_.substr(0, end);
      ++number_;
      if (end == std::string_view::npos) done_ = true;
      else rest_.remove_prefix(end + 1);
      if (!trim(line).empty()) return Line{number_, line};
    }
    return std::nullopt;
  }

 private:
  std::string_view rest_;
  std::size_t number_ = 0;
  bool done_ = false;
};

// Number of the row-th (0-based) line that `rows` yields.
std::size_t line_of_row(Lines rows, std::size_t row) {
  std::optional<Line> line = rows.next();
  for (std::size_t i = 0; i < row && line; ++i) line = rows.next();
  return line ? line->number : 0;
}

// Fields of a line, into a vector reused from line to line.
void split(std::string_view line, char separator, std::vector<std::string_view>& fields) {
  fields.clear();
  if (separator == '\0') {
    fields.push_back(line);
    return;
  }
  std::size_t from = 0;
  for (;;) {
    const auto at = line.find(separator, from);
    fields.push_back(line.substr(from, at == std::string_view::npos ? std::string_view::npos : at - from));
    if (at == std::string_view::npos) return;
    from = at + 1;
  }
}

char separator_of(std::string_view line) {
  for (const char c : {'\t', ';', ','})
    if (line.find(c) != std::string_view::npos) return c;
  return '\0';
}

// A number written with a decimal point (or none); an optional '+' sign.
std::optional<double> number_with_point(std::string_view field) {
  if (!field.empty() && field.front() == '+') field.remove_prefix(1);
  double value = 0.0;
  const auto [end, ec] = std::from_chars(field.data(), field.data() + field.size(), value);
  if (field.empty() || ec != std::errc() || end != field.data() + field.size()) return std::nullopt;
  return value;
}

std::optional<double> number_with_comma(std::string_view field) {
  constexpr std::size_t kLongestNumber = 64;
  std::array<char, kLongestNumber> pointed{};
  if (field.size() > pointed.size()) return std::nullopt;
  std::replace_copy(field.begin(), field.end(), pointed.begin(), ',', '.');
  return number_with_point({pointed.data(), field.size()});
}

// Tells a header line from data: a field that is no number with either mark.
bool reads_as_number(std::string_view field) {
  field = trim(field);
  return number_with_point(field) || number_with_comma(field);
}

// Numbers of one file, whose decimal mark the first number holding one fixes.
class NumberReader {
 public:
  NumberReader(const std::string& source, bool commaMayBeDecimal) : source_(source), commaAllowed_(commaMayBeDecimal) {}

  // The field's value, or nothing when it is no number; throws when it mixes marks.
  std::optional<double> read(std::string_view field, std::size_t line) {
    field = trim(field);
    const bool point = field.find('.') != std::string_view::npos;
    const bool comma = commaAllowed_ && field.find(',') != std::string_view::npos;
    if (point && comma) {
      throw InputError(source_, at_line(line) + "'" + std::string(field) +
                                    "' holds both a decimal point and a comma; write numbers without thousands separators");
    }
    if (point || comma) {
      const char mark = point ? '.' : ',';
      if (mark_ == '\0') {
        mark_ = mark;
        markLine_ = line;
      } else if (mark != mark_) {
        throw InputError(source_, at_line(line) + "'" + std::string(field) + "' has a decimal " +
                                      (point ? "point" : "comma") + " but line " + std::to_string(markLine_) +
                                      " a decimal " + (point ? "comma" : "point") + "; one file must use one mark");
      }
    }
    return comma ? number_with_comma(field) : number_with_point(field);
  }

 private:
  const std::string& source_;
  bool commaAllowed_;
  char mark_ = '\0';
  std::size_t markLine_ = 0;
};

bool is_digits(std::string_view s) {
  return !s.empty() && std::all_of(s.begin(), s.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
}

// In a file without header whose only separator can be the comma: '\0' when
// the comma is a decimal mark (one column), ',' when it separates columns.
// The first line that can be read only one way decides; the numbers of all
// lines are then read under that decision and checked as usual.
char role_of_comma(Lines rows, const std::string& source) {
  const Line first = *Lines(rows).next();
  while (const auto line = rows.next()) {
    const std::string_view text = trim(line->text);
    const auto comma = text.find(',');
    if (comma == std::string_view::npos || text.find(',', comma + 1) != std::string_view::npos ||
        text.find('.') != std::string_view::npos)
      return ',';
    std::string_view whole = trim(text.substr(0, comma));
    const std::string_view fraction = trim(text.substr(comma + 1));
    const bool hasSign = !whole.empty() && (whole.front() == '-' || whole.front() == '+');
    if (hasSign) whole.remove_prefix(1);
    if (!is_digits(whole) || !is_digits(fraction)) return ',';
    if ((fraction.size() > 1 && fraction.front() == '0') || (hasSign && whole == "0")) return '\0';
  }
  throw InputError(source, at_line(first.number) + "'" + std::string(trim(first.text)) +
                               "' may be one number with a decimal comma or two columns; separate columns by ';' "
                               "or a tab, or add a header line naming the columns");
}

struct TimeName {
  bool isTime = false;
  std::optional<TimeUnit> unit;
};

// Reads a column name such as "time", "Zeit [s]", "t_ms" or "ms".
TimeName read_time_name(std::string_view name) {
  static const std::set<std::string, std::less<>> timeWords = {"t", "time", "times", "timestamp", "zeit",
                                                               "tiempo", "temps", "tempo", "elapsed"};
  static const std::set<std::string, std::less<>> seconds = {"s", "sec", "secs", "second", "seconds", "sek", "sekunden"};
  static const std::set<std::string, std::less<>> milliseconds = {"ms", "msec", "msecs", "millisecond",
                                                                  "milliseconds", "millisekunden"};
  std::vector<std::string> words;
  std::string word;
  for (const char c : lower(trim(name)) + " ") {
    if (std::isalnum(static_cast<unsigned char>(c)) != 0) {
      word += c;
    } else if (!word.empty()) {
      words.push_back(std::move(word));
      word.clear();
    }
  }
  TimeName result;
  bool onlyUnits = !words.empty();
  for (const std::string& w : words) {
    const bool isSeconds = seconds.contains(w), isMilliseconds = milliseconds.contains(w);
    if (timeWords.contains(w)) result.isTime = true;
    if (isSeconds && !result.unit) result.unit = TimeUnit::Seconds;
    if (isMilliseconds && !result.unit) result.unit = TimeUnit::Milliseconds;
    if (!isSeconds && !isMilliseconds) onlyUnits = false;
  }
  result.isTime = result.isTime || onlyUnits;
  if (!result.isTime) result.unit.reset();
  return result;
}

double per_second(TimeUnit unit) { return unit == TimeUnit::Milliseconds ? kMillisecondsPerSecond : 1.0; }
const char* unit_text(TimeUnit unit) { return unit == TimeUnit::Milliseconds ? "ms" : "s"; }
bool is_ecg_rate(double hz) { return hz >= kSlowestEcgRateHz && hz <= kFastestEcgRateHz; }

// Index of the first value off the even grid from the first to the last value.
std::optional<std::size_t> first_off_grid(const std::vector<double>& v) {
  const double step = (v.back() - v.front()) / static_cast<double>(v.size() - 1);
  for (std::size_t i = 0; i < v.size(); ++i)
    if (std::abs(v[i] - (v.front() + static_cast<double>(i) * step)) > kTimeGridToleranceSamples * step) return i;
  return std::nullopt;
}

// True for at least three values, each above the one before, on an even grid.
bool rises_evenly(const std::vector<double>& v) {
  const auto notBelow = [](double a, double b) { return !(a < b); };  // NaN included
  return v.size() >= 3 && std::adjacent_find(v.begin(), v.end(), notBelow) == v.end() && !first_off_grid(v);
}

struct TimeColumn {
  std::size_t index = 0;
  std::string name;                // "" without header
  std::size_t nameLine = 0;        // the header line, or the first data line
  std::optional<TimeUnit> unit;    // from the option or the name
  bool unitFromName = false;
};

// The sampling rate that an evenly spaced time column gives; `rows` yields
// the lines of the times.
double rate_of_time_column(const std::string& source, const TimeColumn& column, const std::vector<double>& t,
                           const Lines& rows) {
  if (t.size() < 2) throw InputError(source, "a time column needs at least two rows");
  const double span = t.back() - t.front();
  if (!(span > 0.0)) throw InputError(source, "the time column does not increase");
  const double perTimeUnit = static_cast<double>(t.size() - 1) / span;
  const std::string called = column.name.empty() ? "the time column" : "time column '" + column.name + "'";
  TimeUnit unit = TimeUnit::Seconds;
  if (column.unit) {
    unit = *column.unit;
    const TimeUnit other = unit == TimeUnit::Seconds ? TimeUnit::Milliseconds : TimeUnit::Seconds;
    if (column.unitFromName && !is_ecg_rate(perTimeUnit * per_second(unit))) {
      throw InputError(source, at_line(column.nameLine) + called + " read in " + unit_text(unit) + " gives " +
                                   number_text(perTimeUnit * per_second(unit)) + " Hz, no ECG sampling rate (in " +
                                   unit_text(other) + " " + number_text(perTimeUnit * per_second(other)) +
                                   " Hz); give the unit with --time-unit, or the rate with --fs");
    }
  } else if (is_ecg_rate(perTimeUnit * kMillisecondsPerSecond)) {
    unit = TimeUnit::Milliseconds;
  } else if (!is_ecg_rate(perTimeUnit)) {
    throw InputError(source, at_line(column.nameLine) + called + " gives " + number_text(perTimeUnit) +
                                 " Hz read in seconds, " + number_text(perTimeUnit * kMillisecondsPerSecond) +
                                 " Hz in milliseconds, neither an ECG sampling rate; give --time-unit or --fs");
  }
  if (const auto off = first_off_grid(t)) {
    const double expected = t.front() + static_cast<double>(*off) * span / static_cast<double>(t.size() - 1);
    throw InputError(source, at_line(line_of_row(rows, *off)) + "time column is not evenly spaced (expected about " +
                                 number_text(expected) + " " + unit_text(unit) + ")");
  }
  return perTimeUnit * per_second(unit);
}

// Index of the value column: asked for by header name or 0-based index, else
// the first column that is not the time column.
std::size_t choose_column(const std::string& source, const std::vector<std::string>& names, std::size_t columns,
                          const std::optional<TimeColumn>& time, const std::string& wanted) {
  if (wanted.empty()) return time && time->index == 0 ? 1 : 0;
  for (std::size_t i = 0; i < names.size(); ++i)
    if (names[i] == wanted) return i;
  if (const auto index = parse_index(wanted)) {
    if (*index < columns) return *index;
    throw InputError(source, "column " + wanted + " does not exist (the file has " + std::to_string(columns) +
                                 " columns)");
  }
  throw InputError(source, "no column named '" + wanted + "'");
}

}  // namespace

Recording parse_csv(std::string_view text, const std::string& source, const ReadOptions& options) {
  Lines afterFirst(text);
  const std::optional<Line> firstLine = afterFirst.next();
  if (!firstLine) throw InputError(source, "is empty");
  const Line first = *firstLine;
  char separator = separator_of(first.text);
  std::vector<std::string_view> fields;
  split(first.text, separator, fields);
  const bool hasHeader = !std::all_of(fields.begin(), fields.end(), reads_as_number);
  const Lines data = hasHeader ? afterFirst : Lines(text);
  if (!hasHeader && separator == ',') separator = role_of_comma(data, source);
  split(first.text, separator, fields);
  const std::size_t columns = fields.size();
  std::vector<std::string> names;
  if (hasHeader)
    for (const auto f : fields) names.emplace_back(trim(f));
  const std::optional<Line> firstData = Lines(data).next();
  if (!firstData) throw InputError(source, "has a header line but no samples");

  std::optional<TimeColumn> time;
  for (std::size_t c = 0; c < names.size() && columns >= 2 && !time; ++c) {
    if (const TimeName n = read_time_name(names[c]); n.isTime)
      time = TimeColumn{c, names[c], first.number, n.unit, n.unit.has_value()};
  }
  if (!hasHeader && columns == 2) time = TimeColumn{0, "", firstData->number, std::nullopt, false};
  if (time && options.timeUnit) {
    time->unit = options.timeUnit;
    time->unitFromName = false;
  }
  const std::size_t valueColumn = choose_column(source, names, columns, time, options.signal);

  Recording r;
  r.source = source;
  r.format = "csv";
  r.signalName = hasHeader ? names[valueColumn] : "column " + std::to_string(valueColumn);
  NumberReader numbers(source, separator != ',');
  std::vector<double> times;
  const auto rowsAtMost = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
  r.samples.reserve(rowsAtMost);
  if (time) times.reserve(rowsAtMost);
  Lines rows = data;
  while (const std::optional<Line> row = rows.next()) {
    const Line& line = *row;
    split(line.text, separator, fields);
    if (fields.size() != columns) {
      throw InputError(source, at_line(line.number) + std::to_string(fields.size()) +
                                   " fields where the first line has " + std::to_string(columns));
    }
    for (std::size_t c = 0; c < columns; ++c) {
      const bool isTime = time && c == time->index;
      if (c != valueColumn && !isTime) continue;
      const auto value = numbers.read(fields[c], line.number);
      if (!value) {
        throw InputError(source, "line " + std::to_string(line.number) + ", column " + std::to_string(c + 1) +
                                     ": '" + std::string(trim(fields[c])) + "' is not a number");
      }
      if (c == valueColumn) r.samples.push_back(*value);
      if (isTime) times.push_back(*value);
    }
  }

  if (!time && options.signal.empty() && rises_evenly(r.samples)) {
    throw InputError(source, at_line(hasHeader ? first.number : firstData->number) + "column '" + r.signalName +
                                 "' rises by an even step on every line, like a time or sample-number column, "
                                 "not an ECG; name a time column time_s or time_ms, or choose the ECG column with --signal");
  }
  if (options.fsHz) {
    r.fsHz = *options.fsHz;
  } else if (time) {
    r.fsHz = rate_of_time_column(source, *time, times, data);
  } else {
    throw InputError(source, "has no time column: give the sampling rate with --fs");
  }
  return r;
}

Recording read_csv(const std::string& path, const ReadOptions& options) {
  const std::string text = read_bytes(path);
  if (text.find('\0') != std::string::npos) throw InputError(path, "is binary, not CSV text");
  return parse_csv(text, path, options);
}

}  // namespace zyn::recording
