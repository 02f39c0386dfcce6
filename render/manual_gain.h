// The manual gain: the application's range becomes levels, whatever the frame holds.
#ifndef ZOCAM_RENDER_MANUAL_GAIN_H
#define ZOCAM_RENDER_MANUAL_GAIN_H

#include <cstdint>
#include <span>

namespace zocam {

// In image units. A span below 1 counts as 1.
struct ManualRange {
  int32_t low;
  int32_t span;
};

namespace scalar {
// Spreads the range over levels 0 to steps - 1; values outside get the level of the nearer end.
void MapManual(std::span<const uint16_t> image, ManualRange range, uint32_t steps,
               std::span<uint16_t> levels);
}  // namespace scalar

}  // namespace zocam

#endif
