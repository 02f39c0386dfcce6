// What the automatic gains know of a frame: its extremes, and how its values spread over 32 bins.
// Both accumulate, so that several frames can be taken together.
#ifndef ZOCAM_RENDER_FRAME_STATISTICS_H
#define ZOCAM_RENDER_FRAME_STATISTICS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace zocam {

inline constexpr std::size_t kGainBins = 32;

// Which pixels of an image count: those of nonzero weight from column skippedColumns on.
struct CountedPixels {
  std::span<const uint32_t> weights;  // one per pixel; empty: every weight is 1
  uint32_t width;                     // of the image
  uint32_t skippedColumns;            // at the left of every line
};

// Lowest and highest value; the initial values are those of no pixel at all.
struct Extremes {
  uint16_t min = 0xFFFF;
  uint16_t max = 0;
};

// Values from low up to and without high, cut into kGainBins bins; values outside belong to the
// first and last bin. A range whose ends are in the wrong order has a wrapped span.
struct BinRange {
  uint32_t low;
  uint32_t high;
  uint32_t span;  // high - low, never 0

  // Position of a value inside the range, 0 to span - 1.
  constexpr uint32_t OffsetOf(uint32_t value) const {
    if (value < low) return 0;
    return value >= high ? span - 1 : value - low;
  }
  // In unsigned 32-bit arithmetic also where it wraps; below kGainBins for the spans that pairs of
  // 16-bit values have.
  constexpr uint32_t BinAt(uint32_t offset) const { return offset * uint32_t{kGainBins} / span; }
};

using BinCounts = std::array<uint64_t, kGainBins>;

namespace scalar {
void WidenExtremes(std::span<const uint16_t> image, const CountedPixels& counted,
                   Extremes& extremes);
}  // namespace scalar

// The extremes pulled into low to high.
Extremes Clamp(Extremes extremes, uint16_t low, uint16_t high);

// The whole blocks of 1024 values that hold the extremes.
BinRange WholeBlocks(Extremes extremes);

namespace scalar {
void CountBins(std::span<const uint16_t> image, const CountedPixels& counted, const BinRange& range,
               BinCounts& counts);
}  // namespace scalar

}  // namespace zocam

#endif
