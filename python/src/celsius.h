// Degrees Celsius of a decoded image, each the float nearest to the exact value.
#ifndef ZOCAM_PYTHON_CELSIUS_H
#define ZOCAM_PYTHON_CELSIUS_H

#include <cstdint>
#include <span>

namespace zopy {

// Of values in 1/resolution kelvin; resolution is 100 or 10. out is as long as values.
void WriteCelsius(std::span<const uint16_t> values, int32_t resolution, std::span<float> out);
// Of differences, which are shown above 27315: kelvin.
void WriteDifferences(std::span<const uint16_t> values, int32_t resolution, std::span<float> out);

}  // namespace zopy

#endif
