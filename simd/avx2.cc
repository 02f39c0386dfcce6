// The faster forms for AVX2; compiled with -mavx2, run only where the machine has it.
#include "simd/levels.h"

#if ZOCAM_SIMD_AVX2
#ifndef __AVX2__
#error "compile with -mavx2: see cmake/library.cmake"
#endif
#include "simd/faster_stages.h"

constinit const StageTable simd::kAvx2Stages = kFasterStages;
#endif
