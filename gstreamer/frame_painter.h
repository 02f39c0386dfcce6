// What the element makes of a frame: a temperature image, a grey picture or one in colours. Knows
// nothing of GStreamer.
#ifndef ZOCAM_GSTREAMER_FRAME_PAINTER_H
#define ZOCAM_GSTREAMER_FRAME_PAINTER_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "zocam/zocam.hpp"

namespace zogst {

enum class Content { kTemperatures, kGrey, kColours };

enum class Palette { kIron, kRainbow };

struct PaintSettings {
  Palette palette = Palette::kIron;
  uint32_t gain = ZO_GAIN_LINEAR;
  double low = 16.0;   // degrees Celsius, of the manual gain
  double high = 48.0;  // degrees Celsius
};

// Writes the lines, a stride apart. @return false while the camera is not ready for that, before
// its first flat-field correction. Throws zocam::Error when the frame cannot be decoded at all.
bool Paint(zocam::Device& device, const zocam::Frame& frame, Content content,
           const PaintSettings& settings, std::span<uint8_t> out, size_t stride);

}  // namespace zogst

#endif
