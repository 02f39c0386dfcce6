// simd/: the per-pixel stages of decode/ and render/ for the instruction sets of the machine.
//
// Every stage has a scalar form, which stands in its own folder in namespace scalar and is the
// definition of its result. The files here hold faster forms of the same stages, written with the
// compiler's vector types and compiled once per level (baseline.cc, avx2.cc); what they write is
// bit for bit what the scalar form writes. A table of functions per level brings them together;
// one is in use. Not here: settings, buffers, handles. Any thread may run a stage.
//
// Code that is compiled for one level must not leave functions that the linker could hand to
// another level: everything in the headers of faster forms stands in an unnamed namespace, and
// avx2.cc is linked last, behind whoever else has an unoptimised function of the standard library.
#ifndef ZOCAM_SIMD_STAGE_TABLE_H
#define ZOCAM_SIMD_STAGE_TABLE_H

#include <cstdint>
#include <span>

#include "zocam/zocam.h"

#include "decode/circumference.h"
#include "decode/decoder_a.h"
#include "decode/decoder_b.h"
#include "decode/decoder_d.h"
#include "decode/noise_filter.h"
#include "decode/raw_frame.h"
#include "decode/reflection.h"
#include "decode/subtraction.h"
#include "decode/undistortion.h"
#include "render/auto_gain.h"
#include "render/frame_statistics.h"
#include "render/magnify.h"
#include "render/manual_gain.h"
#include "render/paint.h"

// One entry per stage; what each does stands beside its scalar form.
struct StageTable {
  decltype(&scalar::CopyImageWords) copyImageWords;
  decltype(&scalar::CorrectCircumference) correctCircumference;
  decltype(&scalar::ConvertCounts) convertCounts;
  decltype(&scalar::CorrectWindowOfCounts) correctWindowOfCounts;
  decltype(&scalar::CorrectWindowOfTemperatures) correctWindowOfTemperatures;
  decltype(&scalar::CorrectDrifts) correctDrifts;
  decltype(&scalar::Undistort) undistort;
  decltype(&scalar::FilterNoise) filterNoise;
  decltype(&scalar::AccumulateKelvin) accumulateKelvin;
  decltype(&scalar::ApplyCorrections) applyCorrections;
  decltype(&scalar::SubtractReference) subtractReference;

  decltype(&zocam::scalar::WidenExtremes) widenExtremes;
  decltype(&zocam::scalar::CountBins) countBins;
  decltype(&zocam::scalar::MapManual) mapManual;
  decltype(&zocam::scalar::MapLinear) mapLinear;
  decltype(&zocam::scalar::MapSegments) mapSegments;
  const zocam::PainterTable* painters;
  decltype(&zocam::scalar::Magnify3) magnify3;
};

// Each level has what those before it have.
enum class SimdLevel : int32_t {
  kScalar,
  kBaseline,  // what every machine of the architecture has: SSE2 or NEON
  kAvx2,
};

// The table in use; at first that of the highest level that the machine has.
const StageTable& Stages();

// The table of a level, null where the machine or the build does not have it.
const StageTable* StagesOf(SimdLevel level);

extern "C" {

// Takes another level's table into use, for tests and benchmarks; 0 scalar, 1 baseline, 2 AVX2. 10
// when the machine does not have it; nothing has changed then. Any thread, at any time.
ZO_API ZoStatus ZoLib_Priv_ForceSimdLevel(int32_t level);
}

#endif
