// The faster forms for what every machine of the architecture has.
#include "simd/levels.h"

#if ZOCAM_SIMD_BASELINE
#include "simd/faster_stages.h"

constinit const StageTable simd::kBaselineStages = kFasterStages;
#endif
