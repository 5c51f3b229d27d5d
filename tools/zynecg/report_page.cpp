// The report page: the embedded template with its style, script, title and
// data filled in. See report_input.hpp.
#include <stdexcept>
#include <string>

#include "report_assets.hpp"
#include "report_input.hpp"

namespace zyn::cli {
namespace {

std::string escape_html(std::string_view s) {
  std::string out;
  for (const char c : s) {
    switch (c) {
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '&': out += "&amp;"; break;
      case '"': out += "&quot;"; break;
      default: out += c;
    }
  }
  return out;
}

}  // namespace

std::string render_report(const ReportInput& input) {
  const ReportDocument doc = report_document(input);
  const std::string_view page = assets::report_html();
  const std::string title = escape_html(input.file);
  const std::pair<std::string_view, std::string_view> fills[] = {
      {"{{title}}", title}, {"{{style}}", assets::report_css()},
      {"{{data}}", doc.json},                 {"{{signal}}", doc.signalLines},
      {"{{script}}", assets::report_js()}};
  std::string out;
  out.reserve(page.size() + doc.json.size() + doc.signalLines.size() + assets::report_js().size() +
              assets::report_css().size() + 256);
  // The template names each part once, in this order.
  std::size_t from = 0;
  for (const auto& [marker, text] : fills) {
    const std::size_t at = page.find(marker, from);
    if (at == std::string_view::npos) throw std::logic_error("report template lacks " + std::string(marker));
    out.append(page.substr(from, at - from));
    out.append(text);
    from = at + marker.size();
  }
  out.append(page.substr(from));
  return out;
}

}  // namespace zyn::cli
