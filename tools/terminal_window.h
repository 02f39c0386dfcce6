// What fits into a terminal's window.
#ifndef ZOCAM_TOOLS_TERMINAL_WINDOW_H
#define ZOCAM_TOOLS_TERMINAL_WINDOW_H

#include <string>

#include "tools/half_blocks.h"

// The size now of the window behind a descriptor; 80 x 24 when it cannot be told, never more
// than 1000 x 500.
CellSize WindowSize(int descriptor);

// The first columns of a text in UTF-8 that has no wide characters.
std::string CutToColumns(const std::string& text, uint32_t columns);

#endif
