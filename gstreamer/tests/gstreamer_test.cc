// zocamsrc: the same images as the library's, in time, until the end or an error in plain words.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "zocam/zocam.hpp"

#include "gstreamer/tests/pipeline.h"
#include "sim/virtual_host.h"

namespace {

using namespace std::chrono_literals;
using zosim::Host;
using zosim::Pace;

constexpr int kFrames = 12;

class ZocamSrcTest : public testing::Test {
 protected:
  ZocamSrcTest()
      : folder_(std::filesystem::temp_directory_path() / ("zocamsrc-" + std::to_string(getpid()))) {
    std::filesystem::create_directories(folder_);
  }
  ~ZocamSrcTest() override { std::filesystem::remove_all(folder_); }

  void SetUp() override {
    Host().Reset();
    camera_ = Host().PlugCamera({.productId = 0x6103, .serialNumber = 42});
    camera_->SetPace(Pace::Manual());
  }
  void TearDown() override {
    EXPECT_EQ(Host().Live(), zosim::LiveCounts{}) << "something was left open";
    Host().Reset();
  }

  // Of the camera's moving scene, frames some 20 ms apart.
  std::string Film() {
    const std::string path = folder_ / "film.y4m";
    zocam::Device device = zocam::Device::OpenNode(camera_->DevicePath());
    device.StartQueue();
    zocam::Writer writer(device, path);
    for (int i = 0; i < kFrames; ++i) {
      EXPECT_TRUE(camera_->DeliverFrame());
      EXPECT_TRUE(camera_->WaitUntilConsumed());
      std::this_thread::sleep_for(20ms);
    }
    writer.Finish();
    return path;
  }

  void Deliver(int frames) {
    for (int i = 0; i < frames; ++i) {
      ASSERT_TRUE(camera_->DeliverFrame());
      ASSERT_TRUE(camera_->WaitUntilConsumed()) << "a slow pipeline holds up the camera";
      std::this_thread::sleep_for(10ms);
    }
  }

  // Delivers frames until the pipeline shows one.
  std::optional<Picture> Show(Pipeline& pipeline) {
    for (int i = 0; i < 50; ++i) {
      camera_->DeliverFrame();
      if (auto picture = pipeline.Pull(100ms)) return picture;
    }
    return std::nullopt;
  }

  const std::filesystem::path folder_;
  std::shared_ptr<zosim::VirtualCamera> camera_;
};

struct Kind {
  const char* properties;
  const char* format;
  uint32_t code;
};

TEST_F(ZocamSrcTest, ShowsEveryFrameOfARecordingAsTheLibraryDecodesIt) {
  const std::string path = Film();
  const Kind kinds[] = {
      {"", "GRAY16_LE", ZO_FMT_TEMP16},
      {"gain=nonlinear", "GRAY8", ZO_FMT_GRAY8 + ZO_GAIN_NONLINEAR},
      {"", "RGB", ZO_FMT_IRON_RGB24 + ZO_GAIN_LINEAR},
      {"palette=rainbow gain=manual range-low=10 range-high=30", "RGB", ZO_FMT_RAINBOW_RGB24},
  };
  for (const Kind& kind : kinds) {
    SCOPED_TRACE(std::string(kind.format) + " " + kind.properties);
    zocam::Recording film = zocam::Recording::OpenPassive(path);
    film.SetBgrOrder(false);
    film.SetDecodeRange({28315, 30315});
    film.StartQueue();
    Pipeline pipeline("location=" + path + " " + kind.properties, kind.format, "sync=false");
    ASSERT_TRUE(pipeline.Go(GST_STATE_PLAYING));
    while (const auto frame = film.NextFrame(0ms)) {
      const auto picture = pipeline.Pull();
      ASSERT_TRUE(picture);
      std::vector<uint8_t> expected(picture->bytes.size());
      frame->Render(kind.code, expected);
      ASSERT_EQ(picture->bytes, expected) << "frame " << frame->Stamp()->number;
      EXPECT_EQ(picture->time, frame->Stamp()->timeOffset.count() * GST_MSECOND);
      EXPECT_EQ(picture->duration, gst_util_uint64_scale(GST_SECOND, 30, 259));
      EXPECT_EQ(picture->number, frame->Stamp()->number);
      EXPECT_EQ(picture->offset, picture->number - 1);
      EXPECT_EQ(picture->resolution, ZoLib_GetLastTempResolution(film.Handle()));
      EXPECT_NE(picture->caps.find("width=(int)160, height=(int)120, framerate=(fraction)259/30"),
                std::string::npos)
          << picture->caps;
    }
    EXPECT_FALSE(pipeline.Pull());
    EXPECT_TRUE(pipeline.AtEnd());
  }
}

TEST_F(ZocamSrcTest, SeeksToTheFrameAtATimeAndTellsTheDuration) {
  const std::string path = Film();
  std::vector<std::pair<GstClockTime, uint64_t>> frames;
  {
    Pipeline all("location=" + path, "GRAY16_LE", "sync=false");
    ASSERT_TRUE(all.Go(GST_STATE_PLAYING));
    while (const auto picture = all.Pull()) frames.emplace_back(picture->time, picture->number);
  }
  ASSERT_EQ(frames.size(), kFrames);
  Pipeline pipeline("location=" + path, "GRAY16_LE", "sync=false");
  ASSERT_TRUE(pipeline.Go(GST_STATE_PAUSED));
  EXPECT_EQ(gst_element_get_state(pipeline.Bin(), nullptr, nullptr, 0), GST_STATE_CHANGE_SUCCESS)
      << "a recording shows its first frame before it plays";
  gint64 duration = 0;
  ASSERT_TRUE(gst_element_query_duration(pipeline.Bin(), GST_FORMAT_TIME, &duration));
  EXPECT_EQ(static_cast<GstClockTime>(duration),
            frames.back().first + gst_util_uint64_scale(GST_SECOND, 30, 259));
  ASSERT_TRUE(pipeline.Go(GST_STATE_PLAYING));
  for (const size_t i : {size_t{5}, size_t{11}, size_t{0}, size_t{10}}) {
    ASSERT_TRUE(gst_element_seek_simple(pipeline.Bin(), GST_FORMAT_TIME, GST_SEEK_FLAG_FLUSH,
                                        static_cast<gint64>(frames[i].first)));
    const auto picture = pipeline.Pull();
    ASSERT_TRUE(picture) << i;
    EXPECT_EQ(picture->number, frames[i].second);
    EXPECT_EQ(picture->time, frames[i].first);
  }
  EXPECT_FALSE(gst_element_seek(pipeline.Bin(), -1.0, GST_FORMAT_TIME, GST_SEEK_FLAG_FLUSH,
                                GST_SEEK_TYPE_SET, 0, GST_SEEK_TYPE_SET, duration));
}

TEST_F(ZocamSrcTest, ShowsACamerasNewestFrameInRunningTimeAndCountsTheOthers) {
  Pipeline pipeline("device=42", "GRAY16_LE", "max-buffers=1 sync=false");
  ASSERT_TRUE(pipeline.Go(GST_STATE_PLAYING));
  const auto first = Show(pipeline);
  ASSERT_TRUE(first);
  const zosim::FrameRecord record = camera_->LastFrame();
  {
    zocam::Device same = zocam::Device::OpenNode(camera_->DevicePath());
    const zocam::TemperatureImage image = same.ViewFrame(record.bytes).Temperatures();
    ASSERT_EQ(first->bytes.size(), image.values.size() * 2);
    EXPECT_EQ(std::memcmp(first->bytes.data(), image.values.data(), first->bytes.size()), 0);
    EXPECT_EQ(first->resolution, image.resolution);
  }
  // The sink holds one frame, the element's thread another: whatever comes now waits, or is lost.
  const uint64_t before = pipeline.Dropped();
  Deliver(10);
  EXPECT_GE(pipeline.Dropped() - before, 6u);
  GstClockTime last = first->time;
  uint64_t number = first->number;
  for (int i = 0; i < 3; ++i) {
    const auto picture = pipeline.Pull();
    ASSERT_TRUE(picture);
    EXPECT_GT(picture->time, last);
    EXPECT_GT(picture->number, number);
    last = picture->time;
    number = picture->number;
  }
  EXPECT_EQ(number, first->number + 10) << "the newest one was kept";
  // After a pause come the two that were on their way, neither the one that waited nor later ones.
  Deliver(4);
  ASSERT_TRUE(pipeline.Go(GST_STATE_PAUSED));
  const uint64_t untilPause = pipeline.Dropped();
  Deliver(3);
  EXPECT_EQ(pipeline.Dropped(), untilPause) << "a pause loses nothing";
  ASSERT_TRUE(pipeline.Go(GST_STATE_PLAYING));
  int shown = 0;
  while (pipeline.Pull(300ms)) ++shown;
  EXPECT_EQ(shown, 2);
  ASSERT_TRUE(Show(pipeline));
}

TEST_F(ZocamSrcTest, StopsAtOnceWhileNoFrameComesAndStartsAgain) {
  const std::string film = Film();
  Pipeline pipeline("", "RGB", "sync=false");
  for (int round = 0; round < 3; ++round) {
    ASSERT_TRUE(pipeline.Go(GST_STATE_PLAYING));
    ASSERT_TRUE(Show(pipeline)) << round;
    std::this_thread::sleep_for(50ms);
    const auto asked = std::chrono::steady_clock::now();
    ASSERT_TRUE(pipeline.Go(round == 1 ? GST_STATE_NULL : GST_STATE_READY));
    EXPECT_LT(std::chrono::steady_clock::now() - asked, 2s);
    EXPECT_FALSE(camera_->Streaming());
  }
  g_object_set(pipeline.Source(), "location", film.c_str(), nullptr);
  ASSERT_TRUE(pipeline.Go(GST_STATE_PLAYING));
  EXPECT_TRUE(pipeline.Pull()) << "a recording in the camera's place";
  ASSERT_TRUE(pipeline.Go(GST_STATE_READY));
  g_object_set(pipeline.Source(), "location", nullptr, nullptr);
  ASSERT_TRUE(pipeline.Go(GST_STATE_PLAYING));  // and goes away while it plays
}

TEST_F(ZocamSrcTest, TellsThatTheCameraVanished) {
  Pipeline pipeline("", "GRAY8", "sync=false");
  ASSERT_TRUE(pipeline.Go(GST_STATE_PLAYING));
  ASSERT_TRUE(Show(pipeline));
  camera_->Unplug();
  EXPECT_EQ(pipeline.Error(),
            "/dev/video0: the camera has vanished: device not ready (status 4); plug it in again, "
            "or wait until it has restarted");
  EXPECT_EQ(pipeline.errorCode, GST_RESOURCE_ERROR_READ);
  camera_->Plug();
  ASSERT_TRUE(pipeline.Go(GST_STATE_NULL));
  ASSERT_TRUE(pipeline.Go(GST_STATE_PLAYING));
  EXPECT_TRUE(Show(pipeline));
}

TEST_F(ZocamSrcTest, SaysInPlainWordsWhyItCannotStart) {
  const auto refusal = [](const std::string& properties, int code) {
    Pipeline pipeline(properties, "RGB");
    EXPECT_FALSE(pipeline.Go(GST_STATE_PLAYING)) << properties;
    std::string text = pipeline.Error();
    EXPECT_EQ(pipeline.errorCode, code) << properties << ": " << text;
    return text;
  };
  const std::string film = Film();
  EXPECT_EQ(refusal("device=43", GST_RESOURCE_ERROR_NOT_FOUND),
            "no camera has serial number 43; zocam list shows them");
  EXPECT_NE(refusal("location=/nowhere.y4m", GST_RESOURCE_ERROR_NOT_FOUND)
                .find("cannot open /nowhere.y4m: No such file or directory"),
            std::string::npos);
  const std::string text = folder_ / "text.y4m";
  std::ofstream(text) << "no recording";
  EXPECT_NE(refusal("location=" + text, GST_RESOURCE_ERROR_OPEN_READ).find(text),
            std::string::npos);
  EXPECT_NE(refusal("location=" + film + " reflection=/nowhere.zorc", GST_RESOURCE_ERROR_OPEN_READ)
                .find("cannot read /nowhere.zorc"),
            std::string::npos);
  const auto second = Host().PlugCamera({.productId = 0x6101, .serialNumber = 44});
  EXPECT_NE(refusal("", GST_RESOURCE_ERROR_NOT_FOUND).find("several cameras are connected"),
            std::string::npos);
  second->Unplug();
  {
    zocam::Device other = zocam::Device::OpenNode(camera_->DevicePath());
    other.StartQueue();
    EXPECT_NE(refusal("", GST_RESOURCE_ERROR_BUSY).find("another program"), std::string::npos);
  }
  camera_->DenyAccess(true);
  EXPECT_NE(refusal("", GST_RESOURCE_ERROR_NOT_FOUND).find("add yourself to group video"),
            std::string::npos);
  camera_->DenyAccess(false);
  camera_->Unplug();
  EXPECT_EQ(refusal("", GST_RESOURCE_ERROR_NOT_FOUND), "no camera is connected");
}

TEST_F(ZocamSrcTest, DecodesAsChosen) {
  const std::string path = Film();
  const auto first = [&](const std::string& properties) {
    Pipeline pipeline("location=" + path + " " + properties, "GRAY16_LE", "sync=false");
    EXPECT_TRUE(pipeline.Go(GST_STATE_PLAYING));
    return pipeline.Pull().value_or(Picture{}).bytes;
  };
  zocam::Recording film = zocam::Recording::OpenPassive(path);
  film.StartQueue();
  film.SetUpsideDown(true);
  film.SetNoiseFilter(false);
  film.SetUndistortion(true);
  const auto image = film.NextFrame(0ms)->Temperatures();
  const auto shown = first("upside-down=true noise-filter=0 undistortion=on");
  ASSERT_EQ(shown.size(), image.values.size() * 2);
  EXPECT_EQ(std::memcmp(shown.data(), image.values.data(), shown.size()), 0);
  EXPECT_NE(shown, first(""));
  EXPECT_NE(first("noise-filter=100"), first("noise-filter=0"));
}

}  // namespace
