// Extremes and bins of a frame.
#ifndef ZOCAM_SIMD_FRAME_STATISTICS_H
#define ZOCAM_SIMD_FRAME_STATISTICS_H

#include "render/frame_statistics.h"
#include "simd/lanes.h"

namespace simd {
namespace {

constexpr auto WidenExtremes = zocam::scalar::WidenExtremes;
constexpr auto CountBins = zocam::scalar::CountBins;

}  // namespace
}  // namespace simd

#endif
