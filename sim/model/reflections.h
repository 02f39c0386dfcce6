// A fixed pattern that lies on top of every scene: the camera's own warmth, reflected in its lens.
#pragma once

#include <cstdint>
#include <vector>

namespace zosim {

// Kelvin that each pixel shows too much, row by row: smooth rings around a place beside the centre,
// up to about `kelvin` either way, without a mean. Empty when `kelvin` is 0.
std::vector<double> ReflectionPattern(uint32_t width, uint32_t height, double kelvin);

}  // namespace zosim
