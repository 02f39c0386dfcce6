// A colour picture in memory, and what is done to whole pictures.
#ifndef ZOCAM_TOOLS_PICTURE_H
#define ZOCAM_TOOLS_PICTURE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

using Rgb = std::array<uint8_t, 3>;

// A palette entry 0x00RRGGBB.
constexpr Rgb RgbOf(uint32_t entry) {
  return {static_cast<uint8_t>(entry >> 16 & 0xFF), static_cast<uint8_t>(entry >> 8 & 0xFF),
          static_cast<uint8_t>(entry & 0xFF)};
}

struct Picture {
  Picture() = default;
  Picture(uint32_t w, uint32_t h, Rgb fill = {})
      : width(w), height(h), pixels(size_t{w} * h, fill) {}

  Rgb& At(uint32_t x, uint32_t y) { return pixels[size_t{y} * width + x]; }
  const Rgb& At(uint32_t x, uint32_t y) const { return pixels[size_t{y} * width + x]; }

  uint32_t width = 0;
  uint32_t height = 0;
  std::vector<Rgb> pixels;  // row by row
};

// Three times as wide and high; each pixel's block blends it with its neighbours.
inline constexpr uint32_t kMagnifierFactor = 3;
Picture Magnify(const Picture& picture);

// Every pixel becomes a square of factor x factor pixels: blended where the factor is a multiple of
// three, of one colour otherwise.
Picture Enlarge(const Picture& picture, uint32_t factor);

// To any size: the mean of the pixels that fall on a new one, or the nearest pixel when enlarging.
Picture Resample(const Picture& picture, uint32_t width, uint32_t height);

// By 90 degrees, clockwise.
Picture Turn(const Picture& picture);

// Copies picture into canvas, its top left corner at (left, top), where it must fit.
void Paste(Picture& canvas, const Picture& picture, uint32_t left, uint32_t top);

#endif
