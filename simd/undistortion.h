// Lens undistortion.
#ifndef ZOCAM_SIMD_UNDISTORTION_H
#define ZOCAM_SIMD_UNDISTORTION_H

#include "decode/undistortion.h"
#include "simd/lanes.h"

namespace simd {
namespace {

constexpr auto Undistort = scalar::Undistort;

}  // namespace
}  // namespace simd

#endif
