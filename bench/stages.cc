// Every stage alone, at every level, on images that stay in the cache; the sizes beyond those of
// the models show how cost grows with the pixels.
#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <string_view>

#include "bench/benchmarks.h"
#include "bench/views.h"
#include "decode/undistortion.h"
#include "render/palettes.h"
#include "simd/stage_table.h"

namespace {

using zocam::CountedPixels;
using zocam::Extremes;

constexpr std::array<Size, 4> kSizes = {{kSmall, kLarge, {320, 240}, {640, 480}}};
constexpr int32_t kResolution = 100;
constexpr int32_t kNoiseThreshold = 50;
constexpr double kSensorKelvin = 300.0;
constexpr uint16_t kZeroCelsius = 27315;

SensorModel ModelOf(Regime regime) {
  const Bytes footer = MakeFooter(10, regime);
  return SensorModel(SensorTelemetry(Footer(footer.data()), 10));
}

struct Frame {
  Bytes counts;
  Bytes temperatures;
  Image image;  // what decoder A makes of the counts
};

// The inputs and outputs of all stages at one size. What a stage changes in place, it changes by 0.
struct Workspace {
  Size size;
  std::size_t pixels = std::size_t{size.width} * size.height;
  SensorModel startup = ModelOf(Regime::kStartup);
  SensorModel steady = ModelOf(Regime::kSteady);
  DriftCorrection drift = {.reference = 301.0, .offset = 1.5, .scale = 1.0, .stretchCold = true};
  std::vector<Frame> frames;
  Frame* frame = nullptr;  // whose turn it is
  std::size_t turn = 0;
  Bytes correctedCounts = Bytes(2 * pixels);
  std::vector<double> circumference = std::vector<double>(pixels);
  Image scratch = Image(pixels);
  Image out = Image(pixels);
  Image corrections = Image(pixels);
  Image reference = Image(pixels, kZeroCelsius);
  std::vector<double> sums = std::vector<double>(pixels);
  std::vector<uint32_t> weights = std::vector<uint32_t>(pixels, 1);
  Image levels = Image(pixels);
  Bytes picture = Bytes(4 * pixels);
  Bytes magnified = Bytes(9 * 4 * pixels);
  Undistortion undistortion;
  Extremes extremes;
  zocam::BinRange bins{};
  zocam::SegmentTable segments{};

  explicit Workspace(Size imageSize) : size(imageSize) {
    FillCircumferenceTable(circumference, size.width, size.height);
    undistortion.Setup(size.width, size.height, 0.7);
    for (uint32_t k = 0; k < FrameCount(size); ++k) {
      frames.push_back({BigEndianWords(ViewInCounts(size, k)),
                        BigEndianWords(ViewInCentikelvin(size, k)), Image(pixels)});
      scalar::ConvertCounts(steady, frames[k].counts, frames[k].image, false);
    }
    const Image& image = frames[0].image;
    zocam::scalar::WidenExtremes(image, Counted(), extremes);
    zocam::scalar::MapLinear(image, extremes, levels);
    zocam::scalar::kPainters.bgr32(levels, zocam::g_colTabIron, picture.data());
    bins = zocam::WholeBlocks(extremes);
    zocam::BinCounts binCounts{};
    zocam::scalar::CountBins(image, Counted(), bins, binCounts);
    segments = *zocam::BuildSegments(binCounts);
  }

  void TakeNextFrame() { frame = &frames[turn++ % frames.size()]; }
  CountedPixels Counted() const { return {{}, size.width, 0}; }
  CountedPixels Masked() const { return {weights, size.width, 0}; }
  void Paint(zocam::Painter painter) { painter(levels, zocam::g_colTabIron, picture.data()); }
  void Magnify(const StageTable& stages, uint32_t bytesPerPixel) {
    stages.magnify3({picture.data(), size.width, size.height, bytesPerPixel, 0}, magnified.data());
  }
  void LinearGain(const StageTable& stages, const Image& from) {
    Extremes found;
    stages.widenExtremes(from, Counted(), found);
    stages.mapLinear(from, found, levels);
  }
  void NonLinearGain(const StageTable& stages, const Image& from) {
    Extremes found;
    stages.widenExtremes(from, Counted(), found);
    const zocam::BinRange range = zocam::WholeBlocks(found);
    zocam::BinCounts binCounts{};
    stages.countBins(from, Counted(), range, binCounts);
    if (const auto made = zocam::BuildSegments(binCounts)) {
      stages.mapSegments(from, range, *made, levels);
    }
  }
  // Decoder A, undistortion and noise filter: out.
  void CorrectedImage(const StageTable& stages) {
    stages.convertCounts(steady, frame->counts, out, false);
    undistortion.Transform(scratch.data(), out.data());
    stages.filterNoise(scratch, out, size.width, size.height, kNoiseThreshold);
  }
};

struct Stage {
  const char* name;
  void (*run)(const StageTable& stages, Workspace& w);
};

using S = StageTable;
using W = Workspace;
constexpr Stage kStages[] = {
    {"byte swap",
     [](const S& s, W& w) { s.copyImageWords(w.frame->temperatures, w.out.data(), false); }},
    {"byte swap, upside down",
     [](const S& s, W& w) { s.copyImageWords(w.frame->temperatures, w.out.data(), true); }},
    {"circumference correction",
     [](const S& s, W& w) {
       s.correctCircumference(w.frame->counts, w.circumference, w.size.width, 2.5,
                              w.correctedCounts);
     }},
    {"counts to kelvin, steady",
     [](const S& s, W& w) { s.convertCounts(w.steady, w.frame->counts, w.out, false); }},
    {"counts to kelvin, start-up",
     [](const S& s, W& w) { s.convertCounts(w.startup, w.frame->counts, w.out, false); }},
    {"window correction of counts",
     [](const S& s, W& w) { s.correctWindowOfCounts(w.frame->image, w.out, kSensorKelvin); }},
    {"window correction of temperatures",
     [](const S& s, W& w) {
       s.correctWindowOfTemperatures(w.frame->temperatures, w.out, false, kResolution,
                                     kSensorKelvin, 0.0);
     }},
    {"drift correction",
     [](const S& s, W& w) {
       s.correctDrifts(w.frame->temperatures, w.out, false, w.drift, kResolution);
     }},
    // Through its owner, which knows the table; the level in use is the one that is measured.
    {"undistortion",
     [](const S&, W& w) { w.undistortion.Transform(w.out.data(), w.frame->image.data()); }},
    {"noise filter",
     [](const S& s, W& w) {
       s.filterNoise(w.frame->image, w.out, w.size.width, w.size.height, kNoiseThreshold);
     }},
    {"reflections: learning",
     [](const S& s, W& w) { s.accumulateKelvin(w.sums, w.frame->image, kResolution); }},
    {"reflections: correction",
     [](const S& s, W& w) { s.applyCorrections(w.frame->image, w.corrections); }},
    {"subtraction", [](const S& s, W& w) { s.subtractReference(w.frame->image, w.reference); }},
    {"extremes",
     [](const S& s, W& w) {
       Extremes found;
       s.widenExtremes(w.frame->image, w.Counted(), found);
       benchmark::DoNotOptimize(found);
     }},
    {"bins",
     [](const S& s, W& w) {
       zocam::BinCounts found{};
       s.countBins(w.frame->image, w.Counted(), w.bins, found);
       benchmark::DoNotOptimize(found);
     }},
    {"extremes under a mask",
     [](const S& s, W& w) {
       Extremes found;
       s.widenExtremes(w.frame->image, w.Masked(), found);
       benchmark::DoNotOptimize(found);
     }},
    {"bins under a mask",
     [](const S& s, W& w) {
       zocam::BinCounts found{};
       s.countBins(w.frame->image, w.Masked(), w.bins, found);
       benchmark::DoNotOptimize(found);
     }},
    {"levels, linear", [](const S& s, W& w) { s.mapLinear(w.frame->image, w.extremes, w.levels); }},
    {"levels, segments",
     [](const S& s, W& w) { s.mapSegments(w.frame->image, w.bins, w.segments, w.levels); }},
    {"levels, manual",
     [](const S& s, W& w) {
       s.mapManual(w.frame->image, {.low = 28914, .span = 3200}, zocam::kDisplayLevels, w.levels);
     }},
    {"linear gain, whole", [](const S& s, W& w) { w.LinearGain(s, w.frame->image); }},
    {"non-linear gain, whole", [](const S& s, W& w) { w.NonLinearGain(s, w.frame->image); }},
    {"paint grey 8 bit", [](const S& s, W& w) { w.Paint(s.painters->gray8); }},
    {"paint BGR 24 bit", [](const S& s, W& w) { w.Paint(s.painters->bgr24); }},
    {"paint RGB 24 bit", [](const S& s, W& w) { w.Paint(s.painters->rgb24); }},
    {"paint RGB 565", [](const S& s, W& w) { w.Paint(s.painters->rgb565); }},
    {"paint RGB 32 bit", [](const S& s, W& w) { w.Paint(s.painters->rgb32); }},
    {"paint BGR 32 bit", [](const S& s, W& w) { w.Paint(s.painters->bgr32); }},
    {"magnifier, 24 bit", [](const S& s, W& w) { w.Magnify(s, 3); }},
    {"magnifier, 32 bit", [](const S& s, W& w) { w.Magnify(s, 4); }},
    {"all stages of the linear chain",
     [](const S& s, W& w) {
       w.CorrectedImage(s);
       w.LinearGain(s, w.out);
       w.Paint(s.painters->bgr24);
     }},
    {"all stages of the non-linear chain",
     [](const S& s, W& w) {
       w.CorrectedImage(s);
       w.NonLinearGain(s, w.out);
       w.Paint(s.painters->bgr24);
     }},
};

// Made once: levels and repetitions then run on the same memory.
Workspace& WorkspaceOf(Size size) {
  static std::map<uint32_t, std::unique_ptr<Workspace>> made;
  auto& workspace = made[size.width];
  if (!workspace) workspace = std::make_unique<Workspace>(size);
  return *workspace;
}

void Run(benchmark::State& state, const Stage& stage, Size size, SimdLevel level) {
  ZoLib_Priv_ForceSimdLevel(static_cast<int32_t>(level));
  const StageTable& stages = *StagesOf(level);
  Workspace& workspace = WorkspaceOf(size);
  workspace.TakeNextFrame();
  stage.run(stages, workspace);  // brings large images into the cache
  for (auto _ : state) {
    workspace.TakeNextFrame();
    stage.run(stages, workspace);
    benchmark::ClobberMemory();
  }
}

// Whether it needs many runs in a row until its images are at home in the cache.
bool IsLong(const Stage& stage, Size size) {
  return size.width > kLarge.width && std::string_view(stage.name).starts_with("all stages");
}

}  // namespace

void RegisterStages() {
  for (const Size size : kSizes) {
    for (const Stage& stage : kStages) {
      for (const Level& level : kLevels) {
        if (StagesOf(level.level) == nullptr) continue;
        auto* made = benchmark::RegisterBenchmark(
            BenchmarkName("stage", stage.name, size, level.name).c_str(),
            [&stage, size, level](benchmark::State& state) {
              Run(state, stage, size, level.level);
            });
        if (IsLong(stage, size)) made->MinTime(0.1);
      }
    }
  }
}
