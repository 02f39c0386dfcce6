// The three-times magnifier's pixels; its checks are in magnify.cc.
#ifndef ZOCAM_RENDER_MAGNIFY_H
#define ZOCAM_RENDER_MAGNIFY_H

#include <cstdint>

namespace zocam {

// A colour image of 3 or 4 bytes a pixel, of which the columns from leftMargin on are magnified.
struct ColourImage {
  const uint8_t* pixels;
  uint32_t width;
  uint32_t height;
  uint32_t bytesPerPixel;
  uint32_t leftMargin;  // below width
};

namespace scalar {
// Writes every pixel's block of 3 x 3; fourth bytes are left as they are.
void Magnify3(const ColourImage& image, uint8_t* out);

// The same for the pixels of line y from column first up to and without column last.
void MagnifyRun(const ColourImage& image, uint32_t y, uint32_t first, uint32_t last, uint8_t* out);
}  // namespace scalar

}  // namespace zocam

#endif
