// From the scene to the decoded image: what the library decodes from a virtual camera is the scene.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "sim/virtual_host.h"
#include "tests/handle.h"

namespace {

using zosim::CameraConfig;
using zosim::Host;

struct Decoder {
  std::vector<uint16_t> image;
  ZoStatus status = ZO_STATUS_NOT_YET;
  int32_t resolution = 0;

  static int OnFrame(_ZoDev* dev, uint8_t* frame, uint64_t, void* user) {
    auto* self = static_cast<Decoder*>(user);
    self->image.resize(std::size_t{ZoLib_GetFrameWidth(dev)} * ZoLib_GetFrameHeight(dev));
    self->status = ZoLib_Decode(dev, frame, self->image.data(),
                                static_cast<uint32_t>(self->image.size() * 2), 0, ZO_FMT_TEMP16);
    self->resolution = ZoLib_GetLastTempResolution(dev);
    ZoLib_FinishDecode(dev);
    return 0;
  }
};

// Farthest that any pixel of a few frames lies from the scene, in kelvin.
double WorstError(const CameraConfig& config) {
  Host().Reset();
  const auto camera = Host().PlugCamera(config);
  camera->SetPace(zosim::Pace::Manual());
  const Handle dev = OpenNode("/dev/video0");
  Decoder decoder;
  ZoLib_CaptureSetup(dev.get(), 0, Decoder::OnFrame, &decoder);
  ZoLib_SetCircumferenceCorrection(dev.get(), 0);
  ZoLib_SetUndistortion(dev.get(), 0);
  ZoLib_SetNoiseFilter(dev.get(), 0);
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
  double worst = 0.0;
  const uint32_t width = ZoLib_GetFrameWidth(dev.get());
  for (int i = 0; i < 4; ++i) {
    if (!camera->DeliverFrame() || !camera->WaitUntilConsumed()) return INFINITY;
    EXPECT_EQ(decoder.status, 0);
    const uint32_t time = camera->LastFrame().telemetry.time;
    for (uint32_t k = 0; k < decoder.image.size(); ++k) {
      const double kelvin = static_cast<double>(decoder.image[k]) / decoder.resolution;
      worst = std::max(worst, std::fabs(kelvin - camera->KelvinAt(time, k % width, k / width)));
    }
  }
  EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 0);
  return worst;
}

TEST(EndToEnd, EveryModelDecodesToItsSceneInEveryRegime) {
  for (uint16_t product : {0x6100, 0x6101, 0x6102, 0x6103, 0x6104, 0x6105, 0x6110, 0x61FF}) {
    for (uint32_t startMs : {4000U, 45000U, 61000U, 100000U, 700000U}) {
      EXPECT_LE(WorstError({.productId = product, .startTimeMs = startMs}), 0.05)
          << std::hex << product << " from " << std::dec << startMs << " ms";
    }
  }
  EXPECT_LE(WorstError({.productId = 0x6103, .fineResolution = false}), 0.1);
}

TEST(EndToEnd, ANoisyCameraIsOffByItsNoise) {
  const double worst = WorstError({.productId = 0x6103, .noiseKelvin = 0.5});
  EXPECT_GT(worst, 0.5) << "this test can see errors";
  EXPECT_LT(worst, 5.0);
}

}  // namespace
