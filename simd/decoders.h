// The temperature decoders.
#ifndef ZOCAM_SIMD_DECODERS_H
#define ZOCAM_SIMD_DECODERS_H

#include "decode/decoder_a.h"
#include "decode/decoder_b.h"
#include "decode/decoder_d.h"
#include "simd/lanes.h"

namespace simd {

static constexpr auto ConvertCounts = scalar::ConvertCounts;
static constexpr auto CorrectWindowOfCounts = scalar::CorrectWindowOfCounts;
static constexpr auto CorrectWindowOfTemperatures = scalar::CorrectWindowOfTemperatures;
static constexpr auto CorrectDrifts = scalar::CorrectDrifts;

}  // namespace simd

#endif
