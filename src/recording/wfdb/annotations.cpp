// Decoder of MIT-format annotation files. See annotations.hpp.
#include "wfdb/annotations.hpp"

#include <array>
#include <fstream>
#include <iterator>

#include "wfdb/error.hpp"

namespace zyn::wfdb {
namespace {

constexpr int kSkip = 59;
constexpr int kNum = 60;
constexpr int kSub = 61;
constexpr int kChn = 62;
constexpr int kAux = 63;

constexpr std::array<std::string_view, 50> kSymbols = {
    "",  "N", "L", "R", "a", "V", "F", "J", "A", "S", "E", "j", "/", "Q", "~", "",  "|",
    "",  "s", "T", "*", "D", "\"", "=", "p", "B", "^", "t", "+", "u", "?", "!", "[", "]",
    "e", "n", "@", "x", "f", "(", ")", "r", "",  "",  "",  "",  "",  "",  "",  ""};

// Signed value of the 10-bit field (used by SUB).
int signed_10bit(int value) { return value >= 512 ? value - 1024 : value; }

class WordReader {
 public:
  WordReader(std::span<const uint8_t> bytes, std::string_view source)
      : bytes_(bytes), source_(source) {}

  bool at_end() const { return pos_ >= bytes_.size(); }
  std::size_t position() const { return pos_; }

  uint16_t word() {
    need(2, "annotation word");
    const auto w = static_cast<uint16_t>(bytes_[pos_] | (bytes_[pos_ + 1] << 8));
    pos_ += 2;
    return w;
  }

  std::string text(std::size_t length) {
    need(length + (length % 2), "auxiliary text");
    std::string s(reinterpret_cast<const char*>(bytes_.data() + pos_), length);
    pos_ += length + (length % 2);
    while (!s.empty() && s.back() == '\0') s.pop_back();
    return s;
  }

  [[noreturn]] void fail(const std::string& problem) const {
    throw Error(source_, "byte " + std::to_string(pos_) + ": " + problem);
  }

 private:
  void need(std::size_t count, const char* what) const {
    if (bytes_.size() - pos_ < count) fail(std::string("file ends inside ") + what);
  }

  std::span<const uint8_t> bytes_;
  std::string_view source_;
  std::size_t pos_ = 0;
};

}  // namespace

std::vector<Annotation> parse_annotations(std::span<const uint8_t> bytes, std::string_view source) {
  std::vector<Annotation> annotations;
  WordReader in(bytes, source);
  int64_t time = 0;
  int64_t pendingSkip = 0;
  int num = 0;
  int channel = 0;
  bool terminated = false;
  while (!in.at_end()) {
    const uint16_t w = in.word();
    const int code = w >> 10;
    const int value = w & 0x3FF;
    if (code == 0 && value == 0) {
      terminated = true;
      break;
    }
    if (code == kSkip) {
      const uint16_t high = in.word();
      const uint16_t low = in.word();
      pendingSkip += static_cast<int32_t>((static_cast<uint32_t>(high) << 16) | low);
      continue;
    }
    if (code == kNum || code == kSub || code == kChn || code == kAux) {
      if (annotations.empty()) in.fail("modifier code " + std::to_string(code) + " before any annotation");
      Annotation& last = annotations.back();
      if (code == kNum) last.num = num = value;
      else if (code == kSub) last.subtype = signed_10bit(value);
      else if (code == kChn) last.channel = channel = value;
      else last.aux = in.text(static_cast<std::size_t>(value));
      continue;
    }
    if (code > 49) in.fail("unknown annotation code " + std::to_string(code));
    time += pendingSkip + value;
    pendingSkip = 0;
    if (time < 0) in.fail("annotation time before the start of the record");
    Annotation a;
    a.sample = time;
    a.code = code;
    a.num = num;
    a.channel = channel;
    annotations.push_back(std::move(a));
  }
  if (!terminated) throw Error(source, "no end-of-file marker (file truncated?)");
  return annotations;
}

std::vector<Annotation> read_annotations(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw Error(path.string(), "cannot open file");
  const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                                   std::istreambuf_iterator<char>());
  if (in.bad()) throw Error(path.string(), "read error");
  return parse_annotations(bytes, path.string());
}

std::string_view annotation_symbol(int code) {
  if (code < 0 || static_cast<std::size_t>(code) >= kSymbols.size()) return "";
  return kSymbols[static_cast<std::size_t>(code)];
}

bool is_beat(int code) {
  switch (code) {
    case 1: case 2: case 3: case 4: case 5: case 6: case 7: case 8: case 9: case 10: case 11:
    case 12: case 13: case 25: case 30: case 34: case 35: case 38: case 41:
      return true;
    default:
      return false;
  }
}

}  // namespace zyn::wfdb
