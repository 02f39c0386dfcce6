// bench/: what the stages, whole decode chains and recordings cost, measured side by side at every
// level of simd/ that the machine has. report.py makes docs/performance.md of the figures,
// streaming.py measures stream_load, a small program on a virtual camera. Not here: whether results
// are right (tests/).
//
// A benchmark's name is KIND/WHAT/SIZE/VARIANT; report.py puts the variants of one thing into one
// line, so WHAT is the same text for each of them.
#ifndef ZOCAM_BENCH_BENCHMARKS_H
#define ZOCAM_BENCH_BENCHMARKS_H

#include <array>
#include <cstdint>
#include <string>

#include "simd/stage_table.h"

struct Level {
  SimdLevel level;
  const char* name;
};
inline constexpr std::array<Level, 3> kLevels = {{{SimdLevel::kScalar, "plain"},
                                                  {SimdLevel::kBaseline, "baseline"},
                                                  {SimdLevel::kAvx2, "avx2"}}};

struct Size {
  uint32_t width;
  uint32_t height;
};
inline constexpr Size kSmall = {80, 60};
inline constexpr Size kLarge = {160, 120};

inline std::string BenchmarkName(const char* kind, const std::string& what, Size size,
                                 const char* variant) {
  return std::string(kind) + "/" + what + "/" + std::to_string(size.width) + "x" +
         std::to_string(size.height) + "/" + variant;
}

// Chains that the goals speak of and that have an OpenCV counterpart.
inline constexpr char kLinearChain[] =
    "decoder A, undistortion, noise filter, linear gain, iron 24 bit";
inline constexpr char kNonLinearChain[] =
    "decoder A, undistortion, noise filter, non-linear gain, iron 24 bit";

void RegisterStages();
void RegisterChains();
void RegisterRecordings();
void RegisterOpenCv();  // where it was found

#endif
