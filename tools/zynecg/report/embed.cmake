# Writes a C++ source that holds files as byte arrays, each returned by a
# function of namespace zyn::cli::assets: the report's page template, style
# and script stay real files while the tool carries them inside it.
#   cmake -DOUTPUT=out.cpp -DASSETS="name=path;name=path" -P embed.cmake
set(code "// Generated from tools/zynecg/report by embed.cmake: do not edit.\n#include <string_view>\n\nnamespace zyn::cli::assets {\n")
foreach(asset IN LISTS ASSETS)
  string(REPLACE "=" ";" parts "${asset}")
  list(GET parts 0 name)
  list(GET parts 1 path)
  file(READ "${path}" hex HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
  string(REGEX REPLACE "(0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,)" "\\1\n" bytes "${bytes}")
  string(APPEND code "namespace {\nconstexpr unsigned char k_${name}[] = {\n${bytes}0};\n}  // namespace\n")
  string(APPEND code "std::string_view ${name}() { return {reinterpret_cast<const char*>(k_${name}), sizeof k_${name} - 1}; }\n")
endforeach()
string(APPEND code "}  // namespace zyn::cli::assets\n")
file(WRITE "${OUTPUT}.tmp" "${code}")
file(COPY_FILE "${OUTPUT}.tmp" "${OUTPUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUTPUT}.tmp")
