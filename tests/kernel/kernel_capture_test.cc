// Streaming through the real UVC driver, in the virtual machine of tests/kernel/run.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "sim/model/camera_model.h"
#include "sim/model/frame_stamp.h"
#include "tests/handle.h"
#include "tests/kernel/emulated_cameras.h"
#include "tests/wait.h"

namespace {

using namespace std::chrono_literals;
using zosim::FrameStamp;
using zosim::usb::EmulatedCameras;

constexpr char kFirstNode[] = "/dev/video0";
constexpr uint64_t kSerial = zosim::CameraConfig{}.serialNumber;

// Every frame that a handle received.
class Receiver {
 public:
  explicit Receiver(std::chrono::milliseconds slowness = 0ms) : slowness_(slowness) {}

  static int OnFrame(_ZoDev*, uint8_t* frame, uint64_t length, void* user) {
    auto* self = static_cast<Receiver*>(user);
    const auto before = zosim::ReadStamp({frame, length});
    std::this_thread::sleep_for(self->slowness_);
    const auto after = zosim::ReadStamp({frame, length});
    std::lock_guard lock(self->mutex_);
    if (!before || before != after) {
      ++self->damaged_;
    } else {
      self->stamps_.push_back(*before);
    }
    return 0;
  }

  std::vector<FrameStamp> stamps() const {
    std::lock_guard lock(mutex_);
    return stamps_;
  }
  size_t Count() const { return stamps().size(); }
  bool WaitForFrames(size_t more) const {
    const size_t goal = Count() + more;
    return WaitFor([&] { return Count() >= goal; }, 60s);
  }
  // Whole frames of one camera, none twice, none out of order.
  void ExpectFramesOf(uint64_t serial) const {
    std::lock_guard lock(mutex_);
    EXPECT_EQ(damaged_, 0U);
    for (size_t i = 0; i < stamps_.size(); ++i) {
      EXPECT_EQ(stamps_[i].camera, serial);
      if (i > 0) {
        EXPECT_GT(stamps_[i].number, stamps_[i - 1].number);
      }
    }
  }

 private:
  const std::chrono::milliseconds slowness_;
  mutable std::mutex mutex_;  // guards everything below
  std::vector<FrameStamp> stamps_;
  size_t damaged_ = 0;
};

Handle Start(const std::string& node, Receiver& receiver, bool highRate = false) {
  Handle dev = OpenNode(node.c_str());
  EXPECT_NE(dev, nullptr);
  if (dev == nullptr) return dev;
  EXPECT_EQ(ZoLib_CaptureSetup(dev.get(), highRate ? 1 : 0, Receiver::OnFrame, &receiver), 0U);
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0U);
  return dev;
}

// Time per frame as the driver has it, for whoever asks.
v4l2_fract IntervalOf(const std::string& node) {
  v4l2_streamparm parameters = {};
  parameters.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  const int file = open(node.c_str(), O_RDWR);
  EXPECT_EQ(ioctl(file, VIDIOC_G_PARM, &parameters), 0);
  close(file);
  return parameters.parm.capture.timeperframe;
}

struct Stream {
  const char* camera;
  bool highRate;
  bool isochronous;
};

class KernelStreams : public testing::TestWithParam<Stream> {};

TEST_P(KernelStreams, BringEveryFrameWholeAndInOrderUntilStopped) {
  std::vector<std::string> options = {"-c", GetParam().camera};
  if (GetParam().isochronous) options.emplace_back("--isochronous");
  const EmulatedCameras cameras(options);
  Receiver receiver;
  const Handle dev = Start(kFirstNode, receiver, GetParam().highRate);
  ASSERT_NE(dev, nullptr);
  const v4l2_fract interval = IntervalOf(kFirstNode);
  EXPECT_EQ(interval.numerator, GetParam().highRate ? 10U : 30U);
  EXPECT_EQ(interval.denominator, 259U);
  EXPECT_TRUE(receiver.WaitForFrames(20));
  EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 0U);
  const size_t count = receiver.Count();

  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0U) << "the stop gave everything back";
  EXPECT_TRUE(receiver.WaitForFrames(5));
  EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 0U);
  receiver.ExpectFramesOf(kSerial);
  // Two buffers are few for a busy machine, but a frame lost now and then is all it may cost.
  const auto stamps = receiver.stamps();
  EXPECT_LT(stamps[count - 1].number - stamps[0].number, 3 * count);
}

INSTANTIATE_TEST_SUITE_P(All, KernelStreams,
                         testing::Values(Stream{"6103", false, false}, Stream{"6101", true, false},
                                         Stream{"6101", false, false}, Stream{"6103", false, true},
                                         Stream{"6101", true, true}),
                         [](const auto& test) {
                           return std::string(test.param.camera) +
                                  (test.param.highRate ? "HighRate" : "NormalRate") +
                                  (test.param.isochronous ? "Isochronous" : "Bulk");
                         });

TEST(KernelCapture, OfTwoCamerasAtOnceKeepsThemApart) {
  const EmulatedCameras cameras({"-c", "6103,serial=11", "-c", "6101,serial=22"});
  Receiver first, second;
  const Handle large = Start(cameras.Node(0), first);
  const Handle small = Start(cameras.Node(1), second, true);
  EXPECT_TRUE(first.WaitForFrames(10));
  EXPECT_TRUE(second.WaitForFrames(20));
  cameras.Ask("unplug 0");
  EXPECT_TRUE(WaitFor([&] { return ZoLib_GetDisconnected(large.get()) == 1; }));
  EXPECT_TRUE(second.WaitForFrames(10)) << "the other one goes on";
  EXPECT_EQ(ZoLib_CaptureStop(small.get()), 0U);
  first.ExpectFramesOf(11);
  second.ExpectFramesOf(22);
}

TEST(KernelCapture, ShowsTheScene) {
  const EmulatedCameras cameras({"-c", "6103,scene=gradient:280:320,noise=off,barrel=off", "-c",
                                 "6100,scene=gradient:280:320,noise=off,falloff=off"});
  struct Decoder {
    std::mutex mutex;
    std::vector<double> kelvin;

    static int OnFrame(_ZoDev* dev, uint8_t* frame, uint64_t, void* user) {
      auto* self = static_cast<Decoder*>(user);
      std::vector<uint16_t> image(size_t{ZoLib_GetFrameWidth(dev)} * ZoLib_GetFrameHeight(dev));
      const auto status = ZoLib_Decode(dev, frame, image.data(),
                                       static_cast<uint32_t>(2 * image.size()), 0, ZO_FMT_TEMP16);
      const double resolution = ZoLib_GetLastTempResolution(dev);
      ZoLib_FinishDecode(dev);
      std::lock_guard lock(self->mutex);
      if (status != 0) return 0;
      self->kelvin.clear();
      for (const uint16_t word : image) self->kelvin.push_back(word / resolution);
      return 0;
    }
  };
  for (unsigned camera = 0; camera < 2; ++camera) {
    Decoder decoder;
    const Handle dev = OpenNode(cameras.Node(camera).c_str());
    ASSERT_NE(dev, nullptr);
    ZoLib_SetCircumferenceCorrection(dev.get(), 0);
    ZoLib_SetUndistortion(dev.get(), 0);
    ZoLib_SetNoiseFilter(dev.get(), 0);
    ZoLib_CaptureSetup(dev.get(), 0, Decoder::OnFrame, &decoder);
    EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0U);
    EXPECT_TRUE(WaitFor([&] {
      std::lock_guard lock(decoder.mutex);
      return !decoder.kelvin.empty();
    }));
    EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 0U);
    const uint32_t width = ZoLib_GetFrameWidth(dev.get());
    const auto scene = zosim::Scene::Gradient(280, 320, width);
    double worst = 0;
    for (uint32_t k = 0; k < decoder.kelvin.size(); ++k) {
      worst = std::max(worst, std::fabs(decoder.kelvin[k] - scene.KelvinAt(0, k % width, 0)));
    }
    EXPECT_LE(worst, 0.05) << "camera " << camera;
  }
}

TEST(KernelCapture, IsRecordedAndPlayedBackFrameForFrame) {
  const EmulatedCameras cameras({"-c", "6103"});
  const std::string path = std::filesystem::temp_directory_path() / "kernel_test.y4m";
  Receiver live, played;
  const Handle dev = OpenNode(kFirstNode);
  ASSERT_NE(dev, nullptr);
  ZoLib_CaptureSetup(dev.get(), 0, Receiver::OnFrame, &live);
  EXPECT_EQ(ZoLib_FileWriteSetup(dev.get(), path.c_str()), 0U);
  EXPECT_EQ(ZoLib_FileWriteStart(dev.get()), 0U);
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0U);
  EXPECT_TRUE(live.WaitForFrames(12));
  EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 0U);
  EXPECT_EQ(ZoLib_FileWriteStop(dev.get()), 0U);

  _ZoDev* reading = nullptr;
  const auto onEnd = [](_ZoDev*, void*) { return 0; };
  ASSERT_EQ(ZoLib_FileReadSetup(&reading, path.c_str(), Receiver::OnFrame, onEnd, &played), 0U);
  const Handle film(reading);
  ZoLib_SetFileReadSpeed(film.get(), 20.0);
  EXPECT_EQ(ZoLib_CaptureStart(film.get()), 0U);
  EXPECT_TRUE(WaitFor([&] { return ZoLib_GetFileReadEOF(film.get()) != 0; }));
  EXPECT_EQ(played.stamps(), live.stamps());
  std::filesystem::remove(path);
}

TEST(KernelCapture, WithASlowCallbackLosesFramesButMixesNone) {
  const EmulatedCameras cameras({"-c", "6101"});
  Receiver receiver(200ms);
  const Handle dev = Start(kFirstNode, receiver, true);
  EXPECT_TRUE(receiver.WaitForFrames(8));
  EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 0U);
  receiver.ExpectFramesOf(kSerial);
  const auto stamps = receiver.stamps();
  EXPECT_GT(stamps.back().number - stamps.front().number, stamps.size()) << "it was slow";
}

TEST(KernelCapture, EndsWhenTheCameraIsPulledOut) {
  for (const char* how : {"unplug 0", "unplug 0 failing"}) {
    const EmulatedCameras cameras({"-c", "6101"});
    Receiver receiver;
    Handle dev = Start(kFirstNode, receiver);
    EXPECT_TRUE(receiver.WaitForFrames(3));
    cameras.Ask(how);
    EXPECT_TRUE(WaitFor([&] { return ZoLib_GetDisconnected(dev.get()) == 1; })) << how;
    EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 4U);
    EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 4U);
    receiver.ExpectFramesOf(kSerial);

    dev.reset();
    EXPECT_TRUE(WaitFor([] { return zosim::usb::VideoNodeCount() == 0; }));
    cameras.Ask("plug 0");
    EXPECT_EQ(cameras.Node(), kFirstNode) << "nothing pins the old number";
    dev = Start(kFirstNode, receiver);
    EXPECT_TRUE(receiver.WaitForFrames(3)) << how;
  }
}

TEST(KernelCapture, SurvivesDamagedFramesAndBrokenTransfers) {
  const EmulatedCameras cameras({"-c", "6101"});
  Receiver receiver;
  const Handle dev = Start(kFirstNode, receiver, true);
  for (const char* how : {"short", "overlong", "marked"}) {
    EXPECT_TRUE(receiver.WaitForFrames(2));
    cameras.Ask("spoil 0 2 " + std::string(how));
    EXPECT_TRUE(receiver.WaitForFrames(5)) << how;
  }
  receiver.ExpectFramesOf(kSerial);

  cameras.Ask("break 0");
  std::this_thread::sleep_for(700ms);  // longer than one wait of the capture thread
  EXPECT_EQ(ZoLib_GetDisconnected(dev.get()), 0U) << "the camera is still there";
  EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 0U);
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0U);
  EXPECT_TRUE(receiver.WaitForFrames(3));
  receiver.ExpectFramesOf(kSerial);
}

TEST(KernelCapture, IsStoppedWhileNoFramesCome) {
  const EmulatedCameras cameras({"-c", "6101"});
  cameras.Ask("freeze 0");
  Receiver receiver;
  const Handle dev = Start(kFirstNode, receiver);
  std::this_thread::sleep_for(100ms);
  EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 0U);
  EXPECT_EQ(receiver.Count(), 0U);
  cameras.Ask("freeze 0 off");
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0U);
  EXPECT_TRUE(receiver.WaitForFrames(3));
}

TEST(KernelCapture, GoesOnDuringCommands) {
  const EmulatedCameras cameras({"-c", "6101"});
  Receiver receiver;
  const Handle dev = Start(kFirstNode, receiver, true);
  for (int i = 0; i < 20; ++i) {
    uint32_t active = 0;
    EXPECT_EQ(ZoLib_GetActive(dev.get(), &active), 0U);
    EXPECT_EQ(ZoLib_CommandRun(dev.get(), 0, 1), 0U);
  }
  EXPECT_TRUE(receiver.WaitForFrames(3));
  receiver.ExpectFramesOf(kSerial);
}

TEST(KernelCapture, OfOneNodeBelongsToOneHandle) {
  const EmulatedCameras cameras({"-c", "6101"});
  Receiver receiver, other;
  const Handle dev = Start(kFirstNode, receiver);
  const Handle second = OpenNode(kFirstNode);
  ASSERT_NE(second, nullptr);
  ZoLib_CaptureSetup(second.get(), 0, Receiver::OnFrame, &other);
  EXPECT_EQ(ZoLib_CaptureStart(second.get()), 13U);
  EXPECT_EQ(ZoLib_GetHostError(second.get()), static_cast<uint32_t>(EBUSY));
  EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 0U);
  EXPECT_EQ(ZoLib_CaptureStart(second.get()), 0U) << "now it is free";
  EXPECT_TRUE(other.WaitForFrames(3));
}

}  // namespace
