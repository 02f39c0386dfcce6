/**
 * @file image.hpp
 * Images that own their memory, and what there is to know of their formats; comes with zocam.hpp.
 */
#ifndef ZOCAM_IMAGE_HPP
#define ZOCAM_IMAGE_HPP

#include <array>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <vector>

#include "zocam/zocam.h"

namespace zocam {

/** Bytes per pixel of an output format with any gain, 0 for a code that is none. Thread: any. */
constexpr uint32_t BytesPerPixel(uint32_t format) noexcept {
  if (format == ZO_FMT_RAW16 || format == ZO_FMT_TEMP16) return 2;
  if (format % 10 > ZO_GAIN_LINEAR) return 0;
  switch (format - format % 10) {
    case ZO_FMT_GRAY8:
      return 1;
    case ZO_FMT_IRON_RGB24:
    case ZO_FMT_RAINBOW_RGB24:
      return 3;
    case ZO_FMT_IRON_RGB32:
    case ZO_FMT_RAINBOW_RGB32:
      return 4;
    case ZO_FMT_GRAY_RGB565:
    case ZO_FMT_IRON_RGB565:
    case ZO_FMT_RAINBOW_RGB565:
      return 2;
    default:
      return 0;
  }
}

/** The 1024 colours 0x00RRGGBB of a format's palette, coldest first. Thread: any. */
inline std::array<uint32_t, 1024> Palette(uint32_t format) {
  std::array<uint32_t, 1024> colours;
  ZoLib_GetColorTable(format, colours.data());
  return colours;
}

/** Degrees Celsius of a value in 1/resolution kelvin. Thread: any. */
constexpr double Celsius(double value, int32_t resolution) noexcept {
  return value / resolution - 273.15;
}

/** A picture with packed rows. */
struct Image {
  uint32_t width = 0;          /**< pixels */
  uint32_t height = 0;         /**< pixels */
  uint32_t format = 0;         /**< the format code it was rendered in */
  std::vector<uint8_t> pixels; /**< height rows of width x BytesPerPixel(format) bytes */
};

/** A picture of three times the width and height, blended; of formats with 3 or 4 bytes per pixel
 * (others: an empty one). @param leftColumns are left out. See ZoLib_Magnify3. Thread: any. */
inline Image Magnify3(const Image& image, uint32_t leftColumns = 0) {
  const uint32_t bytesPerPixel = BytesPerPixel(image.format);
  if (bytesPerPixel < 3 || leftColumns >= image.width) return {};
  Image result{3 * (image.width - leftColumns), 3 * image.height, image.format, {}};
  // The fourth byte is left as it is.
  result.pixels.assign(size_t{result.width} * result.height * bytesPerPixel, 0xFF);
  const ZoStatus status =
      ZoLib_Magnify3(image.pixels.data(), image.width, image.height, result.pixels.data(),
                     static_cast<uint32_t>(result.pixels.size()), bytesPerPixel, leftColumns);
  return status == ZO_STATUS_OK ? result : Image{};
}

/** A temperature image, row by row. */
struct TemperatureImage {
  uint32_t width = 0;           /**< pixels */
  uint32_t height = 0;          /**< pixels */
  int32_t resolution = 0;       /**< units per kelvin: 100 or 10 */
  std::vector<uint16_t> values; /**< in 1/resolution kelvin */

  /** Degrees Celsius at a place, from the top left. @throws std::out_of_range */
  double Celsius(uint32_t x, uint32_t y) const {
    if (x >= width) throw std::out_of_range("zocam: no such column");
    return Celsius(size_t{y} * width + x);
  }
  /** Degrees Celsius of a pixel. @param pixel its index. @throws std::out_of_range */
  double Celsius(size_t pixel) const { return zocam::Celsius(values.at(pixel), resolution); }
};

}  // namespace zocam

#endif /* ZOCAM_IMAGE_HPP */
