# Writes the page's files as a table of bytes. Usage: cmake -DOUTPUT=FILE -DFILES="A;B" -P this
set(types_html "text/html; charset=utf-8")
set(types_css "text/css; charset=utf-8")
set(types_js "text/javascript; charset=utf-8")
set(types_svg "image/svg+xml")

set(arrays "")
set(entries "")
set(index 0)
foreach(file IN LISTS FILES)
  get_filename_component(name ${file} NAME)
  get_filename_component(extension ${file} LAST_EXT)
  string(SUBSTRING ${extension} 1 -1 extension)
  file(READ ${file} bytes HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
  string(APPEND arrays "constexpr unsigned char kFile${index}[] = {${bytes}0};\n")
  set(path "/${name}")
  if(name STREQUAL index.html)
    set(path "/")
  endif()
  string(APPEND entries
    "    {\"${path}\", \"${types_${extension}}\", View(kFile${index})},\n")
  math(EXPR index "${index} + 1")
endforeach()
file(WRITE ${OUTPUT} "// Made by embed_page.cmake.
#include \"tools/serve/page_files.h\"

#include <algorithm>
#include <array>

namespace serve {
namespace {

${arrays}
template <size_t kSize>
std::string_view View(const unsigned char (&bytes)[kSize]) {
  return {reinterpret_cast<const char*>(bytes), kSize - 1};
}

}  // namespace

const PageFile* FindPageFile(std::string_view path) {
  static const std::array<PageFile, ${index}> files = {{
${entries}  }};
  const auto* const found = std::ranges::find(files, path, &PageFile::path);
  return found == files.end() ? nullptr : &*found;
}

}  // namespace serve
")
