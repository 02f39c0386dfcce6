// The zocam command: cameras, pictures, settings and what the terminal shows. What the launcher
// cannot stage is staged in this process, with the tool's own scan.
#include "tests/tool.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "sim/virtual_host.h"
#include "tools/node_scan.h"

namespace {

using std::filesystem::path;

TEST_F(Tool, ListsCamerasPastAGapAndSaysWhyOthersCannotBeUsed) {
  const std::string cameras =
      "-c 6103,serial=42 -n foreign -c 6110,firmware=0x0099 -n gap -c 6101,name= -c 6102,serial=7";
  const Outcome text = Zocam(cameras, "list");
  EXPECT_EQ(text.status, 0);
  EXPECT_TRUE(Has(text.out, "/dev/video0  0x6103  Thermal Camera  serial 42  firmware 1.10\n"));
  EXPECT_TRUE(Has(text.out, "firmware is older than 1.00"));
  EXPECT_FALSE(Has(text.out, "/dev/video1 ")) << "the metadata node is no camera";

  const auto json = nlohmann::json::parse(Zocam(cameras, "list --json").out);
  ASSERT_EQ(json["cameras"].size(), 2u);
  EXPECT_EQ(json["cameras"][0]["beyondLibraryScan"], false);
  EXPECT_EQ(json["cameras"][1]["serial"], "7");
  EXPECT_EQ(json["cameras"][1]["beyondLibraryScan"], true);
  ASSERT_EQ(json["refused"].size(), 2u);
  EXPECT_EQ(json["refused"][0]["node"], "/dev/video3");
  EXPECT_TRUE(Has(json["refused"][1]["reason"], "product name"));

  const Outcome none = Zocam("-n foreign", "list");
  EXPECT_EQ(none.status, 1);
  EXPECT_TRUE(Has(none.out, "No camera is connected"));
}

TEST_F(Tool, ExplainsWhatTheOperatingSystemRefuses) {
  struct Case {
    const char* expected;
    void (*stage)(zosim::VirtualCamera&);
  };
  const Case cases[] = {
      {"udev rule", [](zosim::VirtualCamera& camera) { camera.DenyAccess(true); }},
      {"another program",
       [](zosim::VirtualCamera& camera) { camera.FailStep(zosim::Step::kOpen, EBUSY); }},
      {"no answer", [](zosim::VirtualCamera& camera) { camera.FailTransfer(1, EPIPE); }},
  };
  for (const Case& one : cases) {
    zosim::Host().Reset();
    const auto working = zosim::Host().PlugCamera();
    const auto refused = zosim::Host().PlugCamera();
    one.stage(*refused);
    const NodeScan scan = ScanNodes();
    ASSERT_EQ(scan.cameras.size(), 1u) << one.expected;
    ASSERT_EQ(scan.refused.size(), 1u) << one.expected;
    EXPECT_EQ(scan.refused[0].node, refused->DevicePath());
    EXPECT_TRUE(Has(RefusalText(scan.refused[0]), one.expected)) << RefusalText(scan.refused[0]);
  }
  zosim::Host().Reset();
}

TEST_F(Tool, ChoosesTheCameraBySerialNumberOrNodeAndNeverGuesses) {
  const std::string two = "-c 6103,serial=42 -c 6110,serial=43";
  EXPECT_TRUE(Has(Zocam("-c 6110", "info").out, "0x6110"));
  EXPECT_TRUE(Has(Zocam(two, "info 43").out, "0x6110"));
  EXPECT_TRUE(Has(Zocam(two, "info 0x2a").out, "0x6103"));
  EXPECT_EQ(nlohmann::json::parse(Zocam(two, "info --json /dev/video2").out)["serial"], "43");
  const struct {
    const char* device;
    const char* expected;
  } failures[] = {
      {"", "several cameras"},         {"44", "serial number 44"},
      {"4x", "neither a serial"},      {"/dev/video1", "metadata node"},
      {"/dev/video9", "no such node"}, {"/nowhere", "No such file"},
  };
  for (const auto& failure : failures) {
    const Outcome outcome = Zocam(two, std::string("info ") + failure.device);
    EXPECT_EQ(outcome.status, 1) << failure.device;
    EXPECT_TRUE(Has(outcome.out, failure.expected)) << outcome.out;
  }
}

// Products with each kind of frames, at both temperature resolutions.
class Snapshot : public Tool, public testing::WithParamInterface<const char*> {};

TEST_P(Snapshot, KeepsTheMeasuredTemperatures) {
  constexpr double kKelvin = 301.5;
  const std::string camera = std::string("-c ") + GetParam() + ",fps=100,scene=uniform:301.5";
  const Outcome outcome =
      Zocam(camera, "snapshot --average 3 --raw16 " + File("v.png") + " --csv " + File("t.csv"));
  ASSERT_EQ(outcome.status, 0) << outcome.out;
  Png values = ReadPng(File("v.png"));
  EXPECT_EQ(values.bitDepth, 16);
  const double resolution = std::stod(values.texts.at("Resolution"));
  EXPECT_EQ(values.texts.at("Unit"), "1/" + values.texts.at("Resolution") + " K");
  std::ifstream csv(File("t.csv"));
  for (size_t y = 0; y < values.height; ++y) {
    for (size_t x = 0; x < values.width; ++x) {
      ASSERT_NEAR(values.Sample16(x, y) / resolution, kKelvin, 0.2) << x << ", " << y;
      double celsius = 0.0;
      csv >> celsius;
      csv.get();  // comma or line end
      ASSERT_NEAR(celsius + 273.15, values.Sample16(x, y) / resolution, 0.006);
    }
  }
}
INSTANTIATE_TEST_SUITE_P(Cameras, Snapshot,
                         testing::Values("6110", "6102", "6103", "6101,resolution=10"));

TEST_F(Tool, RendersTheMeanOfFramesLikeAFrame) {
  // Without noise the mean is the frame: a correction made twice, or none, would show.
  const std::string camera = "-c 6103,fps=100,noise=off,scene=gradient:290:310";
  for (const char* gain : {"manual", "linear", "nonlinear"}) {
    const std::string how = std::string("snapshot --gain ") + gain + " -o ";
    ASSERT_EQ(Zocam(camera, how + File("1.png")).status, 0);
    ASSERT_EQ(Zocam(camera, how + File("4.png") + " --average 4").status, 0);
    EXPECT_EQ(ReadPng(File("1.png")).rows, ReadPng(File("4.png")).rows) << gain;
  }
}

// The numbers of "min -0.52 K  max 0.61 K  centre 0.01 K".
std::vector<double> Numbers(const std::string& text) {
  std::vector<double> numbers;
  std::istringstream words(text);
  for (std::string word; words >> word;)
    if (word == "min" || word == "max" || word == "centre") {
      double number = NAN;
      words >> number;
      numbers.push_back(number);
    }
  return numbers;
}

void Store(const std::string& file, const std::string& bytes) {
  std::ofstream(file, std::ios::binary) << bytes;
}

// A NumPy file, version 1.0.
std::string Npy(const std::string& header, size_t dataBytes) {
  return std::string("\x93NUMPY\x01\x00", 8) + static_cast<char>(header.size()) + '\0' + header +
         std::string(dataBytes, '\x74');
}

TEST_F(Tool, DecodesAsChosen) {
  const std::string camera = "-c 6103,fps=100,noise=0.3,scene=gradient:290:310 ";
  const auto values = [&](const std::string& options) {
    EXPECT_EQ(Zocam(camera, "snapshot --raw16 " + File("v.png") + " " + options).status, 0);
    return ReadPng(File("v.png"));
  };
  const auto roughness = [](const Png& image) {
    int sum = 0;
    for (size_t y = 0; y < image.height; ++y)
      for (size_t x = 1; x < image.width; ++x)
        sum += std::abs(static_cast<int>(image.Sample16(x, y) - image.Sample16(x - 1, y)));
    return sum;
  };
  EXPECT_LT(roughness(values("--noise-filter 100")),
            roughness(values("--noise-filter off")) * 0.85);
  const Png turned = values("--upside-down");
  EXPECT_GT(turned.Sample16(0, 60), turned.Sample16(159, 60)) << "warm is right, turned it is left";
  const unsigned straight = values("--undistort on --average 20").Sample16(4, 4);
  EXPECT_GT(std::abs(values("--undistort off --average 20").Sample16(4, 4) - 1.0 * straight), 10);
  const Outcome raw = Zocam("-c 6110,fps=100", "snapshot --by-raw -o " + File("r.png"));
  EXPECT_FALSE(Has(raw.out, "C")) << raw.out;
  EXPECT_GT(Numbers(raw.out).at(0), 1000) << raw.out;
  EXPECT_EQ(Zocam(camera, "snapshot -o x --noise-filter 101").status, 2);
  EXPECT_EQ(Zocam(camera, "snapshot -o x --by-raw --subtract v.png").status, 2);
  EXPECT_TRUE(Has(Zocam(camera, "snapshot -o x --circumference on").out, "no circumference"));
}

TEST_F(Tool, SubtractsAReferenceInItsOwnUnit) {
  // In both units a camera has, and from the other one.
  const std::string fine = "-c 6101,fps=100,noise=off,scene=gradient:290:310,resolution=100";
  const std::string coarse = "-c 6101,fps=100,noise=off,scene=gradient:290:310,resolution=10";
  ASSERT_EQ(Zocam(fine, "snapshot --raw16 " + File("100.png")).status, 0);
  ASSERT_EQ(Zocam(coarse, "snapshot --raw16 " + File("10.png")).status, 0);
  for (const std::string& camera : {fine, coarse})
    for (const char* reference : {"100.png", "10.png"}) {
      const Outcome outcome = Zocam(
          camera, "snapshot --average 2 -o " + File("d.png") + " --subtract " + File(reference));
      ASSERT_EQ(outcome.status, 0) << outcome.out;
      EXPECT_TRUE(Has(outcome.out, " K")) << outcome.out;
      for (double kelvin : Numbers(outcome.out)) EXPECT_NEAR(kelvin, 0.0, 0.11) << outcome.out;
    }
  const Outcome warmer = Zocam("-c 6101,fps=100,noise=off,scene=gradient:292:312,resolution=10",
                               "snapshot --gain linear -o " + File("d.png") + " --raw16 " +
                                   File("d16.png") + " --subtract " + File("10.png"));
  for (double kelvin : Numbers(warmer.out)) EXPECT_NEAR(kelvin, 2.0, 0.11) << warmer.out;
  EXPECT_EQ(ReadPng(File("d16.png")).texts.at("Quantity"), "temperature difference");
  EXPECT_TRUE(Has(Zocam(fine, "watch --frames 2 --subtract " + File("100.png")).out, "e 0.00 K"));
}

TEST_F(Tool, SaysWhatIsWrongWithTheFilesItReads) {
  const std::string camera = "-c 6103,fps=100,noise=off";
  const std::string header = "{'descr': '<u2', 'fortran_order': False, 'shape': (120, 160), }\n";
  Store(File("good.npy"), Npy(header, 2 * 160 * 120));
  EXPECT_EQ(
      Zocam(camera, "snapshot -o " + File("p.png") + " --subtract " + File("good.npy")).status, 0);
  ASSERT_EQ(Zocam("-c 6101,fps=100", "snapshot --raw16 " + File("small.png")).status, 0);
  ASSERT_EQ(Zocam(camera, "snapshot --by-raw --raw16 " + File("counts.png")).status, 0);
  std::stringstream png;
  png << std::ifstream(File("counts.png"), std::ios::binary).rdbuf();
  const std::string u2 = "{'descr': '<u2', 'fortran_order': ";
  const struct {
    const char* file;
    const char* expected;
    std::string bytes;  // empty: the file is there, or is not to be
  } cases[] = {
      {"none.npy", "No such file", ""},
      {"small.png", "pixels, the camera's images", ""},
      {"counts.png", "\"counts\"", ""},
      {"p.png", "not 16-bit grey", ""},
      {"half.png", "PNG is damaged", png.str().substr(0, png.str().size() / 2)},
      {"text", "neither a PNG nor", "hello"},
      {"f8", "<f8", Npy("{'descr': '<f8', 'fortran_order': False, 'shape': (2, 2)}", 32)},
      {"columns", "column", Npy(u2 + "True, 'shape': (2, 2)}", 8)},
      {"flat", "dimensions", Npy(u2 + "False, 'shape': (8,)}", 16)},
      {"short", "bytes of values", Npy(header, 100)},
      {"number", "damaged", Npy(u2 + "False, 'shape': (99999999999999999999, 2", 8)},
      {"long", "damaged", std::string("\x93NUMPY\x02\x00\xff\xff\xff\xff", 12)},
      {"none.zorc", "cannot read", ""},
      {"short.zorc", "no reflection correction", "ZORC"},
      {"x.zorc", "no reflection correction", std::string(160 * 120 * 2 + 8, 'x')},
      {"0.zorc", "another model", "ZORC" + std::string(160 * 120 * 2 + 4, '\0')},
  };
  for (const auto& one : cases) {
    if (!one.bytes.empty()) Store(File(one.file), one.bytes);
    const char* option = Has(one.file, ".zorc") ? " --reflection " : " --subtract ";
    const Outcome outcome =
        Zocam(camera, "snapshot -o " + File("no.png") + option + File(one.file));
    EXPECT_EQ(outcome.status, 1) << one.file;
    EXPECT_TRUE(Has(outcome.out, one.expected)) << one.file << ": " << outcome.out;
  }
  EXPECT_FALSE(std::filesystem::exists(File("no.png")));
}

TEST_F(Tool, LearnsReflectionsAndTakesThemAway) {
  // A view that is not uniform stands for reflections: corrected, it is.
  const std::string camera = "-c 6102,fps=100,noise=off,scene=gradient:299:301";
  const Outcome made = Zocam(camera, "reflection make --frames 5 -o " + File("r.zorc"));
  ASSERT_EQ(made.status, 0) << made.out;
  EXPECT_TRUE(Has(made.out, "5 of 5 frames"));
  EXPECT_EQ(std::filesystem::file_size(File("r.zorc")), 160u * 120 * 2 + 8);
  const std::string how = " --noise-filter off --reflection " + File("r.zorc");
  for (const char* average : {"1", "3"}) {
    const Outcome outcome = Zocam(camera, "snapshot --gain manual --range 0:50 --no-bar -o " +
                                              File("flat.png") + " --average " + average + how);
    ASSERT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_LT(Numbers(outcome.out).at(1) - Numbers(outcome.out).at(0), 0.1) << outcome.out;
    const std::vector<uint8_t> row = ReadPng(File("flat.png")).rows[60];
    EXPECT_TRUE(std::equal(row.begin(), row.begin() + 3, row.end() - 3))
        << "applied twice to the mean of " << average;
  }
}

TEST_F(Tool, DrawsTheChosenRangeBesideThePicture) {
  const std::string camera = "-c 6103,fps=100,noise=off,scene=uniform:300 ";
  const std::string gray = "snapshot --format gray --gain manual --range 21.85:31.85 --scale 2 -o ";
  ASSERT_EQ(Zocam(camera, gray + File("bar.png")).status, 0);
  ASSERT_EQ(Zocam(camera, gray + File("bare.png") + " --no-bar").status, 0);
  const Png bare = ReadPng(File("bare.png"));
  EXPECT_EQ(bare.width, 320u);
  EXPECT_EQ(bare.height, 240u);
  EXPECT_NEAR(bare.rows[120][3 * 160], 127, 4) << "300 K lie in the middle of the range";
  // Down the scale: white to black, half way the grey of the picture.
  const Png withBar = ReadPng(File("bar.png"));
  ASSERT_GT(withBar.width, 340u);
  const size_t column = 3 * 336;
  EXPECT_GT(withBar.rows[26][column], 240);
  EXPECT_LT(withBar.rows[228][column], 12);
  EXPECT_NEAR(withBar.rows[126][column], 127, 8);
}

TEST_F(Tool, WaitsForTheFirstCorrectionAndTellsFramesOfAnotherModel) {
  const Outcome waited = Zocam("-c 6110,start=2.5,fps=100", "snapshot --csv " + File("t.csv"));
  EXPECT_EQ(waited.status, 0);
  EXPECT_TRUE(Has(waited.out, "waiting for the camera's first"));
  const Outcome foreign = Zocam("-c 6110,revision=14", "snapshot --csv " + File("u.csv"));
  EXPECT_EQ(foreign.status, 1);
  EXPECT_TRUE(Has(foreign.out, "telemetry revision"));
}

TEST_F(Tool, LeavesNoPartOfAFileThatCannotBeWritten) {
  for (const std::string& target : {std::string("/dev/full"), File("no/such/folder.png"),
                                    folder_.string(), std::string("/proc/nothing.png")}) {
    const Outcome outcome = Zocam("-c 6101,fps=100", "snapshot -o " + target);
    EXPECT_EQ(outcome.status, 1) << target;
    EXPECT_TRUE(Has(outcome.out, "cannot write " + target)) << outcome.out;
  }
  // A limit on file sizes ends the write in the middle, as a full disk does. The table takes 115
  // KB; the limit leaves room for what the virtual camera keeps in files.
  std::ofstream(File("kept.csv")) << "old";
  const Outcome full = Shell("trap '' XFSZ; ulimit -f 200; " ZOCAM_SIM
                             " -c 6103,fps=100 -- " ZOCAM_TOOL " snapshot --csv " +
                             File("kept.csv"));
  EXPECT_EQ(full.status, 1);
  EXPECT_TRUE(Has(full.out, "cannot write")) << full.out;
  std::stringstream kept;
  kept << std::ifstream(File("kept.csv")).rdbuf();
  EXPECT_EQ(kept.str(), "old");
  EXPECT_EQ(FileCount(), 1u) << "a temporary file was left";
  EXPECT_EQ(Zocam("-c 6101", "list >/dev/full").status, 1);
}

TEST_F(Tool, SendsCommandsWrittenInHexadecimal) {
  const Outcome got = Zocam("-c 6103", "command get 0200:0048 2");
  EXPECT_EQ(got.status, 0);
  EXPECT_EQ(got.out, "0000 0000\n");
  EXPECT_EQ(Zocam("-c 6103", "command set 4EC4 1 0").out, "done\n");
  EXPECT_EQ(Zocam("-c 6103", "command run 12345").status, 1);
  EXPECT_EQ(Zocam("-c 6103", "command set 4EC4").status, 2);
}

TEST_F(Tool, WatchesInATerminalOrIntoAPipeAndSaysWhenTheCameraIsGone) {
  const Outcome piped = Zocam("-c 6103,fps=50,scene=uniform:300", "watch --frames 3");
  EXPECT_EQ(piped.status, 0);
  EXPECT_TRUE(Has(piped.out, "\x1b[38;2;"));
  EXPECT_TRUE(Has(piped.out, "centre 26."));
  EXPECT_FALSE(Has(piped.out, "\x1b[?1049h")) << "a pipe has no screen to take over";
  const Outcome gone = Zocam("-c 6103,unplug=0.5", "watch");
  EXPECT_EQ(gone.status, 1);
  EXPECT_TRUE(Has(gone.out, "vanished")) << gone.out;
}

}  // namespace
