// From a raw frame to what the application asked for: ZoLib_Decode and ZoLib_FinishDecode.
#include <benchmark/benchmark.h>

#include "bench/benchmarks.h"
#include "bench/views.h"

namespace {

enum class Switches { kDefaults, kUndistortAndFilter, kWindow };

struct Chain {
  const char* name;
  uint16_t product;
  uint32_t format;
  Switches switches = Switches::kDefaults;
  Regime regime = Regime::kSteady;
};

constexpr uint32_t kLinearIron = ZO_FMT_IRON_RGB24 + ZO_GAIN_LINEAR;
constexpr uint32_t kNonLinearIron = ZO_FMT_IRON_RGB24 + ZO_GAIN_NONLINEAR;
constexpr uint32_t kNonLinearRainbow = ZO_FMT_RAINBOW_RGB24 + ZO_GAIN_NONLINEAR;

constexpr Chain kChains[] = {
    {kLinearChain, 0x6102, kLinearIron, Switches::kUndistortAndFilter},
    {kLinearChain, 0x6100, kLinearIron, Switches::kUndistortAndFilter},
    {kNonLinearChain, 0x6102, kNonLinearIron, Switches::kUndistortAndFilter},
    {kNonLinearChain, 0x6100, kNonLinearIron, Switches::kUndistortAndFilter},
    {"0x6100 as it is, rainbow 24 bit", 0x6100, kNonLinearRainbow},
    {"0x6101 as it is, rainbow 24 bit", 0x6101, kNonLinearRainbow},
    {"0x6102 as it is, rainbow 24 bit", 0x6102, kNonLinearRainbow},
    {"0x6103 as it is, rainbow 24 bit", 0x6103, kNonLinearRainbow},
    {"0x6104 as it is, rainbow 24 bit", 0x6104, kNonLinearRainbow},
    {"0x6105 as it is, rainbow 24 bit", 0x6105, kNonLinearRainbow},
    {"0x6110 as it is, rainbow 24 bit", 0x6110, kNonLinearRainbow},
    {"0x6120 as it is, rainbow 24 bit", 0x6120, kNonLinearRainbow},
    {"0x6102 while it warms up, rainbow 24 bit", 0x6102, kNonLinearRainbow, Switches::kDefaults,
     Regime::kStartup},
    {"0x6102 behind a window, rainbow 24 bit", 0x6102, kNonLinearRainbow, Switches::kWindow},
    {"0x6103 behind a window, rainbow 24 bit", 0x6103, kNonLinearRainbow, Switches::kWindow},
    {"0x6103, raw words", 0x6103, ZO_FMT_RAW16},
    {"0x6103, temperatures", 0x6103, ZO_FMT_TEMP16},
    {"0x6103, linear gain, grey 8 bit", 0x6103, ZO_FMT_GRAY8 + ZO_GAIN_LINEAR},
    {"0x6103, manual gain, iron 24 bit", 0x6103, ZO_FMT_IRON_RGB24 + ZO_GAIN_MANUAL},
    {"0x6103, linear gain, iron 32 bit", 0x6103, ZO_FMT_IRON_RGB32 + ZO_GAIN_LINEAR},
    {"0x6103, non-linear gain, rainbow 565", 0x6103, ZO_FMT_RAINBOW_RGB565 + ZO_GAIN_NONLINEAR},
};

void SetSwitches(_ZoDev* dev, Switches switches) {
  switch (switches) {
    case Switches::kDefaults:
      break;
    case Switches::kUndistortAndFilter:
      ZoLib_SetCircumferenceCorrection(dev, 0);
      ZoLib_SetUndistortion(dev, 1);
      ZoLib_SetNoiseFilter(dev, 1);
      break;
    case Switches::kWindow:
      ZoLib_SetWindowCorrection(dev, 1);
      break;
  }
}

void Run(benchmark::State& state, const Chain& chain, SimdLevel level) {
  ZoLib_Priv_ForceSimdLevel(static_cast<int32_t>(level));
  const Handle camera = MakeCamera(chain.product);
  SetSwitches(camera.get(), chain.switches);
  std::vector<Bytes> frames;
  for (uint32_t k = 0; k < FrameCount(SizeOfImage(chain.product)); ++k) {
    frames.push_back(MakeRawFrame(camera, chain.regime, k));
  }
  Bytes out(4 * frames[0].size());
  std::size_t turn = 0;
  for (auto _ : state) {
    const Bytes& frame = frames[turn++ % frames.size()];
    const ZoStatus status = ZoLib_Decode(camera.get(), frame.data(), out.data(),
                                         static_cast<uint32_t>(out.size()), 0, chain.format);
    ZoLib_FinishDecode(camera.get());
    if (status != ZO_STATUS_OK) return state.SkipWithError(ZoLib_GetErrorMessage(status));
    benchmark::ClobberMemory();
  }
}

}  // namespace

void RegisterChains() {
  for (const Chain& chain : kChains) {
    for (const Level& level : kLevels) {
      if (StagesOf(level.level) == nullptr) continue;
      benchmark::RegisterBenchmark(
          BenchmarkName("chain", chain.name, SizeOfImage(chain.product), level.name).c_str(),
          [&chain, level](benchmark::State& state) { Run(state, chain, level.level); });
    }
  }
}
