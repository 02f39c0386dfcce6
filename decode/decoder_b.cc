#include "decode/decoder_b.h"

#include "decode/raw_frame.h"
#include "decode/window_correction.h"

void scalar::CorrectWindowOfTemperatures(std::span<const uint8_t> words, std::span<uint16_t> out,
                                         bool upsideDown, int32_t resolution, double sensorKelvin,
                                         double offset) {
  MapImageWords(words, out, upsideDown, [&](uint16_t word) {
    const double t = static_cast<double>(word) / resolution;
    return TruncateToLow16((ZoLib_Priv_WindowCorrectTemp(t, sensorKelvin) + offset) * resolution);
  });
}
