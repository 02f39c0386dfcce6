// The automatic gains: an image's values become display levels 0 to 1023.
#ifndef ZOCAM_RENDER_AUTO_GAIN_H
#define ZOCAM_RENDER_AUTO_GAIN_H

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "core/gain_segment.h"
#include "render/frame_statistics.h"

namespace zocam {

using SegmentTable = std::array<GainSegment, kGainBins>;

namespace scalar {
// Stretches the extremes over all levels. Every level is 0 when the extremes leave no range.
void MapLinear(std::span<const uint16_t> image, Extremes extremes, std::span<uint16_t> levels);
}  // namespace scalar

// Takes weight from bins that hold more than 40 % of a frame's pixels: such a bin is cut to a
// tenth, and every bin then gains a little.
void DampPeaks(BinCounts& counts, uint32_t framePixels);

// Gives each bin a share of the levels in proportion to its count. Nothing when all are empty.
std::optional<SegmentTable> BuildSegments(const BinCounts& counts);

namespace scalar {
// Maps each value into its bin's share of the levels. The range spans at least kGainBins values or
// is one of WholeBlocks.
void MapSegments(std::span<const uint16_t> image, const BinRange& range,
                 std::span<const GainSegment, kGainBins> segments, std::span<uint16_t> levels);
}  // namespace scalar

}  // namespace zocam

#endif
