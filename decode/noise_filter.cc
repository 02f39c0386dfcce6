#include "decode/noise_filter.h"

#include <cstdlib>

namespace {

constexpr int32_t kCentreWeight = 10;
constexpr int32_t kSideWeight = 10;
constexpr int32_t kDiagonalWeight = 7;

// The 3 x 3 surroundings of one pixel; rows and columns outside the image are absent.
struct Neighbourhood {
  const uint16_t* centre;
  int32_t width;
  bool above, below, left, right;

  uint16_t Mean(int32_t threshold) const {
    const int32_t value = *centre;
    int32_t sum = kCentreWeight * value;
    int32_t weights = kCentreWeight;
    const auto add = [&](bool exists, int32_t offset, int32_t weight) {
      if (!exists) return;
      const int32_t neighbour = centre[offset];
      if (std::abs(neighbour - value) >= threshold) return;
      sum += weight * neighbour;
      weights += weight;
    };
    add(above && left, -width - 1, kDiagonalWeight);
    add(above, -width, kSideWeight);
    add(above && right, -width + 1, kDiagonalWeight);
    add(left, -1, kSideWeight);
    add(right, 1, kSideWeight);
    add(below && left, width - 1, kDiagonalWeight);
    add(below, width, kSideWeight);
    add(below && right, width + 1, kDiagonalWeight);
    return static_cast<uint16_t>(sum / weights);
  }
};

}  // namespace

void scalar::FilterNoise(std::span<const uint16_t> in, std::span<uint16_t> out, uint32_t width,
                         uint32_t height, int32_t threshold) {
  for (uint32_t y = 0; y < height; ++y) {
    for (uint32_t x = 0; x < width; ++x) {
      const std::size_t k = std::size_t{y} * width + x;
      const Neighbourhood neighbourhood{.centre = &in[k],
                                        .width = static_cast<int32_t>(width),
                                        .above = y > 0,
                                        .below = y + 1 < height,
                                        .left = x > 0,
                                        .right = x + 1 < width};
      out[k] = neighbourhood.Mean(threshold);
    }
  }
}
