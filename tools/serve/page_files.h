// The page, as files within the program. The table is made by the build.
#ifndef ZOCAM_TOOLS_SERVE_PAGE_FILES_H
#define ZOCAM_TOOLS_SERVE_PAGE_FILES_H

#include <string>
#include <string_view>

namespace serve {

struct PageFile {
  std::string_view path;  // "/app.js"; the page itself is "/"
  std::string type;
  std::string_view bytes;
};

// Null when there is none.
const PageFile* FindPageFile(std::string_view path);

}  // namespace serve

#endif
