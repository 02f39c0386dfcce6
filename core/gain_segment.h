// One of the 32 segments of the non-linear gain.
#ifndef ZOCAM_CORE_GAIN_SEGMENT_H
#define ZOCAM_CORE_GAIN_SEGMENT_H

#include <cstdint>

// A bin's first display level and its share of the 1024 levels.
struct GainSegment {
  uint32_t base;
  uint32_t slope;
};

#endif
