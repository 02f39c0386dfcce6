// Pictures as text: every character cell shows two pixels, one above the other.
#ifndef ZOCAM_TOOLS_HALF_BLOCKS_H
#define ZOCAM_TOOLS_HALF_BLOCKS_H

#include <string>
#include <vector>

#include "tools/picture.h"

struct CellSize {
  uint32_t columns;
  uint32_t rows;
  bool operator==(const CellSize&) const = default;
};

// The largest size in cells, not above most, that keeps the picture's shape.
CellSize FitCells(uint32_t width, uint32_t height, CellSize most);

// One string per row of cells, with 24-bit colours that are reset at its end.
std::vector<std::string> HalfBlockRows(const Picture& picture, CellSize size);

#endif
