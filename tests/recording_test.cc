// Recordings: what is written is what is read, played, sought and scanned, whatever the file.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <thread>

#include "file/recording_format.h"
#include "sim/virtual_host.h"
#include "tests/handle.h"
#include "tests/wait.h"

namespace {

using namespace std::chrono_literals;
using Bytes = std::vector<uint8_t>;

constexpr uint32_t kFrameBytes = 10240;  // of product 0x6101
constexpr uint32_t kRecordBytes = 6 + kFrameBytes + 160;

// A folder of its own, gone after the test.
class Recording : public testing::Test {
 protected:
  Recording()
      : folder(std::filesystem::temp_directory_path() / ("zocam-" + std::to_string(getpid()))) {
    std::filesystem::create_directories(folder);
    path = (folder / "r.y4m").string();
  }
  ~Recording() override { std::filesystem::remove_all(folder); }

  static std::string HeaderLine(uint32_t width = 80) {
    RecordingHeader header;
    header.width = width;
    header.lines = 65;
    header.rateNumerator = 259;
    header.rateDenominator = 30;
    header.identity.vendorId = 0x7A11;
    header.identity.productId = 0x6101;
    return FormatHeader(header, 0x010903);
  }
  // A recording of product 0x6101 with these time offsets; frame k shows k everywhere.
  void Write(const std::vector<uint64_t>& offsets) const {
    std::ofstream file(path, std::ios::binary);
    file << HeaderLine();
    for (std::size_t k = 0; k < offsets.size(); ++k) {
      Bytes record(kRecordBytes);
      std::memcpy(record.data(), "FRAME\n", 6);
      for (uint32_t i = 0; i < 4800; ++i) {
        record[6 + 2 * i] = static_cast<uint8_t>((30000 + k) >> 8);
        record[7 + 2 * i] = static_cast<uint8_t>((30000 + k) & 0xFF);
      }
      record[6 + 9600 + 1] = 14;
      record[6 + 9600 + 419] = 1;
      FrameTrailer trailer{offsets[k], static_cast<uint32_t>(k + 1), {2026, 1, 4, 1, 2, 3, 4, 5}};
      PackTrailer(trailer, std::span<uint8_t, 28>(&record[6 + kFrameBytes], 28));
      file.write(reinterpret_cast<const char*>(record.data()), kRecordBytes);
    }
  }
  Handle OpenPassive(ZoStatus* status = nullptr) const {
    _ZoDev* dev = nullptr;
    const ZoStatus result = ZoLib_FileReadPassiveSetup(&dev, path.c_str());
    if (status != nullptr) *status = result;
    if (dev != nullptr) {
      EXPECT_EQ(ZoLib_CaptureStart(dev), 0);
    }
    return Handle(dev);
  }
  static uint32_t Next(const Handle& dev) {
    Bytes frame(kFrameBytes);
    EXPECT_EQ(ZoLib_FileReadPassiveNext(dev.get(), frame.data(), kFrameBytes), 0);
    return ZoLib_GetFileReadEOF(dev.get()) != 0 ? 0 : ZoLib_GetFileCurrentFrameNumber(dev.get());
  }

  std::filesystem::path folder;
  std::string path;
};

std::vector<uint64_t> Regular(std::size_t count, uint64_t interval = 116) {
  std::vector<uint64_t> offsets(count);
  for (std::size_t k = 0; k < count; ++k) offsets[k] = k * interval;
  return offsets;
}

struct Player {
  std::atomic<uint32_t> frames = 0;
  std::atomic<uint32_t> ends = 0;
  std::atomic<uint32_t> lastNumber = 0;
  std::function<void(_ZoDev*)> inside;

  static int OnFrame(_ZoDev* dev, uint8_t*, uint64_t length, void* user) {
    auto* self = static_cast<Player*>(user);
    EXPECT_EQ(length, kFrameBytes);
    self->lastNumber = ZoLib_GetFileCurrentFrameNumber(dev);
    if (self->inside) self->inside(dev);
    ++self->frames;
    return 0;
  }
  static int OnEnd(_ZoDev* dev, void* user) {
    auto* self = static_cast<Player*>(user);
    if (self->inside) self->inside(dev);
    ++self->ends;
    return 0;
  }
  Handle Open(const std::string& path) {
    _ZoDev* dev = nullptr;
    EXPECT_EQ(ZoLib_FileReadSetup(&dev, path.c_str(), OnFrame, OnEnd, this), 0);
    return Handle(dev);
  }
};

TEST_F(Recording, HoldsACamerasStreamFrameForFrame) {
  zosim::Host().Reset();
  const auto camera = zosim::Host().PlugCamera({.productId = 0x6101, .serialNumber = 77});
  camera->SetPace(zosim::Pace::Manual());
  std::vector<Bytes> sent;
  std::vector<std::vector<uint16_t>> live;
  {
    const Handle dev = OpenNode("/dev/video0");
    static std::vector<std::vector<uint16_t>>* images = nullptr;
    images = &live;
    ZoLib_CaptureSetup(
        dev.get(), 0,
        [](_ZoDev* own, uint8_t* frame, uint64_t, void*) {
          images->emplace_back(4800);
          EXPECT_EQ(ZoLib_Decode(own, frame, images->back().data(), 9600, 0, ZO_FMT_TEMP16), 0);
          ZoLib_FinishDecode(own);
          return 0;
        },
        nullptr);
    EXPECT_EQ(ZoLib_FileWriteStart(dev.get()), 22);
    EXPECT_EQ(ZoLib_FileWriteSetup(dev.get(), path.c_str()), 0);
    EXPECT_EQ(ZoLib_FileWriteSetup(dev.get(), path.c_str()), 22);
    EXPECT_EQ(ZoLib_FileWriteStart(dev.get()), 0);
    EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
    for (int i = 0; i < 5; ++i) {
      ASSERT_TRUE(camera->DeliverFrame());
      ASSERT_TRUE(camera->WaitUntilConsumed());
      sent.push_back(camera->LastFrame().bytes);
    }
    camera->Unplug();  // the release closes the file all the same
    WaitFor([&] { return ZoLib_GetDisconnected(dev.get()) != 0; });
    EXPECT_EQ(ZoLib_FileWriteStop(dev.get()), 4);
  }
  const Handle dev = OpenPassive();
  ASSERT_NE(dev, nullptr);
  EXPECT_EQ(ZoLib_GetFileFrames(dev.get()), 5);
  EXPECT_EQ(ZoLib_GetSerialNumberAsUINT64(dev.get()), 77);
  Bytes frame(kFrameBytes);
  std::vector<uint16_t> image(4800);
  for (uint32_t k = 0; k < 5; ++k) {
    EXPECT_EQ(ZoLib_FileReadPassiveNext(dev.get(), frame.data(), kFrameBytes), 0);
    EXPECT_EQ(frame, sent[k]);
    EXPECT_EQ(ZoLib_GetFileCurrentFrameNumber(dev.get()), k + 1);
    EXPECT_EQ(ZoLib_Decode(dev.get(), frame.data(), image.data(), 9600, 0, ZO_FMT_TEMP16), 0);
    ZoLib_FinishDecode(dev.get());
    EXPECT_EQ(image, live[k]);
  }
}

TEST_F(Recording, WritesPassivelyAndDropsWhatIsNoFrame) {
  zosim::Host().Reset();
  zosim::Host().PlugCamera({.productId = 0x6101});
  const Handle dev = OpenNode("/dev/video0");
  EXPECT_EQ(ZoLib_FileWritePassiveAdd(dev.get(), Bytes(kFrameBytes).data(), kFrameBytes), 0);
  EXPECT_EQ(ZoLib_FileWritePassiveSetup(dev.get(), (folder / "no/file").c_str(), 1, 2), 23);
  EXPECT_EQ(ZoLib_GetFrameRateNumerator(dev.get()), 0);
  EXPECT_EQ(ZoLib_FileWritePassiveSetup(dev.get(), path.c_str(), 10, 3), 0);
  EXPECT_EQ(ZoLib_FileWriteStart(dev.get()), 0);
  Bytes frame(kFrameBytes + 100);
  frame[9601] = 14;
  EXPECT_EQ(ZoLib_FileWritePassiveAdd(dev.get(), frame.data(), kFrameBytes + 100), 0);
  EXPECT_EQ(ZoLib_FileWritePassiveAdd(dev.get(), frame.data(), kFrameBytes - 1), 0);
  frame[9600] = 1;
  EXPECT_EQ(ZoLib_FileWritePassiveAdd(dev.get(), frame.data(), kFrameBytes), 0);
  EXPECT_EQ(ZoLib_FileWriteStop(dev.get()), 0);
  EXPECT_EQ(ZoLib_FileWriteStop(dev.get()), 22);
  EXPECT_EQ(std::filesystem::file_size(path), HeaderLine().size() + kRecordBytes);
  const Handle back = OpenPassive();
  EXPECT_EQ(ZoLib_GetFileFrames(back.get()), 1);
  EXPECT_EQ(ZoLib_GetFrameRateNumerator(back.get()), 10);
  EXPECT_EQ(ZoLib_FileWriteSetup(back.get(), path.c_str()), 22);
  EXPECT_EQ(ZoLib_FileWriteStop(back.get()), 22) << "a reader";
}

TEST_F(Recording, EndsWithItsLastWholeRecordWhenTheDiskIsFull) {
  zosim::Host().Reset();
  zosim::Host().PlugCamera({.productId = 0x6101});
  const Handle dev = OpenNode("/dev/video0");
  ASSERT_EQ(ZoLib_FileWritePassiveSetup(dev.get(), path.c_str(), 10, 3), 0);
  ASSERT_EQ(ZoLib_FileWriteStart(dev.get()), 0);
  Bytes frame(kFrameBytes);
  frame[9601] = 14;
  const auto add = [&] { ZoLib_FileWritePassiveAdd(dev.get(), frame.data(), kFrameBytes); };
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  rlimit full = before;
  full.rlim_cur = HeaderLine().size() + 2 * kRecordBytes + 5000;
  setrlimit(RLIMIT_FSIZE, &full);
  for (int i = 0; i < 4; ++i) add();
  EXPECT_EQ(ZoLib_GetHostError(dev.get()), EFBIG);
  setrlimit(RLIMIT_FSIZE, &before);
  add();
  EXPECT_EQ(ZoLib_FileWriteStart(dev.get()), 0);  // restarted in the middle
  add();
  EXPECT_EQ(ZoLib_FileWriteStop(dev.get()), 0);
  EXPECT_EQ(std::filesystem::file_size(path), HeaderLine().size() + 4 * kRecordBytes);
  const Handle back = OpenPassive();
  for (uint32_t number : {1U, 2U, 3U, 1U}) EXPECT_EQ(Next(back), number);
}

TEST_F(Recording, RefusesDamagedHeaders) {
  EXPECT_EQ(HeaderLine().size(), 366);
  const std::string good = HeaderLine();
  const auto edited = [&](const std::string& from, const std::string& to) {
    std::string line = good;
    line.replace(line.find(from), from.size(), to);
    return line;
  };
  const std::string tail = " Ip A0:0 C422 X V";
  const std::string start = "YUV4MPEG2 W80 H65   F259:30      " + tail;
  const std::pair<std::string, bool> headers[] = {
      {good, true},
      {edited("W80", "W81"), false},
      {edited("H65", "H64"), false},
      {edited("259:30", "259:0"), true},
      {edited("F259", "G259"), false},
      {edited("X V", "Y V"), false},
      {edited("7A", "7a"), false},
      {edited("YUV4", "YUV5"), false},
      {edited("W80", "W8000000000"), false},
      {start + "00010901 D7A116101     \n", true},
      {start + "00010903 D7A116101     \n", false},
      {start + "00010903 D7A116101 S1F \n", true},
      {start + "00010901 N117A         \n", false},
      {start + "00010903 N117A0161     \n", true},
      {start + "00010903 N117A016      \n", false},
      {"YUV4MPEG2 W80 H65 F1:1 X V00010901 D7A116101\n", false},  // shorter than a header
      {good.substr(0, 365) + std::string(700, ' ') + "\n", false},
  };
  for (const auto& [line, accepted] : headers) {
    EXPECT_EQ(ParseHeader(line.substr(0, 1022)).has_value() && line.size() <= 1022 &&
                  ParseHeader(line)->width == 80 && ParseHeader(line)->lines == 65,
              accepted)
        << line;
  }
  for (std::size_t length = 0; length < good.size() - 2; ++length) {
    const auto cut = ParseHeader(good.substr(0, length));
    EXPECT_FALSE(cut.has_value() && length < 60) << length;
  }
  EXPECT_EQ(ParseHeader(start + "00010903 D7A116101 S1F \n")->serialNumber, 0x1F);
}

TEST_F(Recording, SurvivesTruncationAtEveryByte) {
  Write(Regular(2));
  const auto whole = static_cast<std::size_t>(std::filesystem::file_size(path));
  const std::size_t header = HeaderLine().size();
  for (std::size_t size = whole;; size -= size % 7 == 0 || size <= header + 40 ? 1 : 7) {
    std::filesystem::resize_file(path, size);
    ZoStatus status = 0;
    const Handle dev = OpenPassive(&status);
    if (size >= header + kRecordBytes) {
      EXPECT_EQ(status, 0) << size;
      EXPECT_EQ(Next(dev), 1);
    } else {
      EXPECT_TRUE(status == 23 || status == 24) << size << ' ' << status;
    }
    if (size == 0) break;
  }
  EXPECT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
  for (const char* name : {"fifo", ".", "missing"}) {
    _ZoDev* dev = nullptr;
    EXPECT_EQ(ZoLib_FileReadPassiveSetup(&dev, (folder / name).c_str()), 23) << name;
  }
  EXPECT_EQ(ZoLib_FileReadPassiveSetup(nullptr, path.c_str()), 21);
}

TEST_F(Recording, PlaysToItsEndOnceAndAgainAfterASeek) {
  Write(Regular(4, 20));
  Player player;
  const Handle dev = player.Open(path);
  EXPECT_EQ(ZoLib_GetFileTimeLength(dev.get()), 60);
  EXPECT_EQ(ZoLib_FileReadSeek(dev.get(), 0), 22) << "not started";
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
  ASSERT_TRUE(WaitFor([&] { return player.ends == 1; }));
  EXPECT_EQ(player.frames, 4);
  EXPECT_EQ(ZoLib_FileReadSeek(dev.get(), 60), 25);
  EXPECT_EQ(player.ends, 2);
  EXPECT_EQ(ZoLib_FileReadSeek(dev.get(), 25), 0);
  ASSERT_TRUE(WaitFor([&] { return player.ends == 3; }));
  EXPECT_EQ(player.frames, 7) << "from the frame at 20 ms on";
  EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 0);
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 22) << "a stop closes the file";
}

TEST_F(Recording, PausesResumesStopsAtOnceInsideALongGap) {
  Write({0, 10, 20, 3600000, 3600010});
  Player player;
  const Handle dev = player.Open(path);
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
  ASSERT_TRUE(WaitFor([&] { return player.frames == 3; }));
  const auto begin = std::chrono::steady_clock::now();
  ZoLib_FileReadPause(dev.get());
  EXPECT_EQ(ZoLib_GetFileReadPaused(dev.get()), 1);
  EXPECT_EQ(ZoLib_FileTimeBasedAGCSetup(dev.get(), 1, 1, 0, UINT64_MAX), 0);
  ZoLib_FileReadResume(dev.get());
  ASSERT_TRUE(WaitFor([&] { return player.frames == 4; })) << "the next frame comes at once";
  EXPECT_EQ(player.lastNumber, 5) << "the one in hand was dropped";
  EXPECT_EQ(ZoLib_FileReadSeek(dev.get(), 15), 0);
  ASSERT_TRUE(WaitFor([&] { return player.frames == 6; }));
  EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 30s) << "not an hour";
}

TEST_F(Recording, RefusesToStopItselfInsideItsCallbacks) {
  Write(Regular(3, 1));
  Player player;
  std::atomic<int> stop = -1, seek = -1, scan = -1;
  player.inside = [&](_ZoDev* own) {
    stop = static_cast<int>(ZoLib_CaptureStop(own));
    scan = static_cast<int>(ZoLib_FileTimeBasedAGCSetup(own, 1, 1, 0, 1));
    if (ZoLib_GetFileReadEOF(own) != 0) {
      seek = static_cast<int>(ZoLib_FileReadSeek(own, 0));
      ZoLib_FileReadPause(own);
      ZoLib_FileReadResume(own);
      ZoLib_SetFileReadSpeed(own, ZoLib_GetFileReadSpeed(own));
    }
    ZoLib_Release(own);
  };
  const Handle dev = player.Open(path);
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
  ASSERT_TRUE(WaitFor([&] { return player.ends == 1; }));
  EXPECT_EQ(stop, 22);
  EXPECT_EQ(scan, 22);
  EXPECT_EQ(seek, 22);
}

TEST_F(Recording, StopsAtADamagedRecord) {
  Write(Regular(5, 1));
  {
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<long>(HeaderLine().size() + 2 * kRecordBytes));
    file << "?";
  }
  Player player;
  const Handle dev = player.Open(path);
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
  ASSERT_TRUE(WaitFor([&] { return ZoLib_GetFileError(dev.get()) == 24; }));
  EXPECT_EQ(player.frames, 2);
  EXPECT_EQ(ZoLib_FileTimeBasedAGCSetup(dev.get(), 1, 1, 0, 1000), 0) << "nothing waits for ever";
  EXPECT_EQ(ZoLib_FileReadSeek(dev.get(), 3), 24);
  EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 0);
  const Handle passive = OpenPassive();
  Bytes frame(kFrameBytes);
  EXPECT_EQ(ZoLib_FileReadPassiveNext(passive.get(), frame.data(), kFrameBytes - 1), 6);
  EXPECT_EQ(Next(passive), 1);
  EXPECT_EQ(Next(passive), 2);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(ZoLib_FileReadPassiveNext(passive.get(), frame.data(), kFrameBytes), 24);
  }
}

TEST_F(Recording, SeeksLikeAModel) {
  std::mt19937 random(5);
  for (int round = 0; round < 12; ++round) {
    std::vector<uint64_t> offsets = {round % 3 == 0 ? 0 : random() % 500};
    while (offsets.size() < 40 + random() % 40) {
      const uint64_t gap = random() % 8 == 0 ? 5000 + random() % 60000 : random() % 250;
      offsets.push_back(offsets.back() + gap);
    }
    Write(offsets);
    const Handle dev = OpenPassive();
    for (int i = 0; i < 60; ++i) {
      const uint64_t target = random() % (offsets.back() + offsets.back() / 8 + 1);
      const ZoStatus status = ZoLib_FileReadSeek(dev.get(), target);
      if (target >= offsets.back()) {
        ASSERT_EQ(status, 25) << target;
        EXPECT_EQ(ZoLib_GetFileReadEOF(dev.get()), 1);
        continue;
      }
      ASSERT_EQ(status, 0) << target;
      const auto after = std::upper_bound(offsets.begin(), offsets.end(), target);
      const auto expected = after == offsets.begin() ? 1 : after - offsets.begin();
      const uint32_t found = Next(dev);
      // Of several records with the wanted time any may be the last one that was met.
      ASSERT_GE(found, 1);
      EXPECT_EQ(offsets[found - 1], offsets[static_cast<std::size_t>(expected) - 1]) << target;
      if (random() % 4 == 0) Next(dev);
    }
  }
}

TEST_F(Recording, TellsOfEachEndOnceAndScansWhereverPlaybackIs) {
  Write(Regular(5, 2));
  Player player;
  const Handle dev = player.Open(path);
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
  ZoLib_FileReadSeek(dev.get(), 1000);  // told of by the seek, whatever the thread does
  EXPECT_EQ(ZoLib_FileTimeBasedAGCSetup(dev.get(), 0, 1, 0, UINT64_MAX), 0);
  Bytes frame(kFrameBytes);
  EXPECT_EQ(ZoLib_FileReadPassiveNext(dev.get(), frame.data(), kFrameBytes), 22);
  for (int i = 0; i < 3; ++i) {
    const uint32_t ends = player.ends;
    ASSERT_EQ(ZoLib_FileReadSeek(dev.get(), 0), 0);
    ASSERT_TRUE(WaitFor([&] { return player.ends > ends; }));
    EXPECT_EQ(ZoLib_FileTimeBasedAGCSetup(dev.get(), 1, 1, 0, UINT64_MAX), 0);
    EXPECT_EQ(player.ends, ends + 1);
  }
  EXPECT_EQ(ZoLib_GetFileError(dev.get()), 0);
}

TEST_F(Recording, GivesOneGainForAllFrames) {
  Write(Regular(10, 100));
  const Handle dev = OpenPassive();
  ZoLib_SetNoiseFilter(dev.get(), 0);
  EXPECT_EQ(ZoLib_FileTimeBasedAGCSetup(dev.get(), 1, 0, 0, 1000), 21);
  EXPECT_EQ(ZoLib_FileTimeBasedAGCSetup(dev.get(), 1, 2, 5000, 9000), 6);
  EXPECT_EQ(ZoLib_FileTimeBasedAGCSetup(dev.get(), 1, 1, 0, 1000), 0);
  ZoLib_SetTimeBasedAGC(dev.get(), 1);
  Bytes frame(kFrameBytes), grey(4800);
  ASSERT_EQ(ZoLib_FileReadPassiveNext(dev.get(), frame.data(), kFrameBytes), 0);
  const auto level = [&](uint32_t format) {
    EXPECT_EQ(ZoLib_Decode(dev.get(), frame.data(), grey.data(), 4800, 0, format), 0);
    return static_cast<int>(grey[0]);
  };
  EXPECT_EQ(level(ZO_FMT_GRAY8 + ZO_GAIN_LINEAR), 0);
  for (int i = 0; i < 9; ++i) ZoLib_FileReadPassiveNext(dev.get(), frame.data(), kFrameBytes);
  ZoLib_FinishDecode(dev.get());
  EXPECT_EQ(level(ZO_FMT_GRAY8 + ZO_GAIN_LINEAR), 8 * 1024 / 9 / 4) << "the hottest of them";
  EXPECT_EQ(ZoLib_FileTimeBasedAGCSetup(dev.get(), 0, 1, 0, 1000), 0);
  EXPECT_LT(level(ZO_FMT_GRAY8 + ZO_GAIN_NONLINEAR), 256);
  EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 0);
  EXPECT_EQ(ZoLib_FileTimeBasedAGCSetup(dev.get(), 0, 1, 0, 1000), 22);
}

TEST_F(Recording, ObeysTwoThreadsAtOnce) {
  Write(Regular(30, 3));
  Player player;
  const Handle dev = player.Open(path);
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
  const auto control = [&](uint32_t seed) {
    std::mt19937 random(seed);
    for (int i = 0; i < 150; ++i) {
      switch (random() % 6) {
        case 5:
          ZoLib_FileTimeBasedAGCSetup(dev.get(), random() % 2, 7, 0, 1000);
          break;
        case 0:
          ZoLib_FileReadPause(dev.get());
          break;
        case 1:
          ZoLib_FileReadResume(dev.get());
          break;
        case 2:
          ZoLib_FileReadSeek(dev.get(), random() % 100);
          break;
        case 3:
          ZoLib_SetFileReadSpeed(dev.get(), random() % 3);
          break;
        default: {
          DateTime16 time{};
          ZoLib_GetFileCurrentDateTime(dev.get(), &time);
        }
      }
    }
  };
  std::thread other(control, 1);
  control(2);
  other.join();
  ZoLib_FileReadResume(dev.get());
  EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 0);
}

TEST_F(Recording, DumpsAFrameAsText) {
  Write(Regular(1));
  const Handle dev = OpenPassive();
  Bytes frame(kFrameBytes);
  ZoLib_FileReadPassiveNext(dev.get(), frame.data(), kFrameBytes);
  ASSERT_EQ(ZoLib_DecodeCheck(dev.get(), frame.data()), 0);
  std::vector<uint16_t> image(4800, 29315);
  const uint16_t time[8] = {2026, 1, 0, 5, 7, 8, 9, 10};
  const std::string dump = (folder / "dump.txt").string();
  const uint8_t* telemetry = ZoLib_GetTelemetryData(dev.get(), frame.data());
  EXPECT_EQ(ZoLib_DumpFrame(dev.get(), dump.c_str(), image.data(), 9599, telemetry, time, 1), 6);
  EXPECT_EQ(ZoLib_DumpFrame(dev.get(), dump.c_str(), nullptr, 9600, telemetry, time, 1), 21);
  EXPECT_EQ(ZoLib_DumpFrame(dev.get(), dump.c_str(), image.data(), 9600, telemetry, time, 1), 0);
  std::ifstream file(dump);
  std::string line;
  std::getline(file, line);
  EXPECT_EQ(line,
            "                  SYSTIME       TIME   TIME_FFC FCS   FPAT FPATFC   HOUT HOUTFC");
  std::getline(file, line);
  EXPECT_EQ(line,
            "TELEMETRY 05/07:08:09.010          0          0   0   0.00   0.00   0.00   0.00");
  std::getline(file, line);
  EXPECT_EQ(line.substr(0, 14), "293.15 293.15 ");
  int rows = 1;
  while (std::getline(file, line)) ++rows;
  EXPECT_EQ(rows, 60);
}

}  // namespace
