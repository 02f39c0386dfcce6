// The noise filter.
#ifndef ZOCAM_SIMD_NOISE_FILTER_H
#define ZOCAM_SIMD_NOISE_FILTER_H

#include "decode/noise_filter.h"
#include "simd/lanes.h"

namespace simd {
namespace {

constexpr auto FilterNoise = scalar::FilterNoise;

}  // namespace
}  // namespace simd

#endif
