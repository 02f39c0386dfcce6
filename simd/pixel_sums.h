// Stages that add or subtract a value per pixel.
#ifndef ZOCAM_SIMD_PIXEL_SUMS_H
#define ZOCAM_SIMD_PIXEL_SUMS_H

#include "decode/reflection.h"
#include "decode/subtraction.h"
#include "simd/lanes.h"

namespace simd {

static constexpr auto AccumulateKelvin = scalar::AccumulateKelvin;
static constexpr auto ApplyCorrections = scalar::ApplyCorrections;
static constexpr auto SubtractReference = scalar::SubtractReference;

}  // namespace simd

#endif
