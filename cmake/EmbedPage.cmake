# SPDX-License-Identifier: BSL-1.0

# Writes the files of the page into a C++ source: cmake -DFOLDER=... -DOUTPUT=... -P EmbedPage.cmake
set(arrays "")
set(rows "")
foreach(name index.html style.css page.js icon.svg)
  file(READ "${FOLDER}/${name}" hex HEX)
  string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${hex}")
  string(MAKE_C_IDENTIFIER "cFile_${name}" array)
  string(APPEND arrays "constexpr char ${array}[] = {${bytes}};\n")
  string(APPEND rows "    {\"${name}\", {${array}, sizeof ${array}}},\n")
endforeach()
file(WRITE "${OUTPUT}" "#include \"tools/serve/PageFiles.h\"

namespace tools {
namespace {

${arrays}
constexpr PageFile cFiles[] = {
${rows}};

}  // namespace

const std::span<const PageFile> cPageFiles = cFiles;

}  // namespace tools
")
