// Recordings under hard conditions: writers that are killed, files that grow and shrink while they
// are played, files of many gigabytes.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <random>
#include <semaphore>
#include <thread>

#include "core/device_record.h"
#include "sim/virtual_host.h"
#include "tests/recording_file.h"
#include "tests/wait.h"

namespace {

using namespace std::chrono_literals;

class RecordingStress : public Recording {
 protected:
  void Append(const Bytes& bytes) const {
    std::ofstream file(path, std::ios::binary | std::ios::app);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  }
};

// A frame unlike its neighbours in every byte of its image.
Bytes FrameNumbered(uint32_t number) {
  Bytes frame(kFrameBytes);
  for (uint32_t i = 0; i < 9600; ++i) frame[i] = static_cast<uint8_t>(number * 37 + i / 7);
  frame[9601] = 14;
  std::memcpy(&frame[kFrameBytes - 4], &number, 4);
  return frame;
}

// Records until it is killed; each frame's number goes to the pipe once its write had completed.
[[noreturn]] void RecordForEver(const std::string& path, int reports) {
  zosim::Host().Reset();
  zosim::Host().PlugCamera({.productId = 0x6101});
  _ZoDev* dev = OpenNode("/dev/video0").release();
  if (ZoLib_FileWritePassiveSetup(dev, path.c_str(), 259, 30) != 0) _exit(1);
  if (ZoLib_FileWriteStart(dev) != 0) _exit(1);
  for (uint32_t number = 1;; ++number) {
    ZoLib_FileWritePassiveAdd(dev, FrameNumbered(number).data(), kFrameBytes);
    if (write(reports, &number, sizeof number) != sizeof number) _exit(1);
  }
}

TEST_F(RecordingStress, HoldsEveryFrameThatWasWrittenBeforeAKill) {
  std::mt19937 random(1);
  for (int run = 0; run < 50; ++run) {
    int reports[2];
    ASSERT_EQ(pipe(reports), 0);
    const pid_t writer = fork();
    ASSERT_GE(writer, 0);
    if (writer == 0) {
      close(reports[0]);
      RecordForEver(path, reports[1]);
    }
    close(reports[1]);
    uint32_t reported = 0;
    EXPECT_EQ(read(reports[0], &reported, sizeof reported), sizeof reported);
    usleep(random() % 5000);
    kill(writer, SIGKILL);
    while (read(reports[0], &reported, sizeof reported) == sizeof reported) {
    }
    close(reports[0]);
    waitpid(writer, nullptr, 0);

    const Handle dev = OpenPassive();
    ASSERT_NE(dev, nullptr);
    const uint32_t held = ZoLib_GetFileFrames(dev.get());
    EXPECT_GE(held, reported);
    EXPECT_LE(held, reported + 1);
    Bytes frame(kFrameBytes);
    for (uint32_t number = 1; number <= held; ++number) {
      ASSERT_EQ(ZoLib_FileReadPassiveNext(dev.get(), frame.data(), kFrameBytes), 0);
      ASSERT_EQ(ZoLib_GetFileCurrentFrameNumber(dev.get()), number);
      ASSERT_TRUE(frame == FrameNumbered(number)) << number;
    }
    EXPECT_EQ(Next(dev), 0);
  }
}

TEST_F(RecordingStress, FollowsAFileThatGrows) {
  Write(Regular(5, 20));
  const Handle dev = OpenPassive();
  for (uint32_t number : {1U, 2U, 3U, 4U, 5U, 0U}) EXPECT_EQ(Next(dev), number);
  for (std::size_t k = 5; k < 10; ++k) Append(Record(k, k * 20, 30000));
  EXPECT_EQ(ZoLib_FileReadSeek(dev.get(), 130), 0) << "beyond the end that was";
  for (uint32_t number : {7U, 8U, 9U, 10U, 0U}) EXPECT_EQ(Next(dev), number);
  EXPECT_EQ(ZoLib_FileReadSeek(dev.get(), 45), 0);
  EXPECT_EQ(Next(dev), 3);
}

TEST_F(RecordingStress, PlaysWhileAWriterAppends) {
  constexpr uint32_t kFrames = 80;
  Write(Regular(2, 20));
  std::thread writer([&] {
    for (std::size_t k = 2; k < kFrames; ++k) {
      const Bytes record = Record(k, k * 20, static_cast<uint16_t>(30000 + k));
      const auto middle = record.begin() + static_cast<long>(k * 997 % kRecordBytes);
      Append(Bytes(record.begin(), middle));
      std::this_thread::sleep_for(500us);
      Append(Bytes(middle, record.end()));
    }
  });
  std::atomic<uint32_t> newest = 0;
  Player player;
  player.inside = [&](_ZoDev* own) {
    if (ZoLib_GetFileReadEOF(own) != 0) return;
    EXPECT_LE(player.lastNumber, newest + 1) << "none is left out";
    newest = std::max(newest.load(), player.lastNumber.load());
    EXPECT_EQ(own->playback->frame[9599],
              static_cast<uint8_t>((30000 + player.lastNumber - 1) & 0xFF));
  };
  const Handle dev = player.Open(path);
  ZoLib_SetFileReadSpeed(dev.get(), 0.0);
  EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
  EXPECT_TRUE(WaitFor([&] {
    const uint32_t last = newest;
    if (last == kFrames) return true;
    if (ZoLib_GetFileReadEOF(dev.get()) != 0) {
      const ZoStatus status = ZoLib_FileReadSeek(dev.get(), (last - 1) * 20);
      EXPECT_TRUE(status == 0 || status == 25) << status;
    }
    return HasFailure();
  }));
  EXPECT_EQ(ZoLib_GetFileError(dev.get()), 0);
  writer.join();
}

TEST_F(RecordingStress, EndsWhereAFileWasCutShort) {
  Write(Regular(30, 10));
  std::binary_semaphore arrived{0}, wanted{0};
  Player player;
  player.inside = [&](_ZoDev*) {
    if (player.frames != 4 || player.ends != 0) return;
    arrived.release();
    wanted.acquire();
  };
  const Handle dev = player.Open(path);
  ZoLib_SetFileReadSpeed(dev.get(), 0.0);
  ASSERT_EQ(ZoLib_CaptureStart(dev.get()), 0);
  EXPECT_TRUE(arrived.try_acquire_for(20s));
  std::filesystem::resize_file(path, 366 + 12 * kRecordBytes + kRecordBytes / 2);
  wanted.release();
  ASSERT_TRUE(WaitFor([&] { return player.ends == 1; }));
  EXPECT_EQ(player.frames, 12);
  EXPECT_EQ(ZoLib_GetFileError(dev.get()), 0);
  EXPECT_EQ(ZoLib_FileReadSeek(dev.get(), 200), 25);
  EXPECT_EQ(ZoLib_FileReadSeek(dev.get(), 0), 0);
  ASSERT_TRUE(WaitFor([&] { return player.ends == 3; }));
  EXPECT_EQ(player.frames, 24);
  std::filesystem::resize_file(path, 0);
  EXPECT_EQ(ZoLib_FileReadSeek(dev.get(), 0), 25);
  EXPECT_EQ(ZoLib_FileTimeBasedAGCSetup(dev.get(), 1, 1, 0, 1000), 6);
  EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 0);
}

TEST_F(RecordingStress, LeavesItsEndAsSoonAsASeekSays) {
  Write(Regular(3, 1));
  Player player;
  const Handle dev = player.Open(path);
  ASSERT_EQ(ZoLib_CaptureStart(dev.get()), 0);
  const auto begin = std::chrono::steady_clock::now();
  for (uint32_t round = 1; round <= 20; ++round) {
    ASSERT_TRUE(WaitFor([&] { return player.ends == round; }));
    ASSERT_EQ(ZoLib_FileReadSeek(dev.get(), 0), 0);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s) << "twenty naps of a second";
}

// Bytes that this process has read from files so far.
uint64_t BytesRead() {
  std::ifstream file("/proc/self/io");
  std::string name;
  uint64_t bytes = 0;
  file >> name >> bytes;
  return bytes;
}

TEST_F(RecordingStress, OpensAndSeeksInEightGigabytesAtOnce) {
  constexpr uint64_t kRecords = 830'000, kMiddle = 415'000;
  const auto offset = [](uint64_t k) { return k * 30'000 / 259; };
  const auto place = [](uint64_t k) { return static_cast<std::streamoff>(366 + k * kRecordBytes); };
  Write({0});
  std::error_code error;
  std::filesystem::resize_file(path, 366 + kRecords * kRecordBytes, error);
  if (error) GTEST_SKIP() << "no sparse files here: " << error.message();
  {
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    const auto fill = [&](uint64_t from, uint64_t to) {
      for (uint64_t k = from; k < to; ++k) {
        file.seekp(place(k));
        file.write(reinterpret_cast<const char*>(Record(k, offset(k), 30000).data()), kRecordBytes);
      }
    };
    fill(kMiddle - 15, kMiddle + 15);
    fill(kRecords - 60, kRecords);
    ASSERT_TRUE(file.good());
  }
  const uint64_t before = BytesRead();
  const Handle dev = OpenPassive();
  ASSERT_NE(dev, nullptr);
  EXPECT_EQ(ZoLib_GetFileFrames(dev.get()), kRecords);
  EXPECT_EQ(ZoLib_GetFileTimeLength(dev.get()), offset(kRecords - 1));
  // What lies between is a hole: a walk through it would meet no markers.
  for (const uint64_t k : {kMiddle, kRecords - 20, kRecords - 35, kMiddle, kRecords - 2}) {
    ASSERT_EQ(ZoLib_FileReadSeek(dev.get(), offset(k) + 1), 0) << k;
    EXPECT_EQ(Next(dev), k + 1);
  }
  EXPECT_EQ(ZoLib_FileReadSeek(dev.get(), offset(kRecords)), 25);
  EXPECT_EQ(ZoLib_FileReadSeek(dev.get(), offset(kRecords - 40)), 0);
  EXPECT_EQ(Next(dev), kRecords - 39);
  EXPECT_EQ(ZoLib_FileReadSeek(dev.get(), 0), 0);
  EXPECT_EQ(Next(dev), 1);
  EXPECT_LT(BytesRead() - before, 4'000'000);
}

}  // namespace
