#include "render/formats.h"

#include <array>

namespace zocam {
namespace {

struct Family {
  Colours colours;
  PixelLayout layout;
};

constexpr uint32_t kFirstFamily = 1;
constexpr uint32_t kCodesPerFamily = 10;
constexpr uint32_t kGains = 3;

// Indexed by the tens digit of the code, from kFirstFamily.
constexpr std::array<Family, 8> kFamilies{{
    {Colours::kGrey, PixelLayout::kGray8},
    {Colours::kIron, PixelLayout::kRgb24},
    {Colours::kIron, PixelLayout::kRgb32},
    {Colours::kRainbow, PixelLayout::kRgb24},
    {Colours::kRainbow, PixelLayout::kRgb32},
    {Colours::kGrey, PixelLayout::kRgb565},
    {Colours::kIron, PixelLayout::kRgb565},
    {Colours::kRainbow, PixelLayout::kRgb565},
}};

// The code of the same family with another gain, or -1.
int32_t WithGain(int32_t code, Gain gain) {
  if (!FindPictureFormat(static_cast<uint32_t>(code))) return -1;
  const auto family = static_cast<uint32_t>(code) / kCodesPerFamily;
  return static_cast<int32_t>(family * kCodesPerFamily + static_cast<uint32_t>(gain));
}

}  // namespace

std::optional<PictureFormat> FindPictureFormat(uint32_t code) {
  const uint32_t family = code / kCodesPerFamily - kFirstFamily;  // wraps below the first
  const uint32_t gain = code % kCodesPerFamily;
  if (family >= kFamilies.size() || gain >= kGains) return std::nullopt;
  return PictureFormat{kFamilies[family].colours, kFamilies[family].layout, Gain{gain}};
}

uint32_t BytesPerPixel(PixelLayout layout) {
  switch (layout) {
    case PixelLayout::kGray8:
      return 1;
    case PixelLayout::kRgb24:
      return 3;
    case PixelLayout::kRgb32:
      return 4;
    case PixelLayout::kRgb565:
      break;
  }
  return 2;
}

}  // namespace zocam

int32_t ZoLib_GetManualGainType(int32_t format) {
  return zocam::WithGain(format, zocam::Gain::kManual);
}

int32_t ZoLib_GetNonLinearAutoGainType(int32_t format) {
  return zocam::WithGain(format, zocam::Gain::kNonLinear);
}

int32_t ZoLib_GetLinearAutoGainType(int32_t format) {
  return zocam::WithGain(format, zocam::Gain::kLinear);
}

int32_t ZoLib_GetAutoGainType(int32_t format) { return ZoLib_GetNonLinearAutoGainType(format); }
