// Edge-preserving noise filter: a 3 x 3 weighted mean that leaves out neighbours whose value is far
// from the centre's.
#ifndef ZOCAM_DECODE_NOISE_FILTER_H
#define ZOCAM_DECODE_NOISE_FILTER_H

#include <cstdint>
#include <span>

namespace scalar {
// Filters in to out, both width x height and apart. A neighbour inside the image counts when its
// value differs from the centre's by less than threshold.
void FilterNoise(std::span<const uint16_t> in, std::span<uint16_t> out, uint32_t width,
                 uint32_t height, int32_t threshold);
}  // namespace scalar

#endif
