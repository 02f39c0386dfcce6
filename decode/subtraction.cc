#include "decode/subtraction.h"

#include <algorithm>

namespace {

constexpr int32_t kZeroCelsius = 27315;  // 1/100 K

}  // namespace

void scalar::SubtractReference(std::span<uint16_t> image, std::span<const uint16_t> reference) {
  for (std::size_t i = 0; i < image.size(); ++i) {
    const int32_t difference = image[i] + kZeroCelsius - reference[i];
    image[i] = static_cast<uint16_t>(std::clamp(difference, 0, 65535));
  }
}
