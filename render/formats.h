// The vocabulary of output format codes: tens digit = colours and pixel layout, units digit = gain.
#ifndef ZOCAM_RENDER_FORMATS_H
#define ZOCAM_RENDER_FORMATS_H

#include <cstdint>
#include <optional>

#include "zocam/zocam.h"

namespace zocam {

enum class Colours { kGrey, kIron, kRainbow };
enum class PixelLayout { kGray8, kRgb24, kRgb32, kRgb565 };
enum class Gain : uint32_t {
  kManual = ZO_GAIN_MANUAL,
  kNonLinear = ZO_GAIN_NONLINEAR,
  kLinear = ZO_GAIN_LINEAR,
};

struct PictureFormat {
  Colours colours;
  PixelLayout layout;
  Gain gain;
};

// Nothing for codes that name no picture, among them 0 (raw words) and 1 (temperature image).
std::optional<PictureFormat> FindPictureFormat(uint32_t code);

uint32_t BytesPerPixel(PixelLayout layout);

}  // namespace zocam

#endif
