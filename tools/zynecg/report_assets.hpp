// The report's page template, style sheet and script, embedded at build
// time from tools/zynecg/report/ (report.html, report.css, report.js).
#pragma once

#include <string_view>

namespace zyn::cli::assets {

std::string_view report_html();
std::string_view report_css();
std::string_view report_js();

}  // namespace zyn::cli::assets
