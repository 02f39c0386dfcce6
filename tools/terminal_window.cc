#include "tools/terminal_window.h"

#include <sys/ioctl.h>

#include <algorithm>

namespace {

// A terminal may claim any size; a larger one is not filled.
constexpr CellSize kMost{1000, 500};

}  // namespace

CellSize WindowSize(int descriptor) {
  winsize window{};
  if (ioctl(descriptor, TIOCGWINSZ, &window) != 0 || window.ws_col == 0 || window.ws_row == 0)
    return {80, 24};
  return {std::min<uint32_t>(window.ws_col, kMost.columns),
          std::min<uint32_t>(window.ws_row, kMost.rows)};
}

std::string CutToColumns(const std::string& text, uint32_t columns) {
  size_t end = 0;
  uint32_t used = 0;
  for (; end < text.size(); ++end) {
    const bool begins = (static_cast<unsigned char>(text[end]) & 0xC0) != 0x80;
    if (begins && used++ == columns) break;
  }
  return text.substr(0, end);
}
