// A frame on its way to viewers, and how it goes over the wire.
#ifndef ZOCAM_TOOLS_SERVE_SERVED_FRAME_H
#define ZOCAM_TOOLS_SERVE_SERVED_FRAME_H

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "zocam/zocam.hpp"

namespace serve {

struct ServedFrame {
  uint32_t number = 0;      // of the recording's frame, or since the server opened the camera
  uint32_t dropped = 0;     // frames that the camera sent and the host never got, since then
  double timeMs = 0.0;      // since 1970, or since a recording's beginning
  double cameraTimeMs = 0;  // since the camera was switched on
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t resolution = 0;       // units per kelvin
  std::vector<uint16_t> values;  // row by row
};
using FramePtr = std::shared_ptr<const ServedFrame>;

inline constexpr size_t kFrameHeaderBytes = 48;

// What stands before the values, which follow low byte first.
std::array<uint8_t, kFrameHeaderBytes> FrameHeader(const ServedFrame& frame, uint32_t skipped);

// Of an area's pixels, in degrees Celsius; the places are columns and rows.
struct AreaValues {
  double minimum = 0.0;
  double maximum = 0.0;
  double mean = 0.0;
  std::array<uint32_t, 2> coldest{};
  std::array<uint32_t, 2> hottest{};
};
struct Area {
  uint32_t x = 0;
  uint32_t y = 0;
  uint32_t width = 1;
  uint32_t height = 1;
};
// The area must lie within the frame.
AreaValues ValuesIn(const ServedFrame& frame, const Area& area);

}  // namespace serve

#endif
