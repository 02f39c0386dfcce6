// Levels to pixels.
#ifndef ZOCAM_SIMD_PAINT_H
#define ZOCAM_SIMD_PAINT_H

#include "render/paint.h"
#include "simd/lanes.h"

namespace simd {
namespace {

constexpr const zocam::PainterTable& kPainters = zocam::scalar::kPainters;

}  // namespace
}  // namespace simd

#endif
