#include "gstreamer/frame_painter.h"

#include <cmath>

namespace zogst {
namespace {

uint32_t FormatOf(Content content, const PaintSettings& settings) {
  switch (content) {
    case Content::kTemperatures:
      return ZO_FMT_TEMP16;
    case Content::kGrey:
      return ZO_FMT_GRAY8 + settings.gain;
    case Content::kColours:
      break;
  }
  return (settings.palette == Palette::kIron ? ZO_FMT_IRON_RGB24 : ZO_FMT_RAINBOW_RGB24) +
         settings.gain;
}

int32_t HundredthsOfKelvin(double celsius) {
  return static_cast<int32_t>(std::lround((celsius + 273.15) * 100));
}

}  // namespace

bool Paint(zocam::Device& device, const zocam::Frame& frame, Content content,
           const PaintSettings& settings, std::span<uint8_t> out, size_t stride) {
  device.SetBgrOrder(false);
  device.SetDecodeRange({HundredthsOfKelvin(settings.low), HundredthsOfKelvin(settings.high)});
  try {
    frame.Render(FormatOf(content, settings), out, static_cast<uint32_t>(stride));
  } catch (const zocam::Error& error) {
    if (error.Status() != ZO_STATUS_INVALID_STATE || frame.Check() != ZO_STATUS_OK) throw;
    return false;
  }
  return true;
}

}  // namespace zogst
