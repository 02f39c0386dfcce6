#include "sim/model/reflections.h"

#include <cmath>
#include <numbers>
#include <numeric>

namespace zosim {

std::vector<double> ReflectionPattern(uint32_t width, uint32_t height, double kelvin) {
  std::vector<double> pattern;
  if (kelvin == 0.0) return pattern;
  pattern.reserve(size_t{width} * height);
  const double ringWidth = 0.45 * height;
  for (uint32_t y = 0; y < height; ++y) {
    for (uint32_t x = 0; x < width; ++x) {
      const double radius = std::hypot(x - 0.45 * width, y - 0.55 * height);
      pattern.push_back(kelvin * std::cos(2.0 * std::numbers::pi * radius / ringWidth));
    }
  }
  const double mean =
      std::accumulate(pattern.begin(), pattern.end(), 0.0) / static_cast<double>(pattern.size());
  for (double& value : pattern) value -= mean;
  return pattern;
}

}  // namespace zosim
