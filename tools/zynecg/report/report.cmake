# The HTML report of zynecg as a library of its own (zyn_report). Its page
# template, style and script are real files in this folder, embedded into
# the tool as byte arrays whenever they change.
set(ZYN_REPORT_DIR ${CMAKE_CURRENT_LIST_DIR})
set(ZYN_REPORT_ASSETS
  report_html=${ZYN_REPORT_DIR}/report.html
  report_css=${ZYN_REPORT_DIR}/report.css
  report_js=${ZYN_REPORT_DIR}/report.js)
set(ZYN_REPORT_ASSET_FILES ${ZYN_REPORT_ASSETS})
list(TRANSFORM ZYN_REPORT_ASSET_FILES REPLACE "^[a-z_]+=" "")
add_custom_command(
  OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/report_assets.cpp
  COMMAND ${CMAKE_COMMAND} -DOUTPUT=${CMAKE_CURRENT_BINARY_DIR}/report_assets.cpp
          "-DASSETS=${ZYN_REPORT_ASSETS}" -P ${ZYN_REPORT_DIR}/embed.cmake
  DEPENDS ${ZYN_REPORT_ASSET_FILES} ${ZYN_REPORT_DIR}/embed.cmake
  COMMENT "Embedding the report's template, style and script"
  VERBATIM)

add_library(zyn_report STATIC
  ${ZYN_REPORT_DIR}/../report.cpp
  ${ZYN_REPORT_DIR}/../report_figures.cpp
  ${ZYN_REPORT_DIR}/../report_json.cpp
  ${ZYN_REPORT_DIR}/../report_page.cpp
  ${ZYN_REPORT_DIR}/../report_signal.cpp
  ${CMAKE_CURRENT_BINARY_DIR}/report_assets.cpp)
target_link_libraries(zyn_report PUBLIC zyn_cli)
target_link_libraries(zyn_report PRIVATE zyn_flags)

# The page rendered in the system's Chromium (tests/browser).
if(ZYN_BUILD_TESTS)
  add_subdirectory(${PROJECT_SOURCE_DIR}/tests/browser ${CMAKE_BINARY_DIR}/tests/browser)
endif()

# How long the page of a 24-hour recording takes to write (Google Benchmark).
if(ZYN_BUILD_BENCH)
  find_package(benchmark QUIET)
  if(benchmark_FOUND)
    add_executable(bench_report ${ZYN_REPORT_DIR}/bench_report.cpp)
    target_link_libraries(bench_report PRIVATE zyn_report zyn_flags benchmark::benchmark_main)
  endif()
endif()
