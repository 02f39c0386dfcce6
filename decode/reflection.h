// Reflection correction: a fixed pattern of reflections on top of the scene, learnt from frames of
// a uniform scene and taken away from every image. Pure arithmetic, and the "ZORC" layout in which
// corrections are kept; reflection_correction.cc connects it with handles and files.
//
// A ZORC image, in memory and as a file alike: "ZORC", two reserved bytes, the product ID, then one
// signed 16-bit correction per pixel in 1/resolution kelvin. All little-endian.
#ifndef ZOCAM_DECODE_REFLECTION_H
#define ZOCAM_DECODE_REFLECTION_H

#include <cstdint>
#include <span>

inline constexpr std::size_t kZorcHeaderBytes = 8;

namespace scalar {
// Adds an image in kelvin to the sums.
void AccumulateKelvin(std::span<double> sums, std::span<const uint16_t> image, int32_t resolution);
}  // namespace scalar

// Writes the ZORC image that takes away what the summed frames deviate from their mean.
void BuildZorc(std::span<const double> sums, uint32_t frames, int32_t resolution,
               uint16_t productId, std::span<uint8_t> zorc);

bool HasZorcMagic(std::span<const uint8_t> zorc);
uint16_t ZorcProduct(std::span<const uint8_t> zorc);
void ReadZorcCorrections(std::span<const uint8_t> zorc, std::span<uint16_t> corrections);

namespace scalar {
// Adds the corrections to an image, modulo 65536.
void ApplyCorrections(std::span<uint16_t> image, std::span<const uint16_t> corrections);
}  // namespace scalar

#endif
