// The zocam command: checking, mending and describing recordings.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>

#include "zocam/zocam.hpp"

#include "sim/virtual_host.h"
#include "tests/tool.h"

namespace {

// A recording of frames that show 301, 302, ... kelvin, 116 ms apart, taken apart.
class Film : public Tool {
 protected:
  static constexpr size_t kRecordBytes = 10406;
  static constexpr size_t kTrailer = 10246;  // in a record

  void SetUp() override {
    Tool::SetUp();
    zosim::Host().Reset();
    const auto camera = zosim::Host().PlugCamera({.productId = 0x6101});
    camera->SetPace(zosim::Pace::Manual());
    zocam::Device device = zocam::Device::OpenNode("/dev/video0");
    device.StartQueue();
    zocam::Writer writer(device, File("film.y4m"));
    for (int k = 1; k <= 8; ++k) {
      camera->SetScene(zosim::Scene::Uniform(300.0 + k));
      ASSERT_TRUE(camera->DeliverFrame());
      ASSERT_TRUE(camera->WaitUntilConsumed());
    }
    writer.Finish();
    device.Stop();
    zosim::Host().Reset();
    const std::string bytes = Load(File("film.y4m"));
    header = bytes.substr(0, bytes.find('\n') + 1);
    for (size_t k = 0; k < 8; ++k) {
      records.push_back(bytes.substr(header.size() + k * kRecordBytes, kRecordBytes));
      Stamp(k, static_cast<uint32_t>(k + 1), 116 * k);
    }
    ASSERT_EQ(records.back().size(), kRecordBytes);
    Store("film.y4m", Whole());
  }

  void Stamp(size_t k, uint32_t number, uint64_t time) {
    const DateTime16 date{2026, 11, 0, 22, 23, 52, 15, static_cast<uint16_t>(690 + k)};
    std::memcpy(&records[k][kTrailer], &time, 8);
    std::memcpy(&records[k][kTrailer + 8], &number, 4);
    std::memcpy(&records[k][kTrailer + 12], &date, 16);
  }
  std::string Whole() const {
    std::string bytes = header;
    for (const std::string& record : records) bytes += record;
    return bytes;
  }
  size_t Place(size_t k) const { return header.size() + k * kRecordBytes; }

  static std::string Load(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  void Store(const char* name, const std::string& bytes) const {
    std::ofstream(File(name), std::ios::binary) << bytes;
  }
  static Outcome Run(const std::string& arguments) { return Shell(ZOCAM_TOOL " " + arguments); }

  std::string header;
  std::vector<std::string> records;
};

TEST_F(Film, CheckFindsDamageInItsPlaceAndSavesTheRest) {
  const auto original = records;
  struct Case {
    const char* name;
    std::function<std::string()> damaged;  // may change the records
    std::string expected;
    std::vector<size_t> lost;
    bool isDamage = true, mendable = true;
  };
  // With a marker that is none, too.
  const std::string garbage = "xxxFRAME\n" + std::string(768, 'F');
  const auto with = [&](size_t place, const std::string& bytes) {
    std::string file = Whole();
    return file.replace(place, bytes.size(), bytes);
  };
  const auto at = [&](size_t k, size_t lastGood) {
    return "record " + std::to_string(k + 1) + ", byte " + std::to_string(Place(k)) +
           ", after 0:00." + (lastGood == 0 ? "000" : std::to_string(116 * lastGood)) + ": ";
  };
  const Case cases[] = {
      {"intact", [&] { return Whole(); }, "8 intact records, 0:00.812\nno damage found", {}, false},
      {"torn",
       [&] { return Whole() + records[0].substr(0, 1000); },
       at(8, 7) + "only the first 1000 bytes of a record",
       {}},
      {"torn marker", [&] { return Whole() + "FRA"; }, "only the first 3 bytes", {}},
      {"marker",
       [&] { return with(Place(3), "frame"); },
       at(3, 2) + "10406 bytes that hold no whole record",
       {3}},
      {"marker, and one in its frame",
       [&] { return with(Place(3), "xxxxxxxxxFRAME\nFRAME\n"); },
       at(3, 2) + "10406 bytes that hold no whole record",
       {3}},
      {"first marker",
       [&] { return with(Place(0), "x"); },
       at(0, 0) + "10406 bytes that hold no whole record",
       {0}},
      {"last marker",
       [&] { return with(Place(7), "x"); },
       at(7, 6) + "10406 bytes that hold no whole record",
       {7}},
      {"put into a frame",
       [&] { return Whole().insert(Place(3) + 99, garbage); },
       at(3, 2) + "11183 bytes that hold no whole record",
       {3}},
      {"put between",
       [&] { return Whole().insert(Place(3), garbage); },
       at(3, 2) + "777 bytes that hold no whole record",
       {}},
      {"cut out",
       [&] { return Whole().erase(Place(3) + 5000, 2 * kRecordBytes + 33); },
       at(3, 2) + "10373 bytes that hold no whole record",
       {3, 4, 5}},
      {"cut out whole",
       [&] { return Whole().erase(Place(3), 2 * kRecordBytes); },
       "note: " + at(3, 2) + "frames 4 to 5 are missing before it",
       {3, 4},
       false},
      {"month",
       [&] { return with(Place(3) + kTrailer + 14, "\x0D"); },
       at(3, 2) + "its number, time or date cannot be",
       {3}},
      {"behind the trailer", [&] { return with(Place(8) - 1, "x"); }, "cannot be", {7}},
      {"time far ahead",
       [&] { return with(Place(3) + kTrailer + 2, "\x01"); },
       at(3, 2) + "its number and time do not fit",
       {3}},
      {"time of the first",
       [&] { return with(Place(0) + kTrailer + 2, "\x01"); },
       at(0, 0) + "its number and time do not fit",
       {0}},
      {"number of the last",
       [&] { return with(Place(7) + kTrailer + 8, "\x03"); },
       at(7, 6) + "its number and time do not fit",
       {7}},
      {"two neighbours",
       [&] {
         Stamp(3, 4, 1 << 20);
         const std::string file = with(Place(4), "x");
         records = original;
         return file;
       },
       at(4, 2) + "10406 bytes",
       {3, 4}},
      {"revision",
       [&] { return with(Place(3) + 6 + 9600 + 1, "\x09"); },
       at(3, 2) + "the frame is of another telemetry revision",
       {3}},
      {"restart",
       [&] {
         for (size_t k = 4; k < 8; ++k) Stamp(k, static_cast<uint32_t>(k - 3), 116 * (k - 4));
         return Whole();
       },
       "0:00.696\nnote: " + at(4, 3) + "the recording was started again",
       {},
       false},
      {"restart without a new time",
       [&] {
         for (size_t k = 4; k < 8; ++k) Stamp(k, static_cast<uint32_t>(k - 3), 116 * k);
         return Whole();
       },
       at(4, 3) + "the recording was started again, but its time does not",
       {},
       true,
       false},
      {"time goes back",
       [&] {
         for (size_t k = 4; k < 8; ++k) Stamp(k, static_cast<uint32_t>(k + 1), 116 * k - 300);
         return Whole();
       },
       at(4, 3) + "time goes back by 0:00.184",
       {},
       true,
       false},
      {"number goes back",
       [&] {
         for (size_t k = 4; k < 8; ++k) Stamp(k, static_cast<uint32_t>(k - 1), 116 * k);
         return Whole();
       },
       at(4, 3) + "the frame number goes back from 4 to 3",
       {},
       true,
       false},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.name);
    records = original;
    Store("damaged.y4m", one.damaged());
    std::string rest = header;
    for (size_t k = 0; k < records.size(); ++k)
      if (std::ranges::find(one.lost, k) == one.lost.end()) rest += records[k];
    const std::string repair = "check --overwrite --repair " + File("saved.y4m") + " ";
    const Outcome outcome = Run(repair + File("damaged.y4m"));
    EXPECT_EQ(outcome.status, one.isDamage ? 1 : 0) << outcome.out;
    EXPECT_TRUE(Has(outcome.out, one.expected)) << outcome.out;
    EXPECT_TRUE(Load(File("saved.y4m")) == rest) << outcome.out;
    EXPECT_EQ(Run("check " + File("saved.y4m")).status, one.mendable ? 0 : 1);
    // What programs are told is the same.
    const auto json = nlohmann::json::parse(Run("check --json " + File("damaged.y4m")).out);
    EXPECT_EQ(json["damaged"], one.isDamage);
    EXPECT_EQ(json["records"], (rest.size() - header.size()) / kRecordBytes);
    for (const auto& finding : json["findings"])
      EXPECT_TRUE(Has(outcome.out, "byte " + finding["offset"].dump() + ",")) << finding;
  }
}

TEST_F(Film, CheckSaysWhatIsWrongWithAHeaderAndSavesNothing) {
  const auto header1 = [&](const std::string& from, const std::string& to) {
    std::string file = Whole();
    const size_t place = file.find(from);
    return place == std::string::npos ? "" : file.replace(place, from.size(), to);
  };
  const struct {
    std::string file;
    const char* expected;
  } cases[] = {
      {"", "the file is empty"},
      {header1("YUV4", "RIFF"), "does not begin with YUV4MPEG2"},
      {header.substr(0, 200), "is cut off"},
      {"YUV4MPEG2 W80 " + std::string(2000, 'x'), "has no end"},
      {"YUV4MPEG2 W80 H65\n" + records[0], "too short"},
      {header1("W80", "Wxx"), "tells no size"},
      {header1("H65", "H66"), "a size that no camera has, 80 x 66"},
      {"YUV4MPEG2 W80 H65 F30:1 Ip A0:0 C422 XCOLORRANGE=LIMITED XMORE=1\n" + records[0],
       "names no camera"},
      {header1("N117A", "N11?A"), "camera is unreadable"},
      {header1("N117A0161", "N117A0361"), "80 x 65, is not that of the camera"},
      {header1("N117A", "N127A"), "not known, 0x6101 of vendor 0x7A12"},
      {header, "0 intact records, 0:00.000\ndamage: there is no intact record"},
      {header + records[0].substr(0, 10300), "only the first 10300 bytes of a record"},
  };
  for (const auto& one : cases) {
    Store("damaged.y4m", one.file);
    const Outcome outcome = Run("check " + File("damaged.y4m") + " --repair " + File("no.y4m"));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(Has(outcome.out, one.expected)) << one.expected << ": " << outcome.out;
    EXPECT_TRUE(Has(outcome.out, "was not written")) << outcome.out;
    EXPECT_EQ(nlohmann::json::parse(Run("check --json " + File("damaged.y4m")).out)["damaged"],
              true);
    // The library refuses all of these but an unknown camera.
    const Outcome info = Run("info " + File("damaged.y4m"));
    EXPECT_EQ(info.status, 1) << info.out;
    EXPECT_TRUE(Has(info.out, "cannot open")) << info.out;
  }
  EXPECT_EQ(FileCount(), 2u);
  EXPECT_TRUE(Has(Run("check " + folder_.string()).out, "it is no file"));
  EXPECT_TRUE(Has(Run("check " + File("none.y4m")).out, "No such file"));
}

TEST_F(Film, CheckHarmsNoFile) {
  std::filesystem::create_symlink(File("film.y4m"), File("link.y4m"));
  std::filesystem::create_directory(File("folder"));
  const std::string film = Whole();
  Store("other.y4m", "something");
  const struct {
    const char* target;
    const char* expected;
  } cases[] = {
      {"film.y4m --overwrite", "is the recording itself"},
      {"link.y4m --overwrite", "is the recording itself"},
      {"other.y4m", "exists; name another"},
      {"folder --overwrite", "Is a directory"},
      {"nowhere/saved.y4m", "No such file or directory"},
  };
  const std::string check = "check " + File("film.y4m") + " --repair ";
  for (const auto& one : cases) {
    const Outcome outcome = Run(check + File(one.target));
    EXPECT_EQ(outcome.status, 1) << one.target;
    EXPECT_TRUE(Has(outcome.out, one.expected)) << outcome.out;
  }
  const Outcome full = Shell("trap '' XFSZ; ulimit -f 20; " ZOCAM_TOOL " " + check +
                             File("other.y4m") + " --overwrite");
  EXPECT_EQ(full.status, 1) << full.out;
  EXPECT_TRUE(Has(full.out, "cannot write")) << full.out;
  EXPECT_EQ(Run("check " + File("film.y4m") + " --overwrite").status, 2);
  EXPECT_TRUE(Load(File("film.y4m")) == film);
  EXPECT_EQ(Load(File("other.y4m")), "something");
  EXPECT_EQ(FileCount(), 4u);
}

TEST_F(Film, CheckTellsTheFirstFindingsAndCountsTheOthers) {
  std::string file = header;
  for (uint32_t i = 0; i < 100; ++i) {
    Stamp(0, i + 1, 116 * i);
    file += records[0];
    if (i % 2 == 0) file += "garbage";
  }
  Store("damaged.y4m", file);
  const Outcome outcome = Run("check " + File("damaged.y4m"));
  EXPECT_TRUE(Has(outcome.out, "100 intact records")) << outcome.out;
  EXPECT_TRUE(Has(outcome.out, "30 more of the kind \"lost-bytes\"")) << outcome.out;
}

// Bytes changed, put in and left out at random places behind the header line.
TEST_F(Film, CheckSavesWhateverWasNotTouched) {
  constexpr int kFiles = 200;
  std::mt19937 random(20261122);
  std::vector<std::vector<size_t>> untouched;
  std::string commands;
  for (int i = 0; i < kFiles; ++i) {
    std::string file = Whole();
    std::vector<size_t> places;
    for (unsigned j = 0; j < 1 + random() % 3; ++j) places.push_back(random() % (8 * kRecordBytes));
    std::ranges::sort(places, std::greater());  // so that a place is not moved by one before
    std::vector<bool> hit(8);
    for (const size_t place : places) {
      const size_t at = header.size() + place, length = 1 + random() % 300;
      hit[place / kRecordBytes] = true;
      if (random() % 3 == 0) {
        file[at] = static_cast<char>(file[at] ^ (1 << random() % 8));
      } else if (random() % 2 == 0) {
        std::string noise(length, '\0');
        for (char& byte : noise) byte = static_cast<char>(random());
        file.insert(at, noise);
      } else {
        file.erase(at, length);
        hit[std::min<size_t>((place + length - 1) / kRecordBytes, 7)] = true;
      }
    }
    untouched.emplace_back();
    for (size_t k = 0; k < 8; ++k)
      if (!hit[k]) untouched.back().push_back(k);
    const std::string name = std::to_string(i) + ".y4m", saved = "saved-" + name;
    Store(name.c_str(), file);
    commands += "timeout 10 " ZOCAM_TOOL " check " + File(name.c_str()) + " --repair " +
                File(saved.c_str()) + " >/dev/null; echo $?; " ZOCAM_TOOL " check " +
                File(saved.c_str()) + " >/dev/null; echo $?\n";
  }
  Store("all.sh", commands);
  std::istringstream statuses(Shell("sh " + File("all.sh")).out);
  for (int i = 0; i < kFiles; ++i) {
    SCOPED_TRACE(i);
    int first = -1, second = -1;
    statuses >> first >> second;
    EXPECT_LE(first, 1);
    EXPECT_EQ(second, 0);
    const std::string path = File(("saved-" + std::to_string(i) + ".y4m").c_str());
    const std::string saved = Load(path);
    for (const size_t k : untouched[static_cast<size_t>(i)])
      EXPECT_TRUE(Has(saved, records[k])) << "record " << k + 1 << " is lost";
    EXPECT_EQ((saved.size() - header.size()) % kRecordBytes, 0u);
    EXPECT_NO_THROW(zocam::Recording::Open(path));
  }
}

TEST_F(Film, DumpPrintsTheFrameThatIsAskedFor) {
  // The lines, and how many degrees the first value lies above 300 kelvin.
  const auto dump = [&](const std::string& arguments) {
    const Outcome outcome = Run("dump " + File("film.y4m") + " " + arguments);
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    std::istringstream text(outcome.out);
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    lines.resize(62);
    return lines;
  };
  const auto lines = dump("--frame 3");
  EXPECT_TRUE(Has(lines[0], "SYSTIME       TIME   TIME_FFC FCS   FPAT")) << lines[0];
  EXPECT_TRUE(Has(lines[1], "TELEMETRY 22/23:52:15.692")) << lines[1];
  std::istringstream row(lines[61]);
  std::vector<double> values{std::istream_iterator<double>(row), {}};
  ASSERT_EQ(values.size(), 80u);
  for (const double value : values) EXPECT_NEAR(value, 303.0, 0.3);

  const struct {
    const char* arguments;
    double kelvin;
  } cases[] = {{"", 301}, {"--frame 8", 308}, {"--at 0", 301}, {"--at 0.4", 304}};
  for (const auto& one : cases)
    EXPECT_NEAR(std::stod(dump(one.arguments)[30]), one.kelvin, 0.3) << one.arguments;

  const auto* words = reinterpret_cast<const uint8_t*>(&records[1][6]);
  EXPECT_EQ(std::stoi(dump("--raw --frame 2")[2]), words[0] << 8 | words[1]);
  ASSERT_EQ(Run("dump --frame 3 -o " + File("3.txt") + " " + File("film.y4m")).out, "");
  EXPECT_EQ(Load(File("3.txt")), Run("dump --frame 3 " + File("film.y4m")).out);
  EXPECT_TRUE(Has(Run("dump --frame 9 " + File("film.y4m")).out, "no frame number 9"));
  EXPECT_EQ(Run("dump --frame 3 --at 0 " + File("film.y4m")).status, 2);

  const Outcome live = Zocam("-c 6110,fps=100,scene=uniform:301.5", "dump");
  EXPECT_NEAR(std::stod(live.out.substr(live.out.rfind('\n', live.out.size() - 2))), 301.5, 0.3);
  EXPECT_TRUE(Has(Zocam("-c 6110", "dump --at 1").out, "--at and --frame are for recordings"));
}

TEST_F(Film, InfoTellsWhatARecordingHolds) {
  Store("film.y4m", Whole() + "FRAME");
  const Outcome text = Run("info " + File("film.y4m"));
  EXPECT_EQ(text.status, 0);
  for (const char* line :
       {"product                   0x6101\n", "80 x 60 pixels",
        "2026-11-22T23:52:15.690 to 2026-11-22T", "frames                    8\n", "0.812 s\n",
        "8.62 frames/s, 8.63 as the file tells", "only the first 5 bytes of a last record"})
    EXPECT_TRUE(Has(text.out, line)) << line << "\n" << text.out;
  EXPECT_FALSE(Has(text.out, "active state"));
  const auto json = nlohmann::json::parse(Run("info --json " + File("film.y4m")).out);
  EXPECT_EQ(json["file"], File("film.y4m"));
  EXPECT_EQ(json["frames"], 8);
  EXPECT_EQ(json["length"], 0.812);
  EXPECT_EQ(json["tornTail"], 5);
  EXPECT_FALSE(json.contains("node") || json.contains("name")) << "a recording has neither";

  // What only a look at every record would tell is not made up.
  Stamp(7, 2, 116);
  Store("film.y4m", Whole());
  const auto restarted = nlohmann::json::parse(Run("info --json " + File("film.y4m")).out);
  EXPECT_TRUE(restarted["length"].is_null());
  EXPECT_EQ(restarted["frames"], 8);
}

}  // namespace
