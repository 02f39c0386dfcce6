// The last stage: display levels become pixels in the caller's buffer.
#ifndef ZOCAM_RENDER_PAINT_H
#define ZOCAM_RENDER_PAINT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "render/formats.h"
#include "render/palettes.h"

namespace zocam {

// Writes one pixel per level, packed. Every level is below kDisplayLevels; out needs no alignment.
using Painter = void (*)(std::span<const uint16_t> levels, const Palette& palette, uint8_t* out);

// A painter for each layout; 24 and 32-bit pixels have two orders.
struct PainterTable {
  Painter gray8;
  Painter bgr24;
  Painter rgb24;
  Painter bgr32;
  Painter rgb32;
  Painter rgb565;

  Painter For(PixelLayout layout, bool blueFirst) const;
};

namespace scalar {
extern const PainterTable kPainters;
}  // namespace scalar

// Where the pixels of a picture lie in the caller's buffer.
struct PictureLines {
  uint8_t* out;
  std::size_t width;   // pixels
  std::size_t height;  // lines
  std::size_t bytesPerPixel;
  std::size_t pitch;  // bytes from one line to the next, at least a line's

  // Calls visit(first pixel, pixel count, output of the first) for runs of adjacent pixels that
  // cover the picture in order, each of at most longest pixels.
  template <class Visit>
  void ForEachRun(std::size_t longest, Visit visit) const {
    const bool packed = pitch == width * bytesPerPixel;
    const std::size_t lineCount = packed ? 1 : height;
    const std::size_t linePixels = packed ? width * height : width;
    for (std::size_t y = 0; y < lineCount; ++y) {
      for (std::size_t x = 0; x < linePixels; x += longest) {
        visit(y * linePixels + x, std::min(longest, linePixels - x),
              out + y * pitch + x * bytesPerPixel);
      }
    }
  }
};

}  // namespace zocam

#endif
