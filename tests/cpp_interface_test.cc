// The C++ interface where it does more than call the C one: lifetimes, exceptions, queued frames.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
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
  EXPECT_EQ(zocam::Device::OpenSerial(43).Width(), 80u) << "behind a missing number";
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
  EXPECT_EQ(zocam::Magnify3(picture, 20).pixels.size(), 140u * 120u * 27u);
  EXPECT_TRUE(zocam::Magnify3(newer->Render(ZO_FMT_GRAY8)).pixels.empty());
  EXPECT_NEAR(newer->TryTemperatures()->Celsius(159, 119), 310.0 - 273.15, 0.2);
  EXPECT_THROW(older->Render(83), zocam::Error);

  std::thread unplug([&] { camera_->Unplug(); });
  EXPECT_THROW(device.NextFrame(10s), zocam::Error) << "waiting ends when the camera vanishes";
  unplug.join();
  EXPECT_NO_THROW(device.Stop());
}

class CppRecording : public CppInterface {
 protected:
  CppRecording()
      : folder_(std::filesystem::temp_directory_path() /
                ("zocam-cpp-" + std::to_string(getpid()))) {
    std::filesystem::create_directories(folder_);
  }
  ~CppRecording() override { std::filesystem::remove_all(folder_); }

  // Frame k of the file shows 300 + k kelvin.
  std::string Record(int frames) {
    const std::string path = folder_ / "film.y4m";
    zocam::Device device = zocam::Device::OpenNode("/dev/video0");
    device.StartQueue();
    zocam::Writer writer(device, path);
    for (int k = 1; k <= frames; ++k) {
      camera_->SetScene(zosim::Scene::Uniform(300.0 + k));
      EXPECT_TRUE(camera_->DeliverFrame());
      EXPECT_TRUE(camera_->WaitUntilConsumed());
    }
    EXPECT_NO_THROW(writer.CheckWritten());
    writer.Finish();
    return path;
  }
  static void ExpectFrame(const std::optional<zocam::FrameCopy>& frame, uint32_t number) {
    ASSERT_TRUE(frame.has_value());
    ASSERT_TRUE(frame->Stamp().has_value());
    EXPECT_EQ(frame->Stamp()->number, number);
    EXPECT_NEAR(frame->Temperatures().Celsius(0), 300.0 + number - 273.15, 0.2);
  }
  std::filesystem::path folder_;
};

TEST_F(CppRecording, GivesEveryFrameWithItsStampWhenPassive) {
  zocam::Recording film = zocam::Recording::OpenPassive(Record(3));
  EXPECT_EQ(film.LastFrameNumber(), 3u);
  EXPECT_GE(film.HeadDateTime().year, 2026);
  EXPECT_THROW(film.NextFrame(), zocam::Error) << "not started";
  EXPECT_THROW(film.Start([](const zocam::Frame&) {}), zocam::Error) << "nobody is called";
  film.StartQueue(1);
  for (uint32_t number = 1; number <= 3; ++number) ExpectFrame(film.NextFrame(), number);
  EXPECT_FALSE(film.NextFrame().has_value());
  EXPECT_TRUE(film.AtEnd());
  ASSERT_TRUE(film.Seek(0ms));
  const auto first = film.NextFrame();
  ExpectFrame(first, 1);
  EXPECT_EQ(first->Footer().size(), film.RawFrameBytes() - 160u * 120u * 2u);
  const zocam::Telemetry told = first->Telemetry();
  EXPECT_EQ(told.revision, film.TelemetryRevision());
  EXPECT_TRUE(told.IsCorrected());
  EXPECT_GT(told.time, told.ffcTime);
  EXPECT_NEAR(told.sensorKelvin, told.ffcSensorKelvin, 1.0);
  EXPECT_NEAR(told.housingKelvin, 295.0, 5.0);
  EXPECT_FALSE(zocam::Telemetry::Read({}).IsCorrected());
  EXPECT_FALSE(film.Seek(film.Length() + 1s));
  film.Stop();
  EXPECT_THROW(film.StartQueue(), zocam::Error) << "stopped for good";
}

TEST_F(CppRecording, PlaysIntoItsQueueAndLoopsFromAnotherThread) {
  zocam::Recording film = zocam::Recording::Open(Record(3));
  zocam::Recording moved = std::move(film);
  moved.SetSpeed(0.0);
  moved.StartQueue(8);
  for (int round = 0; round < 3; ++round) {
    for (uint32_t number = 1; number <= 3; ++number) ExpectFrame(moved.NextFrame(), number);
    EXPECT_FALSE(moved.NextFrame(10s).has_value()) << "the end is no time-out";
    ASSERT_TRUE(moved.AtEnd());
    ASSERT_TRUE(moved.Seek(0ms));
  }
}

TEST_F(CppRecording, KeepsOneGainForAllFrames) {
  zocam::Recording film = zocam::Recording::OpenPassive(Record(3));
  film.StartQueue();
  const auto level = [&] {
    return film.NextFrame()->Render(ZO_FMT_GRAY8 + ZO_GAIN_LINEAR).pixels[0];
  };
  film.ScanGain(false);
  film.SetSteadyGain(true);
  EXPECT_NEAR(level(), 0, 2) << "the coldest frame of all";
  EXPECT_NEAR(level(), 127, 3);
  EXPECT_NEAR(level(), 255, 2);
}

TEST_F(CppRecording, SaysWhyAFileCannotBeOpenedOrWritten) {
  const std::string path = Record(1);
  const auto message = [](auto call) -> std::string {
    try {
      call();
    } catch (const zocam::Error& error) {
      return error.what();
    }
    return "";
  };
  EXPECT_EQ(message([] { zocam::Recording::Open("/nowhere/a.y4m"); }),
            "cannot open /nowhere/a.y4m: No such file or directory (status 23)");
  zocam::Device device = zocam::Device::OpenNode("/dev/video0");
  EXPECT_EQ(message([&] { zocam::Writer(device, "/dev/full"); }),
            "/dev/video0: start the stream before recording it: invalid state (status 22)");
  device.StartQueue();
  EXPECT_EQ(message([&] { zocam::Writer(device, "/dev/full"); }),
            "cannot create /dev/full: No space left on device (status 23)");

  // A limit on file sizes stands for a full disk.
  zocam::Writer writer(device, path, 259, 30);
  const std::vector<uint8_t> frame = [&] {
    std::vector<uint8_t> bytes(device.RawFrameBytes());
    bytes[160 * 120 * 2 + 1] = device.TelemetryRevision();
    return bytes;
  }();
  writer.Add(frame);
  const rlimit limit{60000, RLIM_INFINITY};
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &limit);
  EXPECT_EQ(message([&] { writer.Add(frame); }),
            "cannot write " + path + ": File too large (status 23)");
  setrlimit(RLIMIT_FSIZE, &before);
  writer.Finish();
  EXPECT_EQ(zocam::Recording::Open(path).LastFrameNumber(), 1u);

  std::filesystem::resize_file(path, std::filesystem::file_size(path) + 39366);
  zocam::Recording film = zocam::Recording::Open(path);
  film.StartQueue();
  EXPECT_TRUE(film.NextFrame().has_value());
  EXPECT_EQ(message([&] { film.NextFrame(); }),
            path + ": cannot read on: invalid file format (status 24)");
}

}  // namespace
