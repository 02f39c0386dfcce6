// Copies of image words, and the circumference correction.
#ifndef ZOCAM_SIMD_IMAGE_WORDS_H
#define ZOCAM_SIMD_IMAGE_WORDS_H

#include "decode/circumference.h"
#include "decode/raw_frame.h"
#include "simd/lanes.h"

namespace simd {

static constexpr auto CopyImageWords = scalar::CopyImageWords;
static constexpr auto CorrectCircumference = scalar::CorrectCircumference;

}  // namespace simd

#endif
