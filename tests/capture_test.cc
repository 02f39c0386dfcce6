// Streaming from virtual cameras: frames, stops, cameras that vanish.
#include <gtest/gtest.h>
#include <linux/videodev2.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <mutex>
#include <thread>

#include "capture/capture_control.h"
#include "sim/virtual_host.h"
#include "tests/handle.h"
#include "tests/wait.h"

namespace {

using namespace std::chrono_literals;
using zosim::Host;
using zosim::Moment;
using zosim::Pace;

int ThreadCount() {
  return static_cast<int>(std::distance(std::filesystem::directory_iterator("/proc/self/task"),
                                        std::filesystem::directory_iterator()));
}

// What a frame callback saw, and what it does inside.
struct Receiver {
  std::atomic<uint64_t> frames = 0;
  std::atomic<uint64_t> length = 0;
  std::atomic<uint32_t> lastTime = 0;
  std::function<void(_ZoDev*)> inside;

  static int OnFrame(_ZoDev* dev, uint8_t* frame, uint64_t length, void* user) {
    auto* self = static_cast<Receiver*>(user);
    const uint8_t* footer = ZoLib_GetTelemetryData(dev, frame);
    self->lastTime = static_cast<uint32_t>(footer[2] << 8 | footer[3]);
    self->length = length;
    if (self->inside) self->inside(dev);
    ++self->frames;
    return 0;
  }
};

class Capture : public testing::Test {
 protected:
  void SetUp() override {
    Host().Reset();
    std::thread([] {}).join();  // a sanitizer starts its own thread with the first one
    threads_ = ThreadCount();
    camera = Host().PlugCamera({.productId = 0x6101});
    camera->SetPace(Pace::AsFastAsTaken());
    Open();
  }
  void TearDown() override {
    dev.reset();
    EXPECT_EQ(Host().Live(), zosim::LiveCounts{}) << "something leaks";
    EXPECT_TRUE(WaitFor([this] { return ThreadCount() == threads_; })) << "a thread is left";
  }
  void Open() {
    dev = OpenNode("/dev/video0");
    ASSERT_NE(dev, nullptr);
    EXPECT_EQ(ZoLib_CaptureSetup(dev.get(), 0, Receiver::OnFrame, &receiver), 0);
  }
  bool WaitForFrames(uint64_t more = 3) {
    const uint64_t goal = receiver.frames + more;
    return WaitFor([&] { return receiver.frames >= goal; });
  }
  // What the first call of this name was given.
  static std::array<uint32_t, 2> ArgumentsOf(const std::string& name) {
    for (const auto& entry : Host().Log()) {
      if (entry.name == name) return entry.arguments;
    }
    ADD_FAILURE() << name << " was never called";
    return {};
  }
  bool WaitUntilLost() {
    return WaitFor([this] { return ZoLib_GetDisconnected(dev.get()) != 0; });
  }

  std::shared_ptr<zosim::VirtualCamera> camera;
  Receiver receiver;
  Handle dev;

 private:
  int threads_ = 0;
};

TEST_F(Capture, NegotiatesTheRateByModel) {
  struct Rate {
    uint16_t product;
    uint32_t high, denominator;
  };
  for (const Rate& rate : {Rate{0x6100, 1, 10}, Rate{0x6101, 1, 10}, Rate{0x6101, 0, 30},
                           Rate{0x6100, 2, 30}, Rate{0x6102, 1, 30}}) {
    dev.reset();
    Host().Reset();
    camera = Host().PlugCamera({.productId = rate.product});
    Open();
    EXPECT_EQ(ZoLib_CaptureSetup(dev.get(), rate.high, nullptr, nullptr), 0);
    EXPECT_EQ(ZoLib_GetFrameRateNumerator(dev.get()), 259);
    EXPECT_EQ(ZoLib_GetFrameRateDenominator(dev.get()), rate.denominator);
    EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
    const bool large = rate.product == 0x6102;
    using Arguments = std::array<uint32_t, 2>;
    EXPECT_EQ(ArgumentsOf("VIDIOC_S_FMT"), (Arguments{large ? 160U : 80U, large ? 122U : 64U}));
    EXPECT_EQ(ArgumentsOf("VIDIOC_S_PARM"), (Arguments{rate.denominator, 259}));
    EXPECT_EQ(ArgumentsOf("VIDIOC_REQBUFS")[0], 2);
  }
}

TEST_F(Capture, HandsEachFrameOverAndStopsCleanly) {
  camera->SetPace(Pace::Manual());
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
    EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0) << "a second start is nothing new";
    for (int i = 0; i < 4; ++i) {
      ASSERT_TRUE(camera->DeliverFrame());
      ASSERT_TRUE(camera->WaitUntilConsumed());
      EXPECT_EQ(receiver.lastTime, camera->LastFrame().telemetry.time & 0xFFFF);
    }
    EXPECT_EQ(receiver.frames, 4 * (round + 1));
    EXPECT_EQ(receiver.length, 10240);
    EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 0);
    EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 0);
    EXPECT_EQ(ZoLib_GetDisconnected(dev.get()), 0);
    EXPECT_EQ(Host().Live().buffers, 0);
  }
  EXPECT_EQ(Host().CountOf("VIDIOC_STREAMON"), 3);
}

TEST_F(Capture, KeepsPollingThroughStallsAndStopsAtOnceInOne) {
  camera->SetStalled(true);
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
  std::this_thread::sleep_for(600ms);  // longer than one poll
  EXPECT_EQ(receiver.frames, 0);
  camera->SetStalled(false);
  EXPECT_TRUE(WaitForFrames());
  camera->SetStalled(true);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 490ms) << "the stop wakes the poll";
}

TEST_F(Capture, ShowsNobodyABufferMarkedAsError) {
  camera->SetPace(Pace::Manual());
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
  camera->SpoilFrames(2, zosim::Spoiled::kDelivered);
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(camera->DeliverFrame());
    ASSERT_TRUE(camera->WaitUntilConsumed());
  }
  EXPECT_EQ(receiver.frames, 1);
  EXPECT_EQ(ZoLib_GetDisconnected(dev.get()), 0);
}

TEST_F(Capture, RefusesTooFewOrTooSmallBuffers) {
  camera->LimitBuffers(1);
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 2);
  EXPECT_EQ(Host().Live().buffers, 0);
  camera->LimitBuffers(32);
  camera->SetBufferLength(10239);
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 13) << "a buffer that holds no whole frame";
  EXPECT_EQ(ZoLib_GetHostError(dev.get()), EINVAL);
  camera->SetBufferLength(12288);
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
  EXPECT_TRUE(WaitForFrames(1));
  EXPECT_EQ(receiver.length, 12288) << "the mapped length is handed on";
}

TEST_F(Capture, AnswersBusyWhileAnotherHandleStreams) {
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
  const Handle other = OpenNode("/dev/video0");
  EXPECT_EQ(ZoLib_CaptureStart(other.get()), 13);
  EXPECT_EQ(ZoLib_GetHostError(other.get()), EBUSY);
  uint32_t active = 0;
  EXPECT_EQ(ZoLib_GetActive(other.get(), &active), 0) << "commands still work";
  EXPECT_TRUE(WaitForFrames());
  EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 0);
  EXPECT_EQ(ZoLib_CaptureStart(other.get()), 0);
}

TEST_F(Capture, RefusesToEndItselfInsideItsCallback) {
  std::atomic<int> stop = -1, start = -1, reconnect = -1;
  receiver.inside = [&](_ZoDev* own) {
    start = static_cast<int>(ZoLib_CaptureStart(own));
    stop = static_cast<int>(ZoLib_CaptureStop(own));
    reconnect = static_cast<int>(ZoLib_Reconnect(own));
    ZoLib_CaptureRelease(own);
    ZoLib_Release(own);
  };
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
  EXPECT_TRUE(WaitForFrames());
  EXPECT_EQ(start, 0);
  EXPECT_EQ(stop, 22);
  EXPECT_EQ(reconnect, 22);
  EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 0);
}

TEST_F(Capture, LetsTheHookSeeEachFrameFirstAndForgetsTheCallbackOnRelease) {
  static std::atomic<uint64_t> hooked = 0;
  hooked = 0;
  ZoLib_Priv_OsDepSetPreProc(dev.get(), [](_ZoDev*, uint8_t*, uint64_t) { return ++hooked, 0; });
  std::atomic<bool> inOrder = true;
  receiver.inside = [&](_ZoDev*) { inOrder = inOrder && hooked == receiver.frames + 1; };
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
  EXPECT_TRUE(WaitForFrames());
  ZoLib_CaptureRelease(dev.get());
  EXPECT_TRUE(inOrder);
  const uint64_t before = receiver.frames;
  const uint64_t delivered = camera->FramesDelivered();
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
  EXPECT_TRUE(WaitFor([&] { return camera->FramesDelivered() > delivered + 3; }));
  EXPECT_EQ(receiver.frames, before);
}

TEST_F(Capture, NeedsNoCallback) {
  EXPECT_EQ(ZoLib_CaptureSetup(dev.get(), 0, nullptr, nullptr), 0);
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
  EXPECT_TRUE(WaitFor([this] { return camera->FramesDelivered() > 5; }));
}

// A camera that vanishes while streaming, at every moment and in both ways.
class VanishingCamera : public Capture,
                        public testing::WithParamInterface<std::tuple<int, zosim::UnplugMode>> {};

TEST_P(VanishingCamera, IsNoticedAndFullyLetGo) {
  const auto [moment, mode] = GetParam();
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
  ASSERT_TRUE(WaitForFrames());
  const auto unplug = [this, mode = mode] { camera->Unplug(mode); };
  switch (moment) {
    case 0:
      unplug();
      break;
    case 1:
      camera->At(Moment::kPollReady, unplug);
      break;
    case 2:
      camera->At(Moment::kBeforeDequeue, unplug);
      break;
    case 3:
      camera->At(Moment::kBeforeQueue, unplug);
      break;
    case 4:
      camera->SetStalled(true);
      camera->UnplugAfter(50, mode);
      break;
    default:
      FAIL();
  }
  ASSERT_TRUE(WaitUntilLost());
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 4);
  EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 4);
  EXPECT_EQ(ZoLib_CommandRun(dev.get(), 1, 0), 4);
  dev.reset();
  EXPECT_EQ(Host().Live(), zosim::LiveCounts{});
  camera->Plug();
  EXPECT_EQ(camera->NodeNumber(), 0) << "no number is pinned";
  camera->SetStalled(false);
  Open();
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
  EXPECT_TRUE(WaitForFrames());
}

INSTANTIATE_TEST_SUITE_P(AtEveryMoment, VanishingCamera,
                         testing::Combine(testing::Range(0, 5),
                                          testing::Values(zosim::UnplugMode::kPlain,
                                                          zosim::UnplugMode::kTransfersFailFirst)));

TEST_F(Capture, SurvivesAnUnplugInsideTheCallbackAndDuringAStop) {
  std::atomic<bool> unplugged = false;
  receiver.inside = [&](_ZoDev*) {
    if (!unplugged.exchange(true)) camera->Unplug();
  };
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
  ASSERT_TRUE(WaitUntilLost());
  EXPECT_EQ(ZoLib_Reconnect(dev.get()), 13) << "nobody is there to ask";
  EXPECT_EQ(Host().Live(), zosim::LiveCounts{});
  camera->Plug();
  Open();
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
  ASSERT_TRUE(WaitForFrames());
  camera->At(Moment::kBeforeStreamOff, [this] { camera->Unplug(); });
  EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 0);
}

TEST_F(Capture, LetsAnInvalidatedStreamGoOnRelease) {
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
  ASSERT_TRUE(WaitForFrames());
  ZoLib_Invalidate(dev.get());
  EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 4);
}

TEST_F(Capture, EndsACommandThatPollsWhenTheStreamSeesTheCameraGo) {
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
  ASSERT_TRUE(WaitForFrames());
  camera->firmware().ScriptBusy(zosim::kForever);
  camera->UnplugAfter(60);
  const ZoStatus status = ZoLib_CommandRun(dev.get(), 1, 0);
  EXPECT_TRUE(status == 13 || status == 10) << status;
}

TEST_F(Capture, LeaksNothingOverManyRounds) {
  dev.reset();
  for (int round = 0; round < 200; ++round) {
    Open();
    ASSERT_EQ(ZoLib_CaptureStart(dev.get()), 0);
    ASSERT_TRUE(WaitForFrames(1));
    if (round % 2 == 0) {
      camera->Unplug();
      ASSERT_TRUE(WaitUntilLost());
    } else if (round % 3 == 0) {
      ASSERT_EQ(ZoLib_CaptureStop(dev.get()), 0);
    }
    dev.reset();
    ASSERT_EQ(Host().Live(), zosim::LiveCounts{});
    camera->Plug();
  }
}

}  // namespace
