// The corrections against what they are made for: a virtual camera with the fault of each, and the
// scene as the truth. With its correction an image must lie nearer to the scene by a stated factor.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <vector>

#include "sim/virtual_host.h"
#include "tests/handle.h"

namespace {

using zosim::CameraConfig;
using zosim::Host;
using zosim::Scene;

// A camera that streams on demand into a handle whose corrections are all off.
class Watch {
 public:
  explicit Watch(const CameraConfig& config) {
    Host().Reset();
    camera_ = Host().PlugCamera(config);
    camera_->SetPace(zosim::Pace::Manual());
    dev_ = OpenNode("/dev/video0");
    ZoLib_CaptureSetup(dev(), 0, OnFrame, this);
    ZoLib_SetCircumferenceCorrection(dev(), 0);
    ZoLib_SetUndistortion(dev(), 0);
    ZoLib_SetNoiseFilter(dev(), 0);
    EXPECT_EQ(ZoLib_CaptureStart(dev()), 0);
  }
  ~Watch() { EXPECT_EQ(ZoLib_CaptureStop(dev()), 0); }

  _ZoDev* dev() { return dev_.get(); }
  void SetScene(Scene scene) { camera_->SetScene(std::move(scene)); }

  // Mean distance of the next frames' pixels from the scene, in kelvin; the reference body is no
  // part of it.
  double MeanError(int frames = 3) {
    double sum = 0.0;
    size_t count = 0;
    const uint32_t width = ZoLib_GetFrameWidth(dev());
    for (int i = 0; i < frames; ++i) {
      status_ = ZO_STATUS_NOT_YET;
      if (!camera_->DeliverFrame() || !camera_->WaitUntilConsumed()) return NAN;
      EXPECT_EQ(status_, 0);
      const uint32_t time = camera_->LastFrame().telemetry.time;
      for (uint32_t k = 0; k < image_.size(); ++k) {
        if (k % width < ZoLib_GetRefTempRegion(dev())) continue;
        const double kelvin = static_cast<double>(image_[k]) / resolution_;
        sum += std::fabs(kelvin - camera_->KelvinAt(time, k % width, k / width));
        ++count;
      }
    }
    return sum / static_cast<double>(count);
  }

 private:
  static int OnFrame(_ZoDev* dev, uint8_t* frame, uint64_t, void* user) {
    auto* self = static_cast<Watch*>(user);
    self->image_.resize(std::size_t{ZoLib_GetFrameWidth(dev)} * ZoLib_GetFrameHeight(dev));
    self->status_ = ZoLib_Decode(dev, frame, self->image_.data(),
                                 static_cast<uint32_t>(self->image_.size() * 2), 0, ZO_FMT_TEMP16);
    self->resolution_ = ZoLib_GetLastTempResolution(dev);
    ZoLib_FinishDecode(dev);
    return 0;
  }

  std::shared_ptr<zosim::VirtualCamera> camera_;
  Handle dev_;
  std::vector<uint16_t> image_;
  ZoStatus status_ = ZO_STATUS_NOT_YET;
  int32_t resolution_ = 1;
};

// How many times nearer to the scene the camera's image is after `correct`.
double TimesNearer(const CameraConfig& config, const std::function<void(Watch&)>& correct,
                   const std::function<void(Watch&)>& prepare = {}, int frames = 3) {
  double errors[2];
  for (bool corrected : {false, true}) {
    Watch watch(config);
    if (prepare) prepare(watch);
    if (corrected) correct(watch);
    errors[corrected ? 1 : 0] = watch.MeanError(frames);
  }
  return errors[0] / errors[1];
}

TEST(Corrections, TheNoiseFilterTakesNoiseAndLeavesTheScene) {
  const auto filter = [](Watch& watch) { ZoLib_SetNoiseFilter(watch.dev(), 1); };
  const auto uniform = [](Watch& watch) { watch.SetScene(Scene::Uniform(300.0)); };
  for (uint16_t product : {0x6101, 0x6103, 0x6110}) {
    const CameraConfig config = {.productId = product, .startTimeMs = 100000, .noiseKelvin = 0.2};
    EXPECT_GT(TimesNearer(config, filter, uniform), 2.0) << std::hex << product;
    // Bodies have edges, and in the small image more of it is edge.
    EXPECT_GT(TimesNearer(config, filter), 1.4) << std::hex << product << " in the room";
  }
}

TEST(Corrections, UndistortionPutsThingsInTheirPlaces) {
  const auto undistort = [](Watch& watch) { ZoLib_SetUndistortion(watch.dev(), 1); };
  const auto grid = [](Watch& watch) {
    watch.SetScene(Scene::From([](double, double x, double y) {
      return 300.0 + 5.0 * std::sin(0.25 * x) * std::cos(0.25 * y);
    }));
  };
  for (uint16_t product : {0x6103, 0x6101}) {  // both image sizes have a strength of their own
    const CameraConfig config = {.productId = product, .barrelDistortion = true};
    EXPECT_GT(TimesNearer(config, undistort, grid), 10.0) << std::hex << product;
    EXPECT_GT(TimesNearer(config, undistort), 10.0) << std::hex << product << " in the room";
  }
}

TEST(Corrections, CircumferenceCorrectionGivesTheBorderItsCounts) {
  const auto correct = [](Watch& watch) { ZoLib_SetCircumferenceCorrection(watch.dev(), 1); };
  for (uint32_t startMs : {20000U, 61000U, 100000U, 700000U}) {
    const CameraConfig config = {
        .productId = 0x6110, .startTimeMs = startMs, .borderFallOff = true};
    EXPECT_GT(TimesNearer(config, correct), 10.0) << startMs;
  }
}

TEST(Corrections, ReflectionsLearntFromAWallAreTakenFromTheRoom) {
  const auto learn = [](Watch& watch) {
    watch.SetScene(Scene::Uniform(300.0));
    ASSERT_EQ(ZoLib_ReflectCorrGenStart(watch.dev()), 0);
    watch.MeanError(8);
    uint16_t* image = nullptr;
    uint32_t size = 0;
    ASSERT_EQ(ZoLib_ReflectCorrGenStop(watch.dev(), &image, &size), 0);
    EXPECT_EQ(ZoLib_SetReflectCorrData(watch.dev(), image, size), 0);
    ZoLib_ReflectCorrDataRelease(image);
    watch.SetScene(
        Scene::Room(ZoLib_GetFrameWidth(watch.dev()), ZoLib_GetFrameHeight(watch.dev())));
  };
  for (uint16_t product : {0x6101, 0x6103, 0x6110}) {
    const CameraConfig config = {
        .productId = product, .startTimeMs = 100000, .noiseKelvin = 0.01, .reflectionKelvin = 1.5};
    EXPECT_GT(TimesNearer(config, learn), 30.0) << std::hex << product;
  }
}

// The reference body brings back what drifts; the words of the frame are the image before that.
TEST(Corrections, TheReferenceBodyBringsBackTheDrift) {
  struct Case {
    const char* when;
    uint32_t startMs;
    uint16_t stretchFlag;
    double timesNearer;
  };
  const Case cases[] = {{"cold start", 15000, 0, 20.0},
                        {"cold start, nothing compressed", 15000, 1, 20.0},
                        {"across an FFC", 58000, 0, 20.0},
                        {"long after an FFC", 150000, 0, 20.0},
                        {"long after an FFC, nothing compressed", 150000, 1, 20.0},
                        {"warm camera", 400000, 1, 20.0},
                        {"warm camera, across an FFC", 418000, 1, 5.0}};
  const auto words = [](Watch& watch) { ZoLib_SetColorizeByRaw(watch.dev(), 1); };
  for (const Case& drift : cases) {
    CameraConfig config = {.productId = 0x6120, .startTimeMs = drift.startMs};
    config.stretchFlag = drift.stretchFlag;
    config.referenceDrift = true;
    EXPECT_LT(TimesNearer(config, words, {}, 40), 1.0 / drift.timesNearer) << drift.when;
  }
}

// As a handle comes, with everything that its product has wrong: no correction is in another's way.
TEST(Corrections, EveryModelsOwnSettingsTogetherComeNearTheScene) {
  for (uint16_t product : {0x6100, 0x6103, 0x6110, 0x6120}) {
    const CameraConfig config = {.productId = product,
                                 .startTimeMs = 100000,
                                 .noiseKelvin = 0.1,
                                 .borderFallOff = true,
                                 .barrelDistortion = product == 0x6103,
                                 .referenceDrift = true};
    Watch watch(config);
    const Handle fresh = OpenNode("/dev/video0");
    ZoLib_SetCircumferenceCorrection(watch.dev(), ZoLib_GetCircumferenceCorrection(fresh.get()));
    ZoLib_SetUndistortion(watch.dev(), ZoLib_GetUndistortion(fresh.get()));
    ZoLib_SetNoiseFilter(watch.dev(), ZoLib_GetNoiseFilter(fresh.get()));
    EXPECT_LT(watch.MeanError(12), 0.08) << std::hex << product;
  }
}

}  // namespace
