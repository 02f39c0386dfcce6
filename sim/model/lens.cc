#include "sim/model/lens.h"

#include <cmath>

namespace zosim {
namespace {

// Bending radius in image widths, inverted: how strongly the lens of each image size bends.
constexpr double kStrengthLarge = 0.7;
constexpr double kStrengthSmall = 0.6;
constexpr uint32_t kLargeWidth = 160;

}  // namespace

BarrelLens::BarrelLens(uint32_t width, uint32_t height)
    : onDetector_{(width - 1.0) / 2.0, (height - 1.0) / 2.0},
      inScene_{std::floor(width / 2.0), std::floor(height / 2.0)} {
  const double radius = width / (width >= kLargeWidth ? kStrengthLarge : kStrengthSmall);
  bendingRadiusSquared_ = radius * radius;
}

ScenePlace BarrelLens::SeenBy(uint32_t x, uint32_t y) const {
  const double dx = x - onDetector_.x;
  const double dy = y - onDetector_.y;
  // The compression solved for the scene's radius; no pixel is as far out as the bending radius.
  const double widening = 1.0 / std::sqrt(1.0 - (dx * dx + dy * dy) / bendingRadiusSquared_);
  return {inScene_.x + dx * widening, inScene_.y + dy * widening};
}

}  // namespace zosim
