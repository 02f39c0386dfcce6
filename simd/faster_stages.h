// All faster forms as one table; included once by each level's file.
#ifndef ZOCAM_SIMD_FASTER_STAGES_H
#define ZOCAM_SIMD_FASTER_STAGES_H

#include "simd/decoders.h"
#include "simd/frame_statistics.h"
#include "simd/gains.h"
#include "simd/image_words.h"
#include "simd/magnify.h"
#include "simd/noise_filter.h"
#include "simd/paint.h"
#include "simd/pixel_sums.h"
#include "simd/stage_table.h"
#include "simd/undistortion.h"

namespace simd {
namespace {

constexpr StageTable kFasterStages = {
    .copyImageWords = CopyImageWords,
    .correctCircumference = CorrectCircumference,
    .convertCounts = ConvertCounts,
    .correctWindowOfCounts = CorrectWindowOfCounts,
    .correctWindowOfTemperatures = CorrectWindowOfTemperatures,
    .correctDrifts = CorrectDrifts,
    .undistort = Undistort,
    .filterNoise = FilterNoise,
    .accumulateKelvin = AccumulateKelvin,
    .applyCorrections = ApplyCorrections,
    .subtractReference = SubtractReference,
    .widenExtremes = WidenExtremes,
    .countBins = CountBins,
    .mapManual = MapManual,
    .mapLinear = MapLinear,
    .mapSegments = MapSegments,
    .painters = &kPainters,
    .magnify3 = Magnify3,
};

}  // namespace
}  // namespace simd

#endif
