#include "render/frame_statistics.h"

#include <algorithm>

namespace zocam {
namespace {

constexpr uint32_t kBlock = 1024;

template <class Visit>
void ForEachCounted(std::span<const uint16_t> image, const CountedPixels& counted, Visit visit) {
  const std::size_t width = counted.width;
  if (width == 0 || counted.skippedColumns >= width) return;
  for (std::size_t line = 0; line + width <= image.size(); line += width) {
    for (std::size_t i = line + counted.skippedColumns; i < line + width; ++i) {
      if (counted.weights.empty() || counted.weights[i] != 0) visit(image[i]);
    }
  }
}

constexpr uint32_t StartOfBlock(uint16_t value) { return value / kBlock * kBlock; }

}  // namespace

void scalar::WidenExtremes(std::span<const uint16_t> image, const CountedPixels& counted,
                           Extremes& extremes) {
  Extremes found = extremes;
  ForEachCounted(image, counted, [&](uint16_t value) {
    found.min = std::min(found.min, value);
    found.max = std::max(found.max, value);
  });
  extremes = found;
}

Extremes Clamp(Extremes extremes, uint16_t low, uint16_t high) {
  return {std::max(extremes.min, low), std::min(extremes.max, high)};
}

BinRange WholeBlocks(Extremes extremes) {
  const uint32_t low = StartOfBlock(extremes.min);
  const uint32_t high = StartOfBlock(extremes.max) + kBlock;
  return {low, high, low == high ? kBlock : high - low};
}

void scalar::CountBins(std::span<const uint16_t> image, const CountedPixels& counted,
                       const BinRange& range, BinCounts& counts) {
  ForEachCounted(image, counted,
                 [&](uint16_t value) { ++counts[range.BinAt(range.OffsetOf(value))]; });
}

}  // namespace zocam
