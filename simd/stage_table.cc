#include "simd/stage_table.h"

#include <array>
#include <atomic>

#include "simd/levels.h"

namespace {

constexpr StageTable kScalarStages = {
    .copyImageWords = scalar::CopyImageWords,
    .correctCircumference = scalar::CorrectCircumference,
    .convertCounts = scalar::ConvertCounts,
    .correctWindowOfCounts = scalar::CorrectWindowOfCounts,
    .correctWindowOfTemperatures = scalar::CorrectWindowOfTemperatures,
    .correctDrifts = scalar::CorrectDrifts,
    .undistort = scalar::Undistort,
    .filterNoise = scalar::FilterNoise,
    .accumulateKelvin = scalar::AccumulateKelvin,
    .applyCorrections = scalar::ApplyCorrections,
    .subtractReference = scalar::SubtractReference,
    .widenExtremes = zocam::scalar::WidenExtremes,
    .countBins = zocam::scalar::CountBins,
    .mapManual = zocam::scalar::MapManual,
    .mapLinear = zocam::scalar::MapLinear,
    .mapSegments = zocam::scalar::MapSegments,
    .painters = &zocam::scalar::kPainters,
    .magnify3 = zocam::scalar::Magnify3,
};

// Null until a stage first runs.
constinit std::atomic<const StageTable*> g_stages = nullptr;

const StageTable& HighestLevel() {
  for (const SimdLevel level : {SimdLevel::kAvx2, SimdLevel::kBaseline}) {
    if (const StageTable* table = StagesOf(level)) return *table;
  }
  return kScalarStages;
}

}  // namespace

const StageTable& Stages() {
  // Relaxed: the tables are constants.
  if (const StageTable* table = g_stages.load(std::memory_order_relaxed)) return *table;
  const StageTable& highest = HighestLevel();
  // A level that is forced meanwhile stays.
  const StageTable* none = nullptr;
  return g_stages.compare_exchange_strong(none, &highest, std::memory_order_relaxed) ? highest
                                                                                     : *none;
}

const StageTable* StagesOf(SimdLevel level) {
  switch (level) {
    case SimdLevel::kScalar:
      return &kScalarStages;
    case SimdLevel::kBaseline:
#if ZOCAM_SIMD_BASELINE
      return &simd::kBaselineStages;
#else
      return nullptr;
#endif
    case SimdLevel::kAvx2:
#if ZOCAM_SIMD_AVX2
      __builtin_cpu_init();  // for callers that run before the program's own constructors
      return __builtin_cpu_supports("avx2") ? &simd::kAvx2Stages : nullptr;
#else
      return nullptr;
#endif
  }
  return nullptr;
}

ZoStatus ZoLib_Priv_ForceSimdLevel(int32_t level) {
  const StageTable* table = StagesOf(SimdLevel{level});
  if (table == nullptr) return ZO_STATUS_INVALID_VALUE;
  g_stages.store(table, std::memory_order_relaxed);
  return ZO_STATUS_OK;
}
