/**
 * @file image.hpp
 * Images that own their memory, and what there is to know of their formats; comes with zocam.hpp.
 */
#ifndef ZOCAM_IMAGE_HPP
#define ZOCAM_IMAGE_HPP

#include <array>
#include <cstddef>
#include <cstdint>
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

/** A temperature image, row by row. */
struct TemperatureImage {
  uint32_t width = 0;           /**< pixels */
  uint32_t height = 0;          /**< pixels */
  int32_t resolution = 0;       /**< units per kelvin: 100 or 10 */
  std::vector<uint16_t> values; /**< in 1/resolution kelvin */

  /** Degrees Celsius of a pixel. @param pixel its index. @throws std::out_of_range */
  double Celsius(size_t pixel) const { return zocam::Celsius(values.at(pixel), resolution); }
};

}  // namespace zocam

#endif /* ZOCAM_IMAGE_HPP */
