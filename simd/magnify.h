// The three-times magnifier.
#ifndef ZOCAM_SIMD_MAGNIFY_H
#define ZOCAM_SIMD_MAGNIFY_H

#include "render/magnify.h"
#include "simd/lanes.h"

namespace simd {
namespace {

constexpr auto Magnify3 = zocam::scalar::Magnify3;

}  // namespace
}  // namespace simd

#endif
