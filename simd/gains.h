// The gains: values to levels.
#ifndef ZOCAM_SIMD_GAINS_H
#define ZOCAM_SIMD_GAINS_H

#include "render/auto_gain.h"
#include "render/manual_gain.h"
#include "simd/lanes.h"

namespace simd {
namespace {

constexpr auto MapManual = zocam::scalar::MapManual;
constexpr auto MapLinear = zocam::scalar::MapLinear;
constexpr auto MapSegments = zocam::scalar::MapSegments;

}  // namespace
}  // namespace simd

#endif
