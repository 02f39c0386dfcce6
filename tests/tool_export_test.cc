// The zocam command: turning recordings into pictures, tables, arrays and video.
#include <tiffio.h>

#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <vector>

#include "zocam/zocam.hpp"

#include "sim/virtual_host.h"
#include "tests/tool.h"

namespace {

constexpr size_t kWidth = 160, kHeight = 120;
constexpr size_t kHeaderBytes = 366, kMarkerBytes = 6;

Outcome ZocamAlone(const std::string& arguments) { return Shell(ZOCAM_TOOL " " + arguments); }

std::string Contents(const std::filesystem::path& file) {
  std::stringstream text;
  text << std::ifstream(file, std::ios::binary).rdbuf();
  return text.str();
}

// A column of numbers in a table.
std::vector<double> Column(const std::filesystem::path& table, int column) {
  std::istringstream lines(Contents(table));
  std::vector<double> values;
  std::string line, cell;
  std::getline(lines, line);
  while (std::getline(lines, line)) {
    std::istringstream cells(line);
    for (int i = 0; i <= column; ++i) std::getline(cells, cell, ',');
    values.push_back(std::stod(cell));
  }
  return values;
}

class Export : public Tool {
 protected:
  // Frame k of 1 ... frames shows the scene of k at k - 1 tenths of a second.
  std::string Record(int frames, const std::function<zosim::Scene(int)>& scene,
                     const zosim::CameraConfig& config = {}) {
    zosim::Host().Reset();
    const auto camera = zosim::Host().PlugCamera(config);
    camera->SetPace(zosim::Pace::Manual());
    {
      zocam::Device device = zocam::Device::OpenNode("/dev/video0");
      device.StartQueue();
      trailer_ = kMarkerBytes + device.RawFrameBytes();
      recordBytes_ = trailer_ + 2 * device.Width();
      zocam::Writer writer(device, film_);
      for (int k = 1; k <= frames; ++k) {
        camera->SetScene(scene(k));
        EXPECT_TRUE(camera->DeliverFrame());
        EXPECT_TRUE(camera->WaitUntilConsumed());
      }
      writer.Finish();
    }
    zosim::Host().Reset();
    for (int k = 0; k < frames; ++k) Stamp(k, 100 * k, k + 1);
    return film_;
  }
  std::string RecordWarming(int frames) {
    return Record(frames, [](int k) {
      return zosim::Scene::From([k](double, double x, double y) {
        if (x < 50) return 300.0;
        return x < 100 ? 303.0 + y / 100 : 303.0 + k;
      });
    });
  }
  void Stamp(int record, uint64_t time, uint32_t number) {
    Patch(record, trailer_, &time, 8);
    Patch(record, trailer_ + 8, &number, 4);
  }
  void Patch(int record, size_t offset, const void* bytes, size_t count) {
    std::fstream file(film_, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(kHeaderBytes + record * recordBytes_ + offset));
    file.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(count));
  }
  // What a snapshot of the frame at that time says.
  Png SnapshotAt(const std::string& time, const std::string& options = "") {
    const Outcome outcome = ZocamAlone("snapshot " + film_ + " --at " + time + " --raw16 " +
                                       File("snapshot.png") + " " + options);
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    return ReadPng(File("snapshot.png"));
  }
  // A program named ffmpeg, and the start of a command that finds only it.
  std::string WithStub(const std::string& script) {
    std::filesystem::create_directory(File("bin"));
    const std::string stub = File("bin/ffmpeg");
    std::ofstream(stub) << "#!/bin/sh\n" << script << "\n";
    std::filesystem::permissions(stub, std::filesystem::perms::owner_all);
    return "PATH=" + File("bin") + ":$PATH ";
  }

  std::string film_;
  size_t trailer_ = 0, recordBytes_ = 0;
  void SetUp() override {
    Tool::SetUp();
    film_ = File("film.y4m");
  }
};

TEST_F(Export, ValuesAreThoseOfSnapshotsInEveryKindOfFile) {
  const std::string film = RecordWarming(4);
  ASSERT_TRUE(Has(ZocamAlone("export " + film + " --upside-down -o " + File("all.npy")).out,
                  File("all.npy") + ": 4 frames ("));
  const Png third = SnapshotAt("0.2", "--upside-down");
  const std::string npy = Contents(File("all.npy"));
  ASSERT_EQ(npy.size(), 128 + 4 * kWidth * kHeight * 2);
  EXPECT_TRUE(Has(npy.substr(0, 128), "'shape': (4, 120, 160)"));
  const auto value = [&](size_t frame, size_t x, size_t y) {
    uint16_t sample = 0;
    std::memcpy(&sample, &npy[128 + 2 * ((frame * kHeight + y) * kWidth + x)], 2);
    return sample;
  };
  for (size_t y = 0; y < kHeight; ++y)
    for (size_t x = 0; x < kWidth; ++x) ASSERT_EQ(value(2, x, y), third.Sample16(x, y)) << x;

  const auto json = nlohmann::json::parse(Contents(File("all.json")));
  EXPECT_EQ(json["camera"]["product"], "0x6103");
  EXPECT_EQ(json["source"], "film.y4m");
  EXPECT_EQ(json["quantity"], "temperature");
  EXPECT_EQ(json["resolution"], std::stoi(third.texts.at("Resolution")));
  ASSERT_EQ(json["frames"].size(), 4u);
  EXPECT_EQ(json["frames"][2]["number"], 3);
  EXPECT_DOUBLE_EQ(json["frames"][2]["time"], 0.2);
  EXPECT_EQ(json["frames"][2]["date"], third.texts.at("Creation Time"));

  for (const char* kind : {"png", "tiff"})
    ASSERT_EQ(ZocamAlone("export " + film + " --upside-down --raw16 " + kind + " -o " + File(kind))
                  .status,
              0);
  EXPECT_EQ(ReadPng(File("png/frame-000003.png")).rows, third.rows);
  TIFF* tiff = TIFFOpen(File("tiff/frame-000003.tiff").c_str(), "r");
  ASSERT_NE(tiff, nullptr);
  char* description = nullptr;
  TIFFGetField(tiff, TIFFTAG_IMAGEDESCRIPTION, &description);
  EXPECT_TRUE(Has(description, third.texts.at("Description"))) << description;
  char* date = nullptr;
  TIFFGetField(tiff, TIFFTAG_DATETIME, &date);
  std::string expected = third.texts.at("Creation Time").substr(0, 19);
  expected[4] = expected[7] = ':';
  expected[10] = ' ';
  EXPECT_EQ(date, expected);
  std::vector<uint16_t> row(kWidth);
  for (size_t y = 0; y < kHeight; ++y) {
    ASSERT_EQ(TIFFReadScanline(tiff, row.data(), static_cast<uint32_t>(y), 0), 1);
    for (size_t x = 0; x < kWidth; ++x) ASSERT_EQ(row[x], third.Sample16(x, y)) << x;
  }
  TIFFClose(tiff);
}

TEST_F(Export, TablesShowRegionsInTheOrderOfTheOptions) {
  const std::string film = RecordWarming(3);
  const std::string table =
      "export " + film + " --noise-filter off --undistort off -o " + File("t.csv") + " ";
  ASSERT_EQ(ZocamAlone(table + "--spot 10,20 --spot 150,20 --area 60,0,2,101").status, 0);
  std::istringstream lines(Contents(File("t.csv")));
  std::string line;
  std::getline(lines, line);
  EXPECT_EQ(line,
            "frame,seconds,date,\"spot 10,20\",\"spot 150,20\",\"area 60,0,2,101 min\","
            "\"area 60,0,2,101 max\",\"area 60,0,2,101 mean\"");
  for (int k = 1; k <= 3; ++k) {
    ASSERT_TRUE(std::getline(lines, line));
    double seconds, cold, warm, low, high, mean;
    int number;
    char date[32];
    ASSERT_EQ(std::sscanf(line.c_str(), "%d,%lf,%31[^,],%lf,%lf,%lf,%lf,%lf", &number, &seconds,
                          date, &cold, &warm, &low, &high, &mean),
              8)
        << line;
    EXPECT_EQ(number, k);
    EXPECT_NEAR(seconds, (k - 1) / 10.0, 1e-9);
    EXPECT_NEAR(cold + 273.15, 300.0, 0.05);
    EXPECT_NEAR(warm + 273.15, 303.0 + k, 0.05);
    EXPECT_NEAR(low + 273.15, 303.0, 0.05);
    EXPECT_NEAR(high + 273.15, 304.0, 0.05);
    EXPECT_NEAR(mean + 273.15, 303.5, 0.05);
  }
  ASSERT_EQ(ZocamAlone(table).status, 0);
  const std::string summary = Contents(File("t.csv"));
  const std::string head = "frame,seconds,date,min,max,mean,centre\n1,0.000,";
  ASSERT_TRUE(summary.starts_with(head)) << summary;
  double low, high, mean, centre;
  ASSERT_EQ(
      std::sscanf(&summary[head.size()], "%*[^,],%lf,%lf,%lf,%lf", &low, &high, &mean, &centre), 4);
  EXPECT_NEAR(low + 273.15, 300.0, 0.05);
  EXPECT_NEAR(high + 273.15, 304.19, 0.05);
  EXPECT_NEAR(mean + 273.15, 302.62, 0.05);
  EXPECT_NEAR(centre + 273.15, 303.6, 0.05);

  SnapshotAt("0", "--noise-filter off --undistort off");
  ASSERT_EQ(ZocamAlone(table + "--spot 150,20 --subtract " + File("snapshot.png")).status, 0);
  EXPECT_EQ(Column(File("t.csv"), 3), (std::vector<double>{0.0, 1.0, 2.0}));

  std::filesystem::remove(File("t.csv"));
  for (const char* outside : {"--spot 160,0", "--spot 0,120", "--area 100,0,61,1",
                              "--area 0,0,1,4294967295", "--area 0,4294967295,1,2"}) {
    const Outcome refused = ZocamAlone(table + outside);
    EXPECT_EQ(refused.status, 1) << outside;
    EXPECT_TRUE(Has(refused.out, "not inside the picture")) << refused.out;
  }
  for (const char* bad : {"--spot 1", "--spot 1,2,3", "--spot -1,0", "--area 1,1,0,1"})
    EXPECT_EQ(ZocamAlone(table + bad).status, 2) << bad;
  EXPECT_FALSE(std::filesystem::exists(File("t.csv")));
}

TEST_F(Export, PicturesKeepOneColourForOneTemperatureAndTheScaleSaysSo) {
  const std::string film = RecordWarming(8);
  for (const char* gain : {"linear", "nonlinear"}) {
    const std::string folder = File(gain);
    ASSERT_EQ(ZocamAlone("export " + film + " --undistort off --format gray --scale 2 --gain " +
                         gain + " -o " + folder)
                  .status,
              0);
    const Png first = ReadPng(folder + "/frame-000001.png");
    const Png last = ReadPng(folder + "/frame-000008.png");
    ASSERT_GT(first.width, 340u);
    const auto grey = [](const Png& png, size_t x, size_t y) { return png.rows[y][3 * x]; };
    for (size_t y = 0; y < 240; y += 20) EXPECT_EQ(grey(first, 150, y), grey(last, 150, y)) << gain;
    EXPECT_GT(grey(last, 280, 100), grey(first, 280, 100) + 20) << gain;
    if (std::string(gain) != "linear") continue;  // the other one's scale ends where colours do
    // The scale goes from 300 to 311 K and has the greys of the picture.
    const auto onScale = [&](double kelvin) {
      return grey(first, 336, 22 + static_cast<size_t>((311 - kelvin) / 11 * 209));
    };
    EXPECT_NEAR(onScale(303.5), grey(first, 150, 100), 8) << gain;
    EXPECT_NEAR(onScale(310.9), grey(last, 280, 100), 8) << gain;
    EXPECT_NEAR(onScale(300.1), grey(first, 50, 100), 8) << gain;
  }
}

TEST_F(Export, TakesTheRangeAndEveryNthFrameOfIt) {
  const std::string film = RecordWarming(10);
  const struct {
    const char* options;
    std::vector<double> frames;
  } cases[] = {{"--from 0.2 --to 0.5", {3, 4, 5, 6}},
               {"--from 0.15 --to 0.35", {3, 4}},
               {"--every 4", {1, 5, 9}},
               {"--from 0.1 --every 3 --to 0:00.7", {2, 5, 8}},
               {"--from 0.9", {10}}};
  for (const auto& one : cases) {
    ASSERT_EQ(ZocamAlone("export " + film + " -o " + File("t.csv") + " " + one.options).status, 0);
    EXPECT_EQ(Column(File("t.csv"), 0), one.frames) << one.options;
    EXPECT_EQ(
        ZocamAlone("export " + film + " -o " + File("pictures") + " --overwrite " + one.options)
            .status,
        0);
  }
  for (const char* nothing : {"--from 1", "--from 0.41 --to 0.45"}) {
    const Outcome outcome =
        ZocamAlone("export " + film + " -o " + File("none.csv") + " " + nothing);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(Has(outcome.out, "0:00.000 to 0:00.900")) << outcome.out;
  }
  EXPECT_EQ(ZocamAlone("export " + film + " -o x.csv --from 2 --to 1").status, 1);
  EXPECT_FALSE(std::filesystem::exists(File("none.csv")));
}

TEST_F(Export, MakesTheGainOfTheRangeAlone) {
  Record(8, [](int k) {
    return zosim::Scene::From([k](double x, double y, double) {
      return (k < 3 || k > 6 ? 310.0 : 300.0) + x / 50 + y / 100;
    });
  });
  const std::string pictures = " --format gray --noise-filter off --no-bar -o ";
  ASSERT_EQ(ZocamAlone("export " + film_ + pictures + File("all")).status, 0);
  ASSERT_EQ(ZocamAlone("export " + film_ + " --from 0.2 --to 0.5" + pictures + File("part")).status,
            0);
  const std::string whole = Contents(film_);
  std::ofstream(film_, std::ios::binary)
      << whole.substr(0, kHeaderBytes)
      << whole.substr(kHeaderBytes + 2 * recordBytes_, 4 * recordBytes_);
  ASSERT_EQ(ZocamAlone("export " + film_ + pictures + File("cut")).status, 0);
  // Part of a range is scanned by every second frame, so that noise makes a small difference.
  const auto differenceTo = [&](const char* folder) {
    const Png part = ReadPng(File("part/frame-000004.png"));
    const Png other = ReadPng(File(folder) + "/frame-000004.png");
    int most = 0;
    for (size_t y = 0; y < kHeight; ++y)
      for (size_t x = 0; x < 3 * kWidth; ++x)
        most = std::max(most, std::abs(part.rows.at(y).at(x) - other.rows.at(y).at(x)));
    return most;
  };
  EXPECT_LE(differenceTo("cut"), 8);
  EXPECT_GT(differenceTo("all"), 50);
}

TEST_F(Export, TellsFramesApartWhenARecordingBeginsAgain) {
  RecordWarming(5);
  Stamp(3, 100, 2);  // started again, and the first frame is missing
  Stamp(4, 200, 3);
  ASSERT_EQ(ZocamAlone("export " + film_ + " --raw16 png -o " + File("all")).status, 0);
  for (const char* name : {"all/frame-000001.png", "all/frame-000004.png", "all/frame-000005.png"})
    EXPECT_TRUE(std::filesystem::exists(File(name))) << name;
  const Outcome full = ZocamAlone("export " + film_ + " -o " + File("all"));
  EXPECT_EQ(full.status, 1);
  EXPECT_TRUE(Has(full.out, "not empty")) << full.out;
  const std::string range = "export " + film_ + " --from 0.1 --to 0.1 -o ";
  ASSERT_EQ(ZocamAlone(range + File("t.csv")).status, 0);
  EXPECT_EQ(Column(File("t.csv"), 0), (std::vector<double>{2, 4}));
  EXPECT_EQ(Column(File("t.csv"), 1), (std::vector<double>{2, 2}));
  ASSERT_EQ(ZocamAlone(range + File("t.npy")).status, 0);
  EXPECT_EQ(nlohmann::json::parse(Contents(File("t.json")))["frames"][1]["position"], 4);
}

TEST_F(Export, OneBadStampDropsNoFrame) {
  for (const uint64_t time : {UINT64_MAX, uint64_t{5000000}}) {
    RecordWarming(6);
    Stamp(2, time, 3);
    const std::string table = "export " + film_ + " -o " + File("t.csv");
    const Outcome outcome = ZocamAlone(table);
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_TRUE(Has(outcome.out, "1 of the frames")) << outcome.out;
    EXPECT_TRUE(Has(outcome.out, "zocam check")) << outcome.out;
    EXPECT_EQ(Column(File("t.csv"), 0), (std::vector<double>{1, 2, 3, 4, 5, 6}));
    ASSERT_EQ(ZocamAlone(table + " --from 0.1 --to 0.3").status, 0);
    EXPECT_EQ(Column(File("t.csv"), 0), (std::vector<double>{2, 3, 4}));
  }
}

TEST_F(Export, HarmsNoFileThatItDidNotMake) {
  RecordWarming(2);
  const std::string film = Contents(film_);
  for (const char* name : {"film.csv", "g.json", "plain"}) std::filesystem::copy(film_, File(name));
  const struct {
    const char *input, *output, *expected;
  } cases[] = {
      {"film.csv", "film.csv", "the recording itself"},
      {"g.json", "g.npy --overwrite", "the recording itself"},
      {"film.y4m", "g.npy", "belongs to no such array"},
      {"film.y4m", "t.csv --scale 2", "--scale is for pictures"},
      {"film.y4m", "new --raw16 png --gain linear", "--gain is for pictures"},
      {"film.y4m", "plain", "it is no folder"},
  };
  for (const auto& one : cases) {
    const Outcome refused = ZocamAlone("export " + File(one.input) + " -o " + File(one.output));
    EXPECT_EQ(refused.status, 1) << one.output;
    EXPECT_TRUE(Has(refused.out, one.expected)) << refused.out;
  }
  EXPECT_EQ(ZocamAlone("export " + film_ + " -o -").status, 1);
  for (const char* name : {"film.y4m", "film.csv", "g.json", "plain"})
    EXPECT_TRUE(Contents(File(name)) == film) << name;
  EXPECT_EQ(FileCount(), 4u);
  for (const char* again : {" --overwrite", ""})
    EXPECT_EQ(ZocamAlone("export " + film_ + " -o " + File("g.npy") + again).status, 0);
  EXPECT_EQ(ZocamAlone("export " + film_ + " -o " + File("T.CSV")).status, 0);
  EXPECT_EQ(Column(File("T.CSV"), 0).size(), 2u);
  EXPECT_EQ(ZocamAlone("export " + film_ + " -o " + File("p.1/")).status, 0);
  EXPECT_TRUE(std::filesystem::exists(File("p.1/frame-000002.png")));
}

TEST_F(Export, CountsFramesWithoutTemperaturesAndStopsAtDamage) {
  const auto uniform = [](int) { return zosim::Scene::Uniform(300.0); };
  Record(14, uniform, {.productId = 0x6110, .startTimeMs = 2500});
  const Outcome early = ZocamAlone("export " + film_ + " -o " + File("e.csv"));
  EXPECT_EQ(early.status, 0) << early.out;
  int with = 0, without = 0;
  const size_t summary = early.out.find(": ", early.out.find("e.csv"));
  ASSERT_NE(summary, std::string::npos) << early.out;
  ASSERT_EQ(std::sscanf(&early.out[summary], ": %d frames, %d without", &with, &without), 2)
      << early.out;
  EXPECT_EQ(with + without, 14);
  EXPECT_GT(without, 0);
  Record(3, uniform, {.productId = 0x6110, .startTimeMs = 2000});
  EXPECT_TRUE(Has(ZocamAlone("export " + film_ + " -o " + File("n.npy")).out, "none of 3 frames"));
  EXPECT_FALSE(std::filesystem::exists(File("n.npy")));

  RecordWarming(5);
  for (int k = 0; k < 5; ++k) Patch(k, kMarkerBytes + 2 * kWidth * kHeight + 1, "\x7F", 1);
  const Outcome foreign = ZocamAlone("export " + film_ + " -o " + File("f.csv"));
  EXPECT_EQ(foreign.status, 1);
  EXPECT_TRUE(Has(foreign.out, "another telemetry revision")) << foreign.out;

  RecordWarming(5);
  Patch(3, 0, "BROKEN", 6);
  const Outcome damaged = ZocamAlone("export " + film_ + " --jobs 3 -o " + File("d.npy"));
  EXPECT_EQ(damaged.status, 1);
  EXPECT_TRUE(Has(damaged.out, "damaged after 0:00.200; zocam check")) << damaged.out;
  EXPECT_TRUE(Has(Contents(File("d.npy")), "(3, 120, 160)"));
}

TEST_F(Export, LeavesNothingBehindWhenItFails) {
  RecordWarming(12);
  const std::string line = "export " + film_ + " --jobs 3 -o ";
  const Outcome full =
      Shell("trap '' XFSZ; ulimit -f 100; " ZOCAM_TOOL " " + line + File("full.npy"));
  EXPECT_EQ(full.status, 1);
  EXPECT_TRUE(Has(full.out, "cannot write")) << full.out;
  EXPECT_NE(Shell("ulimit -f 100; " ZOCAM_TOOL " " + line + File("limit.npy")).status, 0);
  EXPECT_TRUE(Has(ZocamAlone(line + File("x.avi")).out, ".npy, .csv, .mp4"));
  EXPECT_TRUE(Has(ZocamAlone(line + File("x.npy") + " --spot 1,1").out, "for tables"));
  EXPECT_TRUE(Has(Shell("PATH=. " ZOCAM_TOOL " " + line + File("x.mp4")).out, "package ffmpeg"));
  EXPECT_EQ(FileCount(), 1u) << "only the recording";

  const std::string failing = WithStub("echo first >&2; echo no such codec >&2; exit 1");
  const Outcome failed = Shell(failing + ZOCAM_TOOL " " + line + File("x.mp4"));
  EXPECT_EQ(failed.status, 1);
  EXPECT_TRUE(Has(failed.out, "failed: no such codec")) << failed.out;
  const std::string late = WithStub("cat >/dev/null; echo disk full >&2; exit 1");
  const Outcome incomplete = Shell(late + ZOCAM_TOOL " " + line + File("x.mp4"));
  EXPECT_EQ(incomplete.status, 1);
  EXPECT_TRUE(Has(incomplete.out, "failed: disk full")) << incomplete.out;
  // A program that takes nothing holds the export up until the signal.
  const std::string stuck = WithStub("exec sleep 2");
  const Outcome ended =
      Shell(stuck + "timeout --preserve-status -s INT 1 " ZOCAM_TOOL " " + line + File("x.mp4"));
  EXPECT_EQ(ended.status, 130) << ended.out;
  EXPECT_EQ(FileCount(), 2u) << "the recording and the stub";
}

TEST_F(Export, ManyJobsWriteTheVeryBytesOfOne) {
  RecordWarming(40);
  // The window's correction averages what the sensor says over frames.
  for (int k = 0; k < 40; ++k) {
    const uint16_t sensor = static_cast<uint16_t>(30000 + 37 * (k * k % 11));
    const uint8_t word[] = {static_cast<uint8_t>(sensor >> 8), static_cast<uint8_t>(sensor)};
    Patch(k, kMarkerBytes + 2 * kWidth * kHeight + 48, word, 2);
  }
  SnapshotAt("0.5");
  const std::string stub = WithStub("cat >\"$RAW\"");
  const std::string outputs[] = {"a.npy",
                                 "a.csv --spot 3,4 --from 0.3 --every 2",
                                 "window.npy --window",
                                 "pictures --scale 2 --gain nonlinear",
                                 "window --window --no-bar --scale 1",
                                 "values --raw16 tiff",
                                 "less --raw16 png --subtract " + File("snapshot.png"),
                                 "v.mp4 --scale 1"};
  std::map<std::string, std::string> written[2];
  for (const std::string jobs : {"1", "3"}) {
    const std::string folder = File("jobs") + jobs + "/";
    std::filesystem::create_directory(folder);
    for (const std::string& output : outputs) {
      const Outcome outcome = Shell("RAW=" + folder + "v.raw " + stub + ZOCAM_TOOL " export " +
                                    film_ + " --jobs " + jobs + " -o " + folder + output);
      ASSERT_EQ(outcome.status, 0) << output << outcome.out;
    }
    for (const auto& file : std::filesystem::recursive_directory_iterator(folder))
      if (file.is_regular_file())
        written[jobs == "3"][std::filesystem::relative(file, folder)] = Contents(file);
  }
  EXPECT_EQ(written[0].size(), 4 * 40 + 7u);
  ASSERT_EQ(written[0].size(), written[1].size());
  for (const auto& [name, bytes] : written[0]) EXPECT_TRUE(written[1][name] == bytes) << name;

  // A failure shows at its frame: what stands before is there, nothing behind.
  std::filesystem::create_directories(File("blocked/frame-000020.png"));
  const Outcome blocked =
      ZocamAlone("export " + film_ + " --raw16 png --overwrite --jobs 3 -o " + File("blocked"));
  EXPECT_EQ(blocked.status, 1);
  EXPECT_TRUE(Has(blocked.out, "frame-000020.png")) << blocked.out;
  EXPECT_TRUE(std::filesystem::exists(File("blocked/frame-000019.png")));
  EXPECT_FALSE(std::filesystem::exists(File("blocked/frame-000021.png")));
}

TEST_F(Export, TellsTheVideoProgramARateItTakes) {
  RecordWarming(6);
  const std::string stub = WithStub("echo \"$@\" >" + File("said") + "; cat >/dev/null");
  const auto rate = [&](const std::string& options) {
    const Outcome outcome =
        Shell(stub + ZOCAM_TOOL " export " + film_ + " -o " + File("v.mp4 ") + options);
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    const std::string said = Contents(File("said"));
    const size_t from = said.find("-framerate ") + 11;
    return said.substr(from, said.find(' ', from) - from);
  };
  EXPECT_EQ(rate(""), "10/1");
  EXPECT_EQ(rate("--every 2"), "5/1");
  EXPECT_EQ(rate("--every 1000000"), "1/1000");
  EXPECT_EQ(rate("--fps 12.5"), "12.5");
  Stamp(5, 750, 6);
  EXPECT_EQ(rate(""), "20/3") << "the average";
  EXPECT_EQ(rate("--to 0.4"), "10/1") << "of the range";
  for (int k = 0; k < 6; ++k) Stamp(k, k / 5, static_cast<uint32_t>(k + 1));
  EXPECT_EQ(rate(""), "1000");
}

TEST_F(Export, MakesAVideoOfTheRecordedRate) {
  if (Shell("ffmpeg -version && ffprobe -version").status != 0) GTEST_SKIP() << "no ffmpeg here";
  RecordWarming(6);
  const Outcome made = ZocamAlone("export " + film_ + " --scale 1 -o " + File("v.mp4"));
  ASSERT_EQ(made.status, 0) << made.out;
  const auto seen = nlohmann::json::parse(
      Shell("ffprobe -v error -count_frames -show_streams -of json " + File("v.mp4")).out);
  const auto& stream = seen["streams"][0];
  EXPECT_EQ(stream["codec_name"], "h264");
  EXPECT_EQ(stream["pix_fmt"], "yuv420p");
  EXPECT_EQ(stream["nb_read_frames"], "6");
  EXPECT_EQ(stream["r_frame_rate"], "10/1");
  EXPECT_GT(stream["width"], 160);
}

}  // namespace
