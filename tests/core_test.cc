// Statuses, the record's defaults and accessors, model profiles, locks, clocks, moving average.
#include <gtest/gtest.h>
#include <sys/time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "core/accessors.h"
#include "core/clocks.h"
#include "core/device_record.h"
#include "core/life_cycle.h"
#include "core/model_profile.h"
#include "core/status.h"
#include "decode/temp_decoders.h"
#include "tests/handle.h"

namespace {

using Clock = std::chrono::steady_clock;

double MsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

Handle ProfiledHandle(uint16_t product, uint16_t vendor = 0x7A11, bool refTemp = true) {
  Handle dev = MakeHandle();
  dev->identityBlock.vendorId = vendor;
  dev->identityBlock.productId = product;
  ZoLib_Priv_EnableRefTemp(dev.get(), refTemp ? 1 : 0);
  ZoLib_Priv_SetFrameSpecByVIDPID(dev.get());
  return dev;
}

TEST(Status, HasAMessageForEveryCodeAndOnlyThose) {
  const std::pair<ZoStatus, const char*> messages[] = {
      {0, "ok"},
      {1, "internal error"},
      {2, "no memory"},
      {3, "device not found"},
      {4, "device not ready"},
      {5, "device unsupported"},
      {6, "not enough size"},
      {7, "not yet"},
      {10, "firmware error"},
      {11, "sensor error"},
      {13, "V4L2 error"},
      {20, "null pointer"},
      {21, "invalid value"},
      {22, "invalid state"},
      {23, "file I/O error"},
      {24, "invalid file format"},
      {25, "end of file"},
  };
  for (const auto& [code, text] : messages) EXPECT_STREQ(ZoLib_GetErrorMessage(code), text);
  for (ZoStatus code : {8U, 9U, 12U, 14U, 19U, 26U, 0xFFFFFFFFU}) {
    EXPECT_STREQ(ZoLib_GetErrorMessage(code), "unknown") << code;
  }
}

TEST(Status, HostErrorsAreKeptAndAllMapToOneStatus) {
  const Handle dev = MakeHandle();
  EXPECT_EQ(ZoLib_Priv_HostErrorToStatus(dev.get(), 19), 13);
  EXPECT_EQ(ZoLib_GetHostError(dev.get()), 19);
  EXPECT_EQ(ZoLib_Priv_HostErrorToStatus(dev.get(), 0), 0);
  EXPECT_EQ(ZoLib_GetHostError(dev.get()), 0);
}

TEST(Record, StartsWithItsDefaults) {
  const Handle handle = MakeHandle();
  _ZoDev* dev = handle.get();
  EXPECT_EQ(ZoLib_IsRealDevice(dev), 0);
  EXPECT_EQ(dev->deviceFd, -1);
  EXPECT_EQ(ZoLib_GetNoiseFilter(dev), 1);
  EXPECT_EQ(ZoLib_GetNoiseFilterThreshold(dev), 50);
  EXPECT_EQ(ZoLib_GetRGBOrder(dev), 1);
  EXPECT_EQ(ZoLib_GetFileReadSpeed(dev), 1.0);
  EXPECT_EQ(ZoLib_GetFrameWidth(dev), 0);
  EXPECT_EQ(dev->commandPollMs, 20);
  EXPECT_EQ(dev->refTempEnabled, 1);
  uint32_t low = 0, high = 0;
  ZoLib_GetDecodeRange(dev, &low, &high);
  EXPECT_EQ(low, 28914);
  EXPECT_EQ(high, 32114);
  int32_t agcLow = -1, agcHigh = -1;
  ZoLib_GetAGCRange(dev, &agcLow, &agcHigh);
  EXPECT_EQ(agcLow, 0);
  EXPECT_EQ(agcHigh, 70315);
  for (uint32_t zero : {ZoLib_GetUpsideDown(dev), ZoLib_GetUndistortion(dev),
                        ZoLib_GetTimeBasedAGC(dev), ZoLib_GetCircumferenceCorrection(dev),
                        ZoLib_GetColorizeByRaw(dev), ZoLib_GetDisconnected(dev)}) {
    EXPECT_EQ(zero, 0);
  }
}

TEST(Record, NeedsACameraForWhateverTalksToOne) {
  const Handle handle = MakeHandle();
  _ZoDev* dev = handle.get();
  uint16_t word = 0;
  uint32_t active = 0;
  uint8_t raw[16] = {};
  EXPECT_EQ(ZoLib_GetConfig(dev, &word), 4);
  EXPECT_EQ(ZoLib_GetConfig(dev, nullptr), 4);
  EXPECT_EQ(ZoLib_SetConfig(dev, 0), 4);
  EXPECT_EQ(ZoLib_GetActive(dev, &active), 4);
  EXPECT_EQ(ZoLib_CommandRun(dev, 1, 2), 4);
  EXPECT_EQ(ZoLib_CommandGet(dev, 1, 2, nullptr, 99), 4);
  EXPECT_EQ(ZoLib_CommandSet(dev, 1, 2, nullptr, 99), 4);
  EXPECT_EQ(ZoLib_CaptureSetup(dev, 0, nullptr, nullptr), 4);
  EXPECT_EQ(ZoLib_CaptureStart(dev), 4);
  EXPECT_EQ(ZoLib_CaptureStop(dev), 4);
  EXPECT_EQ(ZoLib_Decode(dev, raw, raw, sizeof raw, 0, 1), 4);
}

TEST(Accessors, AnswerNullHandles) {
  EXPECT_EQ(ZoLib_GetFrameRateDenominator(nullptr), 1);
  EXPECT_EQ(ZoLib_GetFrameRateNumerator(nullptr), 0);
  EXPECT_EQ(ZoLib_GetVendorID(nullptr), 0);
  EXPECT_EQ(ZoLib_GetSerialNumberAsUINT64(nullptr), 0);
  EXPECT_EQ(ZoLib_GetFileReadSpeed(nullptr), 0.0);
  EXPECT_EQ(ZoLib_GetCircumferenceCorrection(nullptr), 0);
  ZoLib_SetFileReadSpeed(nullptr, 1.0);
  ZoLib_SetNoiseFilterThreshold(nullptr, 1);
  ZoLib_SetCircumferenceCorrection(nullptr, 1);
  ZoLib_Invalidate(nullptr);
  ZoLib_Release(nullptr);
  ZoLib_ReleaseArray(nullptr);
  EXPECT_EQ(ZoLib_CreateWithoutConnect(nullptr), 20);
  EXPECT_EQ(ZoLib_FinishDecode(nullptr), 20);
  EXPECT_EQ(ZoLib_CommandRun(nullptr, 0, 0), 20);
  EXPECT_EQ(ZoLib_CaptureStart(nullptr), 20);
  EXPECT_EQ(ZoLib_Reconnect(nullptr), 20);
}

TEST(Accessors, ClampAndCondition) {
  const Handle handle = MakeHandle();
  _ZoDev* dev = handle.get();
  const uint16_t thresholds[][2] = {{0, 1}, {7, 7}, {100, 100}, {101, 100}, {65535, 100}};
  for (const auto& [given, stored] : thresholds) {
    ZoLib_SetNoiseFilterThreshold(dev, given);
    EXPECT_EQ(ZoLib_GetNoiseFilterThreshold(dev), stored) << given;
  }
  ZoLib_SetFileReadSpeed(dev, 4.0);
  for (double refused : {-0.5, std::nan("")}) {
    ZoLib_SetFileReadSpeed(dev, refused);
    EXPECT_EQ(ZoLib_GetFileReadSpeed(dev), 4.0);
  }
  dev->fileBaseTimeOffset = 7;
  ZoLib_SetFileReadSpeed(dev, 0.0);
  EXPECT_EQ(ZoLib_GetFileReadSpeed(dev), 0.0);
  EXPECT_EQ(dev->fileBaseTimeOffset, 0) << "pacing restarts";

  const Handle without = ProfiledHandle(0x6101);
  ZoLib_SetCircumferenceCorrection(without.get(), 5);
  EXPECT_EQ(ZoLib_GetCircumferenceCorrection(without.get()), 0);
  const Handle with = ProfiledHandle(0x6110);
  EXPECT_EQ(ZoLib_GetCircumferenceCorrection(with.get()), 1);
  ZoLib_SetCircumferenceCorrection(with.get(), 5);
  EXPECT_EQ(ZoLib_GetCircumferenceCorrection(with.get()), 5);
}

TEST(Accessors, CopyNamesLikeStrncpy) {
  const Handle handle = MakeHandle();
  _ZoDev* dev = handle.get();
  std::strcpy(dev->productName, "Kamera");
  char buffer[9];
  const auto copy = [&](_ZoDev* from, int32_t size) {
    std::memset(buffer, '#', sizeof buffer);
    ZoLib_GetDeviceName(from, buffer, size);
    return std::string_view(buffer, sizeof buffer);
  };
  using std::literals::operator""sv;
  EXPECT_EQ(copy(dev, 8), "Kamera\0\0#"sv);
  EXPECT_EQ(copy(dev, 6), "Kamera###"sv);
  EXPECT_EQ(copy(nullptr, 3), "\0########"sv);
  EXPECT_EQ(copy(nullptr, 0), "#########"sv);
  EXPECT_EQ(copy(dev, -1), "#########"sv);
  uint16_t wide[2] = {7, 7};
  ZoLib_GetDeviceNameW(dev, wide, 2);
  EXPECT_EQ(wide[0], 0);
  EXPECT_EQ(wide[1], 7);
}

TEST(Accessors, GiveTheSerialNumberInWordsAndKeepTheExtendedInfo) {
  const Handle handle = MakeHandle();
  _ZoDev* dev = handle.get();
  uint16_t words[4] = {};
  dev->identityBlock.serialWords[2] = 9;
  ZoLib_GetSerialNumber(dev, words);
  EXPECT_EQ(words[2], 9) << "from the identity while no number was set";
  dev->serialNumber = 0x4444333322221111;
  ZoLib_GetSerialNumber(dev, words);
  EXPECT_EQ(words[0], 0x1111);
  EXPECT_EQ(words[3], 0x4444);

  uint8_t block[300];
  std::memset(block, 0xAB, sizeof block);
  ZoLib_Priv_SetExtInfo(dev, block, sizeof block);
  uint8_t back[300] = {};
  ZoLib_Priv_GetExtInfo(dev, back, sizeof back);
  EXPECT_EQ(back[127], 0xAB);
  EXPECT_EQ(back[128], 0) << "cut to the block's 128 bytes";
}

struct Profile {
  uint16_t product;
  uint32_t width, height, footer, telemetry, rawBytes;
  uint8_t revision;
  int32_t resolution;
  double strength;
  uint32_t undistortion, circumference;
};

TEST(ModelProfile, FollowsFromTheProduct) {
  const Profile profiles[] = {
      {0x6100, 80, 60, 4, 3, 10240, 9, 100, 0.6, 0, 1},
      {0x6101, 80, 60, 4, 3, 10240, 14, 0, 0.6, 0, 0},
      {0x6102, 160, 120, 2, 2, 39040, 10, 100, 0.7, 0, 0},
      {0x6103, 160, 120, 2, 2, 39040, 14, 0, 0.7, 1, 0},
      {0x6104, 160, 120, 2, 2, 39040, 14, 0, 0.7, 0, 0},
      {0x6105, 160, 120, 2, 2, 39040, 14, 0, 0.7, 0, 0},
      {0x6106, 80, 60, 4, 3, 10240, 9, 100, 0.6, 0, 1},
      {0x6110, 80, 60, 4, 3, 10240, 9, 100, 0.6, 0, 1},
      {0x6120, 80, 60, 4, 3, 10240, 14, 0, 0.6, 0, 0},
      {0x61FF, 80, 60, 4, 3, 10240, 9, 100, 0.6, 0, 1},
  };
  for (const Profile& p : profiles) {
    SCOPED_TRACE(p.product);
    const Handle dev = ProfiledHandle(p.product);
    EXPECT_EQ(dev->frameWidth, p.width);
    EXPECT_EQ(dev->frameHeight, p.height);
    EXPECT_EQ(dev->footerLines, p.footer);
    EXPECT_EQ(dev->telemetryLines, p.telemetry);
    EXPECT_EQ(dev->pixelCount, p.width * p.height);
    EXPECT_EQ(dev->imageBytes, p.width * p.height * 2);
    EXPECT_EQ(dev->rawFrameBytes, p.rawBytes);
    EXPECT_EQ(dev->telemetryRevision, p.revision);
    EXPECT_EQ(dev->tempResolution, p.resolution);
    EXPECT_EQ(dev->undistortionStrength, p.strength);
    EXPECT_EQ(dev->undistortionOn, p.undistortion);
    EXPECT_EQ(dev->circumferenceCorrectionSupported, p.circumference);
    EXPECT_EQ(dev->refTempRegion, p.product == 0x6120 ? 20 : 0);
    EXPECT_EQ(dev->tempDecoder, p.product == 0x6120 ? ZoLib_Priv_Decode_TEMPERATURE_16_D
                                : p.revision == 14  ? ZoLib_Priv_Decode_TEMPERATURE_16_B
                                                    : ZoLib_Priv_Decode_TEMPERATURE_16_A);
    EXPECT_TRUE(std::all_of(&dev->agcMask[0], &dev->agcMask[dev->pixelCount],
                            [](uint32_t weight) { return weight == 1; }));
  }
  const Handle body = ProfiledHandle(0x6120);
  for (uint16_t i = 0; i < 3; ++i) {
    EXPECT_EQ(body->refPoints[i].column, 1);
    EXPECT_EQ(body->refPoints[i].row, 10 + 20 * i);
    for (MovingAvg* average : {&body->refAverages.sensor[i], &body->refAverages.measured[i]}) {
      for (int value = 1; value <= 10; ++value) average->Put(value);
      EXPECT_EQ(average->Get(), 5.5) << "a window of 10";
    }
  }
}

TEST(ModelProfile, WithoutReferenceBodyOrOutsideTheFamily) {
  const Handle plain = ProfiledHandle(0x6120, 0x7A11, false);
  EXPECT_EQ(plain->tempDecoder, ZoLib_Priv_Decode_TEMPERATURE_16_B);
  EXPECT_EQ(plain->refTempRegion, 0);
  const Handle foreign = ProfiledHandle(0x6101, 0x1234);
  EXPECT_EQ(foreign->rawFrameBytes, 10240);
  EXPECT_EQ(foreign->telemetryRevision, 9);
  EXPECT_EQ(foreign->tempDecoder, nullptr);
  EXPECT_EQ(ZoLib_Priv_CheckID(0x7A11, 0x61FF), 1);
  EXPECT_EQ(ZoLib_Priv_CheckID(0x7A11, 0x6200), 0);
  EXPECT_EQ(ZoLib_Priv_CheckID(0x7A12, 0x6101), 0);
}

TEST(MovingAverage, IsTheNewestValueUntilTheWindowIsFull) {
  MovingAvg average(10);
  EXPECT_EQ(average.Get(), 0.0);
  for (int i = 1; i <= 9; ++i) {
    average.Put(i);
    EXPECT_EQ(average.Get(), i);
  }
  average.Put(10);
  EXPECT_EQ(average.Get(), 5.5);
  average.Put(21);  // replaces the 1
  EXPECT_EQ(average.Get(), 7.5);
}

TEST(MovingAverage, SurvivesEveryWindow) {
  MovingAvg average(10);
  for (int i = 0; i < 8; ++i) average.Put(i);
  average.Init(16);  // keeps the slot and the count of 8
  for (int i = 0; i < 7; ++i) average.Put(1.0);
  EXPECT_EQ(average.Get(), 1.0) << "fifteen values: the newest alone";
  average.Put(17.0);
  EXPECT_EQ(average.Get(), (7 * 1.0 + 17.0) / 16) << "sixteen: their mean, the old ones read 0";
  for (int window : {3, 0, -1, 1}) {
    average.Init(window);
    average.Put(4.0);
    average.Get();
  }
  EXPECT_EQ(average.Get(), 4.0);
}

TEST(ConditionVariable, TimesOutHoldingTheMutex) {
  PInProcMutex mutex;
  PInProcCond condition;
  condition.NotifyAll();  // leaves nothing pending
  mutex.Lock();
  const auto start = Clock::now();
  EXPECT_EQ(condition.Wait(&mutex, 60), 0);
  EXPECT_GE(MsSince(start), 50.0);
  std::atomic<bool> taken = false;
  std::thread other([&] {
    const ScopedLock lock(mutex);
    taken = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_FALSE(taken) << "the mutex is held again";
  mutex.Unlock();
  other.join();
}

TEST(ConditionVariable, NeverLosesANotificationUnderTheMutex) {
  PInProcMutex mutex;
  PInProcCond condition;
  int turn = 0;
  const auto play = [&](int own) {
    for (int i = 0; i < 2000; ++i) {
      const ScopedLock lock(mutex);
      while (turn != own) ASSERT_EQ(condition.Wait(&mutex, 20000), 1);
      turn = 1 - own;
      condition.NotifyAll();
    }
  };
  std::thread other(play, 1);
  play(0);
  other.join();
}

TEST(Clocks, SleepThroughSignals) {
  std::signal(SIGALRM, [](int) {});
  itimerval timer{{0, 10'000}, {0, 10'000}};
  setitimer(ITIMER_REAL, &timer, nullptr);
  const auto start = Clock::now();
  ZoLib_Priv_Sleep(150);
  EXPECT_GE(MsSince(start), 149.0);
  timer = {};
  setitimer(ITIMER_REAL, &timer, nullptr);
  ZoLib_Priv_Sleep(0);
}

TEST(Clocks, ConvertToTheLocalZone) {
  setenv("TZ", "XXX-1", 1);
  tzset();
  const DateTime16 utc{2026, 1, 0, 1, 0, 0, 0, 250};
  DateTime16 local{};
  ZoLib_Priv_SysTimeToLocalTime(&utc, &local);
  EXPECT_EQ(local.hour, 1);
  EXPECT_EQ(local.day, 1);
  EXPECT_EQ(local.dayOfWeek, 4);
  EXPECT_EQ(local.millisecond, 250);

  DateTime16 sys{}, here{}, again{};
  do {  // until both readings fall into one second
    ZoLib_Priv_GetSysDateTime(&sys);
    ZoLib_Priv_GetLocalDateTime(&here);
    ZoLib_Priv_GetSysDateTime(&again);
  } while (sys.second != again.second);
  EXPECT_EQ(here.hour, (sys.hour + 1) % 24);
  EXPECT_EQ(here.minute, sys.minute);
  EXPECT_EQ(here.second, sys.second);
  unsetenv("TZ");
  tzset();
}

}  // namespace
