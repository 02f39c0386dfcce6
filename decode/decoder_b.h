// Decoder B: pixels that the camera has already converted, 1/resolution kelvin each.
#ifndef ZOCAM_DECODE_DECODER_B_H
#define ZOCAM_DECODE_DECODER_B_H

#include <cstdint>
#include <span>

namespace scalar {
// Corrects each temperature for a protective window, given the averaged sensor temperature, and
// adds offset; both in kelvin.
void CorrectWindowOfTemperatures(std::span<const uint8_t> words, std::span<uint16_t> out,
                                 bool upsideDown, int32_t resolution, double sensorKelvin,
                                 double offset);
}  // namespace scalar

#endif
