// The tables of the levels that are compiled for this architecture.
#ifndef ZOCAM_SIMD_LEVELS_H
#define ZOCAM_SIMD_LEVELS_H

#include "simd/stage_table.h"

// Other architectures run the scalar forms, as do machines whose bytes stand in the other order.
#if defined(__SSE2__) || (defined(__aarch64__) && !defined(__AARCH64EB__))
#define ZOCAM_SIMD_BASELINE 1
#else
#define ZOCAM_SIMD_BASELINE 0
#endif

#if defined(__x86_64__)
#define ZOCAM_SIMD_AVX2 1
#else
#define ZOCAM_SIMD_AVX2 0
#endif

namespace simd {

extern const StageTable kBaselineStages;
extern const StageTable kAvx2Stages;

}  // namespace simd

#endif
