#include "tools/half_blocks.h"

#include <algorithm>
#include <optional>

namespace {

void AppendColour(std::string& row, const char* which, Rgb colour) {
  row += which;
  for (size_t i = 0; i < colour.size(); ++i) {
    row += std::to_string(colour[i]);
    row += i + 1 < colour.size() ? ';' : 'm';
  }
}

}  // namespace

CellSize FitCells(uint32_t width, uint32_t height, CellSize most) {
  // A cell is one pixel wide and two high, which is about its shape on the screen.
  const uint64_t linesForAllColumns = uint64_t{most.columns} * height / width;
  if (linesForAllColumns <= uint64_t{most.rows} * 2)
    return {most.columns, static_cast<uint32_t>(std::max<uint64_t>(1, linesForAllColumns / 2))};
  const uint64_t columns = uint64_t{most.rows} * 2 * width / height;
  return {static_cast<uint32_t>(std::max<uint64_t>(1, columns)), most.rows};
}

std::vector<std::string> HalfBlockRows(const Picture& picture, CellSize size) {
  // Where there is room for it, blended instead of in squares.
  const bool fits = size.columns >= picture.width * kMagnifierFactor;
  const Picture cells = Resample(fits ? Magnify(picture) : picture, size.columns, size.rows * 2);
  std::vector<std::string> rows(size.rows);
  for (uint32_t y = 0; y < size.rows; ++y) {
    // A colour stays until it is changed.
    std::optional<Rgb> ink, paper;
    for (uint32_t x = 0; x < size.columns; ++x) {
      const Rgb upper = cells.At(x, 2 * y), lower = cells.At(x, 2 * y + 1);
      if (ink != upper) AppendColour(rows[y], "\x1b[38;2;", upper);
      if (paper != lower) AppendColour(rows[y], "\x1b[48;2;", lower);
      ink = upper;
      paper = lower;
      rows[y] += "▀";
    }
    rows[y] += "\x1b[0m";
  }
  return rows;
}
