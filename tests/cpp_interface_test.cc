// The C++ interface where it does more than call the C one: lifetimes, exceptions, queued frames.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

#include "zocam/zocam.hpp"

#include "sim/virtual_host.h"

namespace {

using namespace std::chrono_literals;
using zosim::Host;
using zosim::Pace;

class CppInterface : public testing::Test {
 protected:
  void SetUp() override {
    Host().Reset();
    camera_ = Host().PlugCamera({.productId = 0x6103, .serialNumber = 42});
    camera_->SetScene(zosim::Scene::Uniform(300.0));
    camera_->SetPace(Pace::Manual());
  }
  void TearDown() override {
    EXPECT_EQ(Host().Live(), zosim::LiveCounts{}) << "something was left open";
    Host().Reset();
  }
  std::shared_ptr<zosim::VirtualCamera> camera_;
};

TEST_F(CppInterface, ErrorsSayWhatFailedOnWhatAndWhy) {
  camera_->DenyAccess(true);
  try {
    zocam::Device::OpenNode("/dev/video0");
    FAIL();
  } catch (const zocam::Error& error) {
    EXPECT_STREQ(error.what(), "cannot open /dev/video0: Permission denied (status 13)");
    EXPECT_EQ(error.HostErrno(), EACCES);
  }
  EXPECT_THROW(zocam::FindDevices(), zocam::Error);
  camera_->DenyAccess(false);
  zocam::Device device = zocam::Device::OpenNode("/dev/video0");
  camera_->firmware().ScriptSensorError(-5);
  try {
    device.CommandRun(0x0248);
    FAIL();
  } catch (const zocam::Error& error) {
    EXPECT_STREQ(error.what(), "/dev/video0: the command failed: sensor error -5 (status 11)");
    EXPECT_EQ(error.HostErrno(), 0);
  }
}

TEST_F(CppInterface, FindsCamerasInOrderAndBySerialNumber) {
  const auto second = Host().PlugCamera({.productId = 0x6110, .serialNumber = 43});
  std::vector<zocam::Device> devices = zocam::FindDevices();
  ASSERT_EQ(devices.size(), 2u);
  EXPECT_EQ(devices[0].SerialNumber(), 42u);
  EXPECT_EQ(devices[1].ProductId(), 0x6110);
  EXPECT_EQ(devices[1].ProductName(), "Thermal Camera");
  devices.clear();
  EXPECT_EQ(zocam::Device::OpenSerial(43).Width(), 80u);
  EXPECT_THROW(zocam::Device::OpenSerial(44), zocam::Error);
  camera_->Unplug();
  second->Unplug();
  EXPECT_TRUE(zocam::FindDevices().empty());
}

TEST_F(CppInterface, AMovedDeviceKeepsItsStreamAndAReplacedOneEndsIts) {
  auto token = std::make_shared<int>();
  std::atomic<int> frames = 0;
  zocam::Device first = zocam::Device::OpenNode("/dev/video0");
  first.Start([&frames, token](const zocam::Frame&) { ++frames; });
  std::optional<zocam::Device> moved = std::move(first);
  ASSERT_TRUE(camera_->DeliverFrame());
  ASSERT_TRUE(camera_->WaitUntilConsumed());
  EXPECT_EQ(frames, 1);
  EXPECT_THROW(moved->Start({}), zocam::Error) << "one stream at a time";
  const auto other = Host().PlugCamera();
  *moved = zocam::Device::OpenNode(other->DevicePath());
  EXPECT_EQ(token.use_count(), 1) << "the callback outlived its stream";
  EXPECT_FALSE(camera_->Streaming());
}

TEST_F(CppInterface, AnExceptionOfTheCallbackComesOutOfStop) {
  zocam::Device device = zocam::Device::OpenNode("/dev/video0");
  int calls = 0;
  device.Start([&](const zocam::Frame&) {
    ++calls;
    device.Stop();  // refused: this is its own callback
  });
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(camera_->DeliverFrame());
    ASSERT_TRUE(camera_->WaitUntilConsumed());
  }
  EXPECT_NE(device.CallbackFailure(), nullptr);
  try {
    device.Stop();
    FAIL();
  } catch (const zocam::Error& error) {
    EXPECT_EQ(error.Status(), uint32_t{ZO_STATUS_INVALID_STATE});
  }
  EXPECT_EQ(calls, 1) << "the calls end with the first exception";
  device.StartQueue();
  EXPECT_NO_THROW(device.Stop());
}

TEST_F(CppInterface, AQueueKeepsTheNewestFramesAndCountsTheOthers) {
  zocam::Device device = zocam::Device::OpenNode("/dev/video0");
  EXPECT_THROW(device.NextFrame(0ms), zocam::Error);
  device.StartQueue(2);
  EXPECT_FALSE(device.NextFrame(20ms).has_value());
  for (double kelvin : {290.0, 300.0, 310.0}) {
    camera_->SetScene(zosim::Scene::Uniform(kelvin));
    ASSERT_TRUE(camera_->DeliverFrame());
    ASSERT_TRUE(camera_->WaitUntilConsumed());
  }
  EXPECT_EQ(device.DroppedFrames(), 1u);
  const auto older = device.NextFrame(1s);
  const auto newer = device.NextFrame(1s);
  ASSERT_TRUE(older && newer);
  // Decoded in turns, each copy shows its own image.
  EXPECT_NEAR(newer->Temperatures().Celsius(0), 310.0 - 273.15, 0.2);
  EXPECT_NEAR(older->Temperatures().Celsius(0), 300.0 - 273.15, 0.2);
  const zocam::Image picture = newer->Render(ZO_FMT_IRON_RGB24);
  EXPECT_EQ(picture.pixels.size(), 160u * 120u * 3u);
  EXPECT_THROW(older->Render(83), zocam::Error);

  std::thread unplug([&] { camera_->Unplug(); });
  EXPECT_THROW(device.NextFrame(10s), zocam::Error) << "waiting ends when the camera vanishes";
  unplug.join();
  EXPECT_NO_THROW(device.Stop());
}

}  // namespace
