#include "render/auto_gain.h"

#include <algorithm>
#include <numeric>

#include "render/palettes.h"

namespace zocam {
namespace {

constexpr uint32_t kPeakDivisor = 10;
constexpr uint32_t kDampedBonus = 50;

constexpr uint32_t PeakThreshold(uint32_t framePixels) { return framePixels * 4 / 10; }

}  // namespace

void scalar::MapLinear(std::span<const uint16_t> image, Extremes extremes,
                       std::span<uint16_t> levels) {
  if (extremes.min >= extremes.max) {
    std::ranges::fill(levels, uint16_t{0});
    return;
  }
  const uint32_t low = extremes.min;
  const uint32_t span = extremes.max - low;
  for (std::size_t i = 0; i < image.size(); ++i) {
    const uint32_t above = image[i] < low ? 0 : std::min(image[i] - low, span - 1);
    levels[i] = static_cast<uint16_t>(above * kDisplayLevels / span);
  }
}

void DampPeaks(BinCounts& counts, uint32_t framePixels) {
  bool damped = false;
  for (uint64_t& count : counts) {
    if (count <= PeakThreshold(framePixels)) continue;
    count /= kPeakDivisor;
    damped = true;
  }
  if (!damped) return;
  for (uint64_t& count : counts) count += kDampedBonus;
}

std::optional<SegmentTable> BuildSegments(const BinCounts& counts) {
  const uint64_t total = std::accumulate(counts.begin(), counts.end(), uint64_t{0});
  if (total == 0) return std::nullopt;
  SegmentTable segments;
  uint32_t base = 0;
  for (std::size_t i = 0; i < kGainBins; ++i) {
    segments[i] = {base, static_cast<uint32_t>(counts[i] * kDisplayLevels / total)};
    base += segments[i].slope;
  }
  return segments;
}

void scalar::MapSegments(std::span<const uint16_t> image, const BinRange& range,
                         std::span<const GainSegment, kGainBins> segments,
                         std::span<uint16_t> levels) {
  const uint32_t binWidth = range.span / uint32_t{kGainBins};
  for (std::size_t i = 0; i < image.size(); ++i) {
    const uint32_t offset = range.OffsetOf(image[i]);
    const GainSegment& segment = segments[range.BinAt(offset)];
    const uint32_t level =
        static_cast<uint16_t>(segment.base) + offset % binWidth * segment.slope / binWidth;
    // Slopes that add up to exactly 1024 put the empty bins behind them at level 1024.
    levels[i] = static_cast<uint16_t>(std::min(level, kDisplayLevels - 1));
  }
}

}  // namespace zocam
