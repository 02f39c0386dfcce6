// Recordings: what is written is what is read, played, sought and scanned, whatever the file.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>
#include <random>
#include <semaphore>
#include <sstream>
#include <thread>

#include "core/accessors.h"
#include "core/device_record.h"
#include "file/scan.h"
#include "sim/virtual_host.h"
#include "tests/recording_file.h"
#include "tests/wait.h"

namespace {

using namespace std::chrono_literals;

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
  EXPECT_EQ(ZoLib_FileWritePassiveSetup(dev.get(), folder.c_str(), 1, 2), 23);
  EXPECT_EQ(ZoLib_FileWritePassiveSetup(dev.get(), path.c_str(), 1000000000, 1), 21)
      << "ten digits";
  EXPECT_EQ(ZoLib_FileWriteSetup(dev.get(), "/dev/full"), 23) << "no room for the header";
  EXPECT_EQ(ZoLib_FileWriteStart(dev.get()), 22) << "nothing stays open";
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
  EXPECT_EQ(mkfifo((folder / "written").c_str(), 0600), 0);
  const int writer = open((folder / "written").c_str(), O_RDWR);
  EXPECT_EQ(write(writer, HeaderLine().data(), 366), 366);
  for (const char* name : {"fifo", "written", ".", "missing"}) {
    _ZoDev* dev = nullptr;
    EXPECT_EQ(ZoLib_FileReadPassiveSetup(&dev, (folder / name).c_str()), 23) << name;
  }
  close(writer);
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
      const Bytes frame(kFrameBytes);
      ZoLib_FileWritePassiveAdd(own, frame.data(), kFrameBytes);
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

// Time offsets that do not decrease, with repeats, gaps and now and then a leap that no clock
// makes.
std::vector<uint64_t> Irregular(std::mt19937& random, uint32_t round) {
  std::vector<uint64_t> offsets = {round % 3 == 0 ? 0 : random() % 500};
  const std::size_t count = round == 0 ? 2 : 20 + random() % 60;
  while (offsets.size() < count) {
    uint64_t gap = random() % 250;
    if (random() % 8 == 0) gap = 5000 + random() % 60000;
    if (random() % 4 == 0) gap = 0;
    if (round % 4 == 1 && random() % 20 == 0) gap = uint64_t{random()} << 25;
    offsets.push_back(offsets.back() + gap);
  }
  if (round % 5 == 2) offsets.back() = UINT64_MAX;
  return offsets;
}

// Number of the frame that a seek puts next; 0 for the end of the file.
uint32_t FrameSought(const std::vector<uint64_t>& offsets, uint64_t target) {
  if (target <= offsets.front()) return 1;
  if (target >= offsets.back()) return 0;
  uint32_t number = 0;
  while (offsets[number] <= target) ++number;
  return number;
}

uint64_t RandomTarget(std::mt19937& random, const std::vector<uint64_t>& offsets) {
  const uint64_t offset = offsets[random() % offsets.size()];
  switch (random() % 4) {
    case 0:
      return offset;
    case 1:
      return offset + 1;
    case 2:
      return offset - 1;  // of 0: the largest there is
    default:
      return std::uniform_int_distribution<uint64_t>(0, offsets.back() / 8 * 9)(random);
  }
}

TEST_F(Recording, SeeksLikeAModel) {
  std::mt19937 random(5);
  for (uint32_t round = 0; round < 16; ++round) {
    const auto offsets = Irregular(random, round);
    Write(offsets);
    const Handle dev = OpenPassive();
    for (int i = 0; i < 250; ++i) {
      const uint64_t target = RandomTarget(random, offsets);
      const uint32_t expected = FrameSought(offsets, target);
      ASSERT_EQ(ZoLib_FileReadSeek(dev.get(), target), expected == 0 ? 25 : 0) << target;
      ASSERT_EQ(ZoLib_GetFileReadEOF(dev.get()), expected == 0 ? 1 : 0);
      if (expected == 0) continue;
      // What was looked at last is told until a frame is delivered.
      const uint32_t seen = target <= offsets.front() ? 1 : expected + 1;
      ASSERT_EQ(ZoLib_GetFileCurrentFrameNumber(dev.get()), seen) << target;
      if (random() % 4 == 0) continue;
      ASSERT_EQ(Next(dev), expected) << target << " in round " << round;
      if (random() % 4 == 0) Next(dev);
    }
  }
}

TEST_F(Recording, SeekAndScanSeeWhatWasWrittenSinceTheFileWasRead) {
  Write({0});
  const auto append = [&](const Bytes& bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::app);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  };
  const auto whole = std::filesystem::file_size(path);
  append(Bytes(100, 0xEE));  // a record that is torn, cut off and written again
  const Handle dev = OpenPassive();
  ASSERT_EQ(ZoLib_FileReadSeek(dev.get(), 0), 0);
  EXPECT_EQ(Next(dev), 1u);
  std::filesystem::resize_file(path, whole);
  const Bytes second = Record(1, 100, 30001);
  append(second);
  append(Record(2, 200, 30002));
  ASSERT_EQ(ZoLib_FileReadSeek(dev.get(), 150), 0);
  Bytes frame(kFrameBytes);
  ASSERT_EQ(ZoLib_FileReadPassiveNext(dev.get(), frame.data(), kFrameBytes), 0);
  EXPECT_TRUE(std::equal(frame.begin(), frame.end(), second.begin() + 6));

  EXPECT_EQ(Next(dev), 3u);
  EXPECT_EQ(Next(dev), 0u);
  append(Record(3, 300, 30003));
  ASSERT_EQ(ZoLib_FileTimeBasedAGCSetup(dev.get(), 1, 1, 0, UINT64_MAX), 0);
  EXPECT_EQ(dev->tbLinearMax, 30003);
  ASSERT_EQ(ZoLib_FileReadPassiveNext(dev.get(), frame.data(), kFrameBytes), 0);
  EXPECT_EQ(ZoLib_GetFileCurrentFrameNumber(dev.get()), 4u) << "the end was looked at again";
}

TEST_F(Recording, PlaysOnWhereASeekWent) {
  std::mt19937 random(6);
  for (uint32_t round = 0; round < 8; ++round) {
    const auto offsets = Irregular(random, round);
    Write(offsets);
    // The callback holds each frame until the next one is wanted.
    std::binary_semaphore arrived{0}, wanted{0};
    std::atomic<bool> over = false;
    bool held = false;
    Player player;
    player.inside = [&](_ZoDev* own) {
      if (over || ZoLib_GetFileReadEOF(own) != 0) return;
      arrived.release();
      wanted.acquire();
    };
    const Handle dev = player.Open(path);
    ZoLib_SetFileReadSpeed(dev.get(), 0.0);
    const auto next = [&]() -> uint32_t {
      if (held) wanted.release();
      held = arrived.try_acquire_for(20s);
      return held ? player.lastNumber.load() : 0;
    };
    ASSERT_EQ(ZoLib_CaptureStart(dev.get()), 0);
    EXPECT_EQ(next(), 1);
    uint32_t ends = 0;
    for (int i = 0; i < 150 && !HasFailure(); ++i) {
      const uint64_t target = RandomTarget(random, offsets);
      const uint32_t expected = FrameSought(offsets, target);
      EXPECT_EQ(ZoLib_FileReadSeek(dev.get(), target), expected == 0 ? 25 : 0) << target;
      if (expected == 0) {
        EXPECT_EQ(player.ends, ++ends);
        if (held && random() % 2 == 0) {
          wanted.release();  // on to the wait at the end
          held = false;
        }
        continue;
      }
      EXPECT_EQ(next(), expected) << target << " in round " << round;
      if (random() % 4 == 0) {
        EXPECT_EQ(next(), expected + 1);
      }
    }
    over = true;
    if (held) wanted.release();
    EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 0);
  }
}

TEST_F(Recording, ShowsFramesAtTheirTimes) {
  struct Case {
    double speed;
    uint64_t gapMs;
    int dueMs;
  };
  constexpr uint64_t kHour = 3600000;
  for (const Case& c : {Case{1.0, 60, 60}, Case{2.0, 120, 60}, Case{0.5, 30, 60},
                        Case{72000.0, kHour, 50}, Case{0.0, kHour, 0}}) {
    Write({100, 100 + c.gapMs, 100 + 2 * c.gapMs});
    std::array<std::chrono::steady_clock::time_point, 3> shown;
    Player player;
    player.inside = [&](_ZoDev*) {
      if (player.ends == 0 && player.frames < 3)
        shown[player.frames] = std::chrono::steady_clock::now();
    };
    const Handle dev = player.Open(path);
    ZoLib_SetFileReadSpeed(dev.get(), c.speed);
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(ZoLib_CaptureStart(dev.get()), 0);
    ASSERT_TRUE(WaitFor([&] { return player.ends == 1; })) << c.speed;
    ASSERT_EQ(player.frames, 3);
    // Whole milliseconds, counted from the first frame; how late is up to the machine.
    EXPECT_GE(shown[1] - start, std::chrono::milliseconds(c.dueMs - 3)) << c.speed;
    EXPECT_GE(shown[2] - start, std::chrono::milliseconds(2 * c.dueMs - 3)) << c.speed;
  }
}

TEST_F(Recording, ChangesItsSpeedInsideALongGap) {
  constexpr uint64_t kHour = 3600000;
  Write({1, 2, kHour, 2 * kHour, 2 * kHour + 2, 9 * kHour});
  Player player;
  const Handle dev = player.Open(path);
  ASSERT_EQ(ZoLib_CaptureStart(dev.get()), 0);
  ASSERT_TRUE(WaitFor([&] { return player.frames == 2; }));
  ZoLib_SetFileReadSpeed(dev.get(), -1.0);
  EXPECT_EQ(ZoLib_GetFileReadSpeed(dev.get()), 1.0);
  std::this_thread::sleep_for(20ms);
  EXPECT_EQ(player.frames, 2) << "frame 3 waits on";
  ZoLib_SetFileReadSpeed(dev.get(), 2.0);
  ASSERT_TRUE(WaitFor([&] { return player.frames == 4; }));
  EXPECT_EQ(player.lastNumber, 5) << "frame 3 was dropped, frame 4 came at once";
  ZoLib_SetFileReadSpeed(dev.get(), 0.0);
  ASSERT_TRUE(WaitFor([&] { return player.ends == 1; }));
  EXPECT_EQ(player.frames, 4) << "frame 6 was dropped";
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

TEST_F(Recording, ScansTheFramesOfItsStep) {
  std::vector<uint64_t> offsets = {0, 100, 100, 200, 300, 400, 400, 500, 600, 700, 800, 900, 1000};
  Write(offsets);
  const Handle dev = OpenPassive();
  ZoLib_SetNoiseFilter(dev.get(), 0);
  ASSERT_EQ(Next(dev), 1);
  struct Case {
    uint32_t step;
    uint64_t from, to;
    std::vector<uint16_t> frames;  // from 0
  };
  const Case cases[] = {
      {1, 450, 650, {0, 1, 2, 3, 4, 5, 6, 7, 8}},  // no lower bound
      {1, 0, 0, {0}},
      {2, 0, 1000, {2, 4, 6, 8, 10, 12}},  // the frame at the bound itself is passed over alone
      {2, 50, 650, {2, 4, 6, 8}},
      {2, 100, 500, {4, 6}},  // frames 3 and 5 begin their groups, 7 is followed by one too late
      {3, 0, 1000, {3, 6, 9, 12}},  // two are passed over, then every third
      {3, 250, 850, {5, 8}},
      {4, 0, 1000, {4, 8, 12}},
      {100, 0, 1000, {}},
      {UINT32_MAX, 0, 1000, {}},
      {2, 1000, 2000, {}},
  };
  for (const Case& c : cases) {
    std::vector<uint16_t> frames;
    const ZoStatus status = ZoLib_Priv_FileScan(
        dev.get(), c.step, c.from, c.to,
        [](void* context, const uint16_t* image) {
          static_cast<std::vector<uint16_t>*>(context)->push_back(image[4799] - 30000);
        },
        &frames);
    EXPECT_EQ(frames, c.frames) << c.step << ' ' << c.from << ' ' << c.to;
    EXPECT_EQ(status, c.frames.empty() ? 6 : 0);
  }
  EXPECT_EQ(Next(dev), 2) << "a scan leaves playback where it was";
}

TEST_F(Recording, SharesOneScanBetweenBothGains) {
  const std::vector<uint64_t> offsets = {10, 20, 30, 40};
  Write(offsets, {29000, 30000, 30500, 31000});
  const Handle dev = OpenPassive();
  ZoLib_SetNoiseFilter(dev.get(), 0);
  _ZoDev& d = *dev;
  const auto setUp = [&](uint32_t linear, uint64_t to) {
    return ZoLib_FileTimeBasedAGCSetup(dev.get(), linear, 1, 0, to);
  };
  ASSERT_EQ(setUp(0, 40), 0);
  ASSERT_TRUE(d.tbHistValid);
  EXPECT_EQ(d.tbHistMin, 28 * 1024);
  EXPECT_EQ(d.tbHistMax, 31 * 1024);
  uint32_t base = 0;
  for (uint32_t bin = 0; bin < 32; ++bin) {
    const auto held = [&](uint32_t value) { return (value - 28 * 1024) * 32 / 3072 == bin; };
    const uint32_t frames = held(29000) + held(30000) + held(30500) + held(31000);
    EXPECT_EQ(d.tbHistTable[bin].base, base) << bin;
    EXPECT_EQ(d.tbHistTable[bin].slope, frames * 256) << bin;
    base += frames * 256;
  }
  ASSERT_EQ(setUp(1, 40), 0);
  EXPECT_EQ(d.tbLinearMin, 28 * 1024) << "the table's bounds";
  EXPECT_EQ(d.tbLinearMax, 31 * 1024);
  ASSERT_EQ(setUp(1, 30), 0);
  EXPECT_EQ(d.tbLinearMin, 29000) << "another range, another scan";
  EXPECT_EQ(d.tbLinearMax, 30500);

  // From here on a scan finds other values than the linear range tells (but for a few pixels that
  // the stream had read ahead).
  Write(offsets, {65000, 65001, 65002, 65003});
  ASSERT_EQ(setUp(0, 30), 0);
  EXPECT_EQ(d.tbHistMin, 28 * 1024) << "the linear range, rounded";
  EXPECT_EQ(d.tbHistMax, 30 * 1024);
  EXPECT_GT(d.tbHistTable[31].slope, 512) << "what lies above counts in the last bin";
  ASSERT_EQ(setUp(0, 20), 0);
  EXPECT_EQ(d.tbHistMin, 63 * 1024);
  EXPECT_EQ(d.tbHistMax, 65535) << "no further than 16 bits";

  ASSERT_EQ(setUp(1, 5), 6);
  EXPECT_EQ(d.tbLinearMax, 30500) << "a failing linear scan changes nothing";
  EXPECT_TRUE(d.tbLinearValid);
  ASSERT_EQ(setUp(0, 5), 6);
  EXPECT_TRUE(d.tbHistValid) << "it failed before the table was touched";
  std::filesystem::resize_file(path, HeaderLine().size());
  ASSERT_EQ(setUp(0, 30), 6);
  EXPECT_FALSE(d.tbHistValid) << "the histogram's scan failed";
  EXPECT_EQ(d.tbHistTable, nullptr);
}

TEST_F(Recording, StopsWhileAnotherThreadPausesIt) {
  Write(Regular(30, 3));
  for (int round = 0; round < 300; ++round) {
    Player player;
    const Handle dev = player.Open(path);
    ZoLib_SetFileReadSpeed(dev.get(), round % 2);
    ASSERT_EQ(ZoLib_CaptureStart(dev.get()), 0);
    std::atomic<bool> stopped = false;
    std::thread pauser([&] {
      while (!stopped) ZoLib_FileReadPause(dev.get());
    });
    std::this_thread::sleep_for(std::chrono::microseconds(round * 10));
    EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 0) << "a late pause holds nobody";
    stopped = true;
    pauser.join();
  }
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
  std::vector<uint16_t> image(4800, 29315);
  image[4799] = 65535;
  Bytes telemetry(320);
  const auto word = [&](int at, uint16_t value) {
    telemetry[at] = static_cast<uint8_t>(value >> 8);
    telemetry[at + 1] = static_cast<uint8_t>(value & 0xFF);
  };
  for (int at = 0; at < 320; at += 2) word(at, 11111);  // not to be seen
  const uint16_t time[8] = {2026, 1, 0, 5, 7, 8, 9, 10};
  const std::string dump = (folder / "dump.txt").string();
  const auto dumpTo = [&](const char* to, uint32_t bytes, const uint16_t* date, uint32_t kelvin) {
    return ZoLib_DumpFrame(dev.get(), to, image.data(), bytes, telemetry.data(), date, kelvin);
  };
  const auto lines = [](std::istream&& file) {
    std::vector<std::string> all;
    for (std::string line; std::getline(file, line);) all.push_back(line);
    all.resize(std::max<std::size_t>(all.size(), 3));
    return all;
  };
  EXPECT_EQ(dumpTo(dump.c_str(), 9599, time, 1), 6);
  EXPECT_FALSE(std::filesystem::exists(dump));
  EXPECT_EQ(dumpTo((folder / "no/dump.txt").c_str(), 9600, time, 1), 23);
  EXPECT_EQ(ZoLib_DumpFrame(dev.get(), dump.c_str(), nullptr, 9600, telemetry.data(), time, 1), 21);

  word(2, 0x5678), word(4, 0x0234);  // TIME, less significant word first
  word(60, 0xFFFE), word(62, 0xFFFF);
  word(6, 0x2FFF);
  word(48, 30001), word(58, 29999), word(52, 7), word(64, 65535);
  ASSERT_EQ(ZoLib_DecodeCheck(dev.get(), frame.data()), 0);  // in 1/100 K
  EXPECT_EQ(dumpTo(dump.c_str(), 9600, time, 1), 0);
  auto text = lines(std::ifstream(dump));
  EXPECT_EQ(text.size(), 62);
  EXPECT_EQ(text[0],
            "                  SYSTIME       TIME   TIME_FFC FCS   FPAT FPATFC   HOUT HOUTFC");
  EXPECT_EQ(text[1],
            "TELEMETRY 05/07:08:09.010   36984440         -2   2 300.01 299.99   0.07 655.35");
  EXPECT_EQ(text[2].substr(0, 14), "293.15 293.15 ");
  EXPECT_EQ(text[2].size(), 80 * 7);
  EXPECT_EQ(text.back().substr(79 * 7), "655.35 ");

  frame[9600 + 419] = 0;
  ASSERT_EQ(ZoLib_DecodeCheck(dev.get(), frame.data()), 0);  // in 1/10 K
  EXPECT_EQ(dumpTo(dump.c_str(), 9601, time, 1), 0);
  EXPECT_EQ(lines(std::ifstream(dump))[2].substr(0, 16), "2931.50 2931.50 ");

  const auto now = [] {
    const std::time_t seconds = std::time(nullptr);
    char clock[32];
    std::strftime(clock, sizeof clock, "TELEMETRY %d/%H:%M:%S", std::localtime(&seconds));
    return std::string(clock);
  };
  const std::string before = now();
  testing::internal::CaptureStdout();
  const ZoStatus status = dumpTo(nullptr, 9600, nullptr, 0);
  text = lines(std::istringstream(testing::internal::GetCapturedStdout()));
  const std::string after = now();
  EXPECT_EQ(status, 0);
  EXPECT_EQ(text.size(), 62);
  EXPECT_EQ(text[2].substr(0, 12), "29315 29315 ");
  const std::string shown = text[1].substr(0, before.size());
  EXPECT_TRUE(before > after || (before <= shown && shown <= after)) << text[1];
}

TEST_F(Recording, WritesExactlyItsFormat) {
  struct Case {
    uint16_t product;
    std::string start;  // of the header, up to the version
    uint32_t width, height, frameBytes;
  };
  const std::string tags = " Ip A0:0 C422 X V00010903 N";
  for (const Case& c :
       {Case{0x6101, "YUV4MPEG2 W80 H65   F259:30     " + tags + "117A0161", 80, 60, 10240},
        Case{0x6104, "YUV4MPEG2 W160 H123 F259:30     " + tags + "117A0461", 160, 120, 39040}}) {
    zosim::Host().Reset();
    zosim::Host().PlugCamera({.productId = c.product, .serialNumber = 0x1234});
    const Handle dev = OpenNode("/dev/video0");
    ASSERT_NE(dev, nullptr);
    const Bytes own = {0x01, 0xAB};
    ZoLib_Priv_SetExtInfo(dev.get(), own.data(), 2);
    ASSERT_EQ(ZoLib_FileWritePassiveSetup(dev.get(), path.c_str(), 259, 30), 0);
    ASSERT_EQ(ZoLib_FileWriteStart(dev.get()), 0);
    Bytes frame(c.frameBytes);
    for (std::size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<uint8_t>(i * 7 + i / 251);
    const std::size_t footer = std::size_t{2} * c.width * c.height;
    const auto add = [&](uint8_t revision) {
      frame[footer] = 0;
      frame[footer + 1] = revision;
      ZoLib_FileWritePassiveAdd(dev.get(), frame.data(), c.frameBytes);
    };
    const std::time_t before = std::time(nullptr);
    add(14);
    std::this_thread::sleep_for(20ms);
    add(14);
    const auto restarted = std::chrono::steady_clock::now();
    EXPECT_EQ(ZoLib_FileWriteStart(dev.get()), 0);
    add(13);  // dropped, but the clock starts
    std::this_thread::sleep_for(5ms);
    add(14);
    const auto sinceRestart = std::chrono::steady_clock::now() - restarted;
    const std::time_t after = std::time(nullptr);
    EXPECT_EQ(ZoLib_FileWriteStop(dev.get()), 0);

    const Bytes file = Contents();
    const std::size_t recordBytes = 6 + c.frameBytes + 2 * c.width;
    ASSERT_EQ(file.size(), 366 + 3 * recordBytes);
    const std::string header(file.begin(), file.begin() + 366);
    EXPECT_EQ(header.substr(0, c.start.size()), c.start);
    EXPECT_EQ(header.substr(75, 16), "3412000000000000") << header;
    EXPECT_EQ(header.substr(107), " E01AB" + std::string(252, '0') + "\n");
    const uint32_t numbers[] = {1, 2, 1};
    uint32_t milliseconds = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      const uint8_t* record = &file[366 + k * recordBytes];
      EXPECT_EQ(std::memcmp(record, "FRAME\n", 6), 0);
      EXPECT_EQ(std::memcmp(record + 6, frame.data(), c.frameBytes), 0);
      const uint8_t* trailer = record + 6 + c.frameBytes;
      const auto word = [&](int at) {
        return static_cast<uint32_t>(trailer[at] | trailer[at + 1] << 8);
      };
      EXPECT_EQ(word(8), numbers[k]);
      EXPECT_EQ(word(10), 0);
      EXPECT_EQ(word(0) != 0, k != 0) << "from the first frame handled";
      if (k == 2) {
        EXPECT_LE(std::chrono::milliseconds(word(0)), sinceRestart + 2ms);
      }
      EXPECT_TRUE(std::all_of(trailer + 2, trailer + 8, [](uint8_t b) { return b == 0; }));
      EXPECT_TRUE(
          std::all_of(trailer + 28, trailer + 2 * c.width, [](uint8_t b) { return b == 0; }));
      std::tm date{};
      date.tm_year = static_cast<int>(word(12)) - 1900;
      date.tm_mon = static_cast<int>(word(14)) - 1;
      date.tm_mday = static_cast<int>(word(18));
      date.tm_hour = static_cast<int>(word(20));
      date.tm_min = static_cast<int>(word(22));
      date.tm_sec = static_cast<int>(word(24));
      date.tm_isdst = -1;
      const std::time_t seconds = std::mktime(&date);
      EXPECT_TRUE(before <= seconds && seconds <= after);
      EXPECT_EQ(word(16), date.tm_wday);
      EXPECT_LT(word(26), 1000);
      milliseconds += word(26);
    }
    EXPECT_NE(milliseconds, 0) << "of frames some milliseconds apart";
  }
}

}  // namespace
