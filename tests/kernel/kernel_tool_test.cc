// The zocam command on the real UVC driver, in the virtual machine of tests/kernel/run.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "sim/model/scene.h"
#include "tests/kernel/emulated_cameras.h"
#include "tests/tool.h"
#include "tests/wait.h"

namespace {

using namespace std::chrono_literals;
using zosim::usb::EmulatedCameras;

constexpr double kZeroCelsius = 273.15;

Outcome Command(const std::string& arguments) { return Shell(ZOCAM_TOOL " " + arguments); }

using Table = std::vector<std::vector<double>>;

// The rows of a table of --csv, in degrees Celsius.
Table ReadTable(const std::string& path) {
  Table table;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    std::istringstream values(line);
    table.emplace_back();
    for (std::string value; std::getline(values, value, ',');) {
      table.back().push_back(std::stod(value));
    }
  }
  return table;
}

class KernelTool : public Tool, public testing::WithParamInterface<const char*> {};

TEST_P(KernelTool, ListsShowsAndRecordsWhatTheCameraSees) {
  const std::string camera =
      std::string(GetParam()) + ",scene=gradient:280:320,noise=off,barrel=off,serial=42";
  const EmulatedCameras cameras({"-c", camera});
  const Outcome list = Command("list");
  EXPECT_EQ(list.status, 0);
  EXPECT_TRUE(Has(list.out, "/dev/video0  0x" + std::string(GetParam()))) << list.out;

  const std::string snapshot = "snapshot 42 --noise-filter off --undistort off ";
  const Outcome picture = Command(snapshot + "-o " + File("p.png") + " --csv " + File("t.csv"));
  EXPECT_EQ(picture.status, 0) << picture.out;
  EXPECT_GT(ReadPng(File("p.png")).width, 320U);
  const Table table = ReadTable(File("t.csv"));
  ASSERT_GE(table.size(), 60U);
  const auto width = static_cast<uint32_t>(table[0].size());
  const auto scene = zosim::Scene::Gradient(280, 320, width);
  double worst = 0;
  for (size_t y = table.size() / 4; y < table.size() * 3 / 4; ++y) {
    for (uint32_t x = width / 4; x < width * 3 / 4; ++x) {  // where no model corrects a border
      worst = std::max(worst, std::fabs(table[y][x] + kZeroCelsius - scene.KelvinAt(0, x, 0)));
    }
  }
  EXPECT_LE(worst, 0.06);
  EXPECT_EQ(Zocam("-c " + camera, snapshot + "--csv " + File("v.csv")).status, 0);
  EXPECT_EQ(table, ReadTable(File("v.csv"))) << "the virtual camera's";

  const Outcome record = Command("record --frames 10 -o " + File("f.y4m"));
  EXPECT_EQ(record.status, 0) << record.out;
  const Outcome check = Command("check " + File("f.y4m"));
  EXPECT_TRUE(Has(check.out, "10 intact records")) << check.out;
  const Outcome watch = Command("watch --frames 3");
  EXPECT_EQ(watch.status, 0) << watch.out;
  EXPECT_TRUE(Has(watch.out, "\u2580")) << watch.out;
}

INSTANTIATE_TEST_SUITE_P(Cameras, KernelTool,
                         testing::Values("6101", "6102", "6103", "6110", "6120"),
                         [](const auto& test) { return std::string(test.param); });

using KernelRecorder = Tool;

TEST_F(KernelRecorder, SaysWhatIsSafeWhenTheCameraIsPulledOut) {
  const EmulatedCameras cameras({"-c", "6101"});
  Outcome record;
  std::thread recorder(
      [&] { record = Command("record --high-rate --seconds 60 -o " + File("f.y4m")); });
  EXPECT_TRUE(WaitFor([&] {
    std::error_code error;
    const auto size = std::filesystem::file_size(File("f.y4m"), error);
    return !error && size > 200'000;
  }));
  cameras.Ask("unplug 0");
  recorder.join();
  EXPECT_EQ(record.status, 1);
  EXPECT_TRUE(Has(record.out, "the camera has vanished")) << record.out;
  EXPECT_TRUE(Has(record.out, "safe is")) << record.out;
  EXPECT_EQ(Command("check " + File("f.y4m")).status, 0);

  cameras.Ask("plug 0");
  EXPECT_EQ(cameras.Node(), "/dev/video0");
  EXPECT_EQ(Command("snapshot -o " + File("p.png")).status, 0) << "it is found again";
}

}  // namespace
