// Excerpts of WFDB records: MIT annotations and format-212 samples encoded by
// the tool read back through the library's decoders.
#include <tuple>

#include "excerpt.hpp"
#include "support.hpp"
#include "wfdb/annotations.hpp"
#include "wfdb/signals.hpp"

namespace zyn::cli {
namespace {

TEST(Excerpt, AnnotationAndSampleEncodingRoundTripLongGapsAndTexts) {
  std::vector<wfdb::Annotation> in(4);
  in[0] = {18, 28, 0, 0, 0, "(N"};
  in[1] = {25, 1, 0, 0, 0, ""};
  in[2] = {25 + 5000, 5, 0, 0, 0, ""};    // needs SKIP
  in[3] = {25 + 5001, 14, -1, 1, 0, ""};  // signed subtype, channel change
  const auto out = wfdb::parse_annotations(encode_annotations(in), "encoded");
  ASSERT_EQ(out.size(), in.size());
  for (std::size_t i = 0; i < in.size(); ++i) {
    const auto& [o, e] = std::tie(out[i], in[i]);
    EXPECT_EQ(std::tie(o.sample, o.code, o.subtype, o.channel, o.aux),
              std::tie(e.sample, e.code, e.subtype, e.channel, e.aux)) << i;
  }
  const std::vector<int32_t> samples = {-2048, 2047, 0, -1, 995};
  EXPECT_EQ(wfdb::decode_format212(encode_format212(samples), samples.size()), samples);
}

}  // namespace
}  // namespace zyn::cli
