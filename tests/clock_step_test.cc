// A wall clock that is set by an hour in the middle of things: nothing hangs, nothing rushes, and
// recordings keep their times.
#include <pthread.h>
#include <sys/time.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <thread>

#include "core/clocks.h"
#include "core/locks.h"
#include "sim/virtual_host.h"
#include "tests/recording_file.h"
#include "tests/wait.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr long kHourS = 3600;
std::atomic<long> setByS = 0;  // how far the wall clock has been set

bool Before(const timespec& a, const timespec& b) {
  return a.tv_sec != b.tv_sec ? a.tv_sec < b.tv_sec : a.tv_nsec < b.tv_nsec;
}

}  // namespace

// What the linker puts in the place of the calls that the library makes (see CMakeLists.txt).
extern "C" {
int __real_clock_gettime(clockid_t clock, timespec* now);
int __wrap_clock_gettime(clockid_t clock, timespec* now) {
  const int result = __real_clock_gettime(clock, now);
  if (clock == CLOCK_REALTIME) now->tv_sec += setByS;
  return result;
}

int __real_gettimeofday(timeval* now, void* zone);
int __wrap_gettimeofday(timeval* now, void* zone) {
  const int result = __real_gettimeofday(now, zone);
  now->tv_sec += setByS;
  return result;
}

// Like the kernel, which notices at once that its wall clock is set.
int __real_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  const timespec* deadline);
int __wrap_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  const timespec* deadline) {
  while (true) {
    timespec now{};
    __wrap_clock_gettime(CLOCK_REALTIME, &now);
    if (!Before(now, *deadline)) return ETIMEDOUT;
    timespec soon{};
    __real_clock_gettime(CLOCK_REALTIME, &soon);
    soon.tv_nsec += 5'000'000;
    soon.tv_sec += soon.tv_nsec / 1'000'000'000;
    soon.tv_nsec %= 1'000'000'000;
    const int result = __real_pthread_cond_timedwait(condition, mutex, &soon);
    if (result != ETIMEDOUT) return result;
  }
}
}

namespace {

// Every case with the clock set forward and back.
class ClockStep : public Recording, public testing::WithParamInterface<int> {
 protected:
  ~ClockStep() override { setByS = 0; }
  static void Step() { setByS += GetParam() * kHourS; }
};

TEST_P(ClockStep, EndsAWaitInTime) {
  PInProcMutex mutex;
  PInProcCond condition;
  const auto wait = [&](unsigned timeoutMs) {
    const ScopedLock lock(mutex);
    return condition.Wait(&mutex, timeoutMs);
  };
  std::thread shortWait([&] { EXPECT_EQ(wait(200), 0); });
  std::thread longWait([&] { EXPECT_EQ(wait(1'000'000), GetParam() > 0 ? 0 : 1); });
  std::this_thread::sleep_for(50ms);
  Step();
  std::this_thread::sleep_for(1500ms);
  {
    const ScopedLock lock(mutex);
    condition.NotifyAll();
  }
  shortWait.join();
  longWait.join();
}

TEST_P(ClockStep, NeitherHoldsNorRushesPlayback) {
  Write(Regular(20, 50));
  Player player;
  std::atomic<Clock::duration> longest = Clock::duration(0);
  Clock::time_point last = Clock::now();
  player.inside = [&](_ZoDev*) {
    const auto now = Clock::now();
    longest = std::max(longest.load(), now - last);
    last = now;
    if (player.frames == 6) Step();
  };
  const Handle dev = player.Open(path);
  const auto start = Clock::now();
  ASSERT_EQ(ZoLib_CaptureStart(dev.get()), 0);
  std::this_thread::sleep_for(420ms);  // in the middle of a gap
  Step();
  ASSERT_TRUE(WaitFor([&] { return player.ends == 1; }));
  EXPECT_EQ(player.frames, 20);
  EXPECT_GE(Clock::now() - start, 18 * 50ms - 5ms);
  EXPECT_LT(longest.load(), 1s);
}

TEST_P(ClockStep, LetsPlaybackGoOnAndStopFromEveryState) {
  constexpr uint64_t kLong = 600'000;
  Write({1, 2, kLong, kLong + 1, kLong + 2});
  for (const int state : {0, 1, 2}) {  // in a long gap, paused, at the end
    Player player;
    const Handle dev = player.Open(path);
    if (state == 2) ZoLib_SetFileReadSpeed(dev.get(), 0.0);
    ASSERT_EQ(ZoLib_CaptureStart(dev.get()), 0);
    ASSERT_TRUE(WaitFor([&] { return state == 2 ? player.ends == 1 : player.frames == 2; }));
    if (state == 1) ZoLib_FileReadPause(dev.get());
    std::this_thread::sleep_for(20ms);
    Step();
    std::this_thread::sleep_for(20ms);
    const uint32_t before = player.frames;
    const auto start = Clock::now();
    if (state == 1) ZoLib_FileReadPause(dev.get());
    if (state != 0) {
      EXPECT_EQ(ZoLib_FileReadSeek(dev.get(), 1), 0);
    }
    if (state == 1) ZoLib_FileReadResume(dev.get());
    if (state == 0) ZoLib_SetFileReadSpeed(dev.get(), 0.0);
    EXPECT_TRUE(WaitFor([&] { return player.frames > before; })) << state;
    EXPECT_LT(Clock::now() - start, 1s) << state;
    const auto stop = Clock::now();
    EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 0);
    EXPECT_LT(Clock::now() - stop, 1s) << state;
  }
}

TEST_P(ClockStep, LeavesTheTimesOfARecordingInOrder) {
  zosim::Host().Reset();
  zosim::Host().PlugCamera({.productId = 0x6101});
  const Handle camera = OpenNode("/dev/video0");
  ASSERT_EQ(ZoLib_FileWritePassiveSetup(camera.get(), path.c_str(), 259, 30), 0);
  Bytes frame(kFrameBytes);
  frame[9601] = 14;
  const auto add = [&] { ZoLib_FileWritePassiveAdd(camera.get(), frame.data(), kFrameBytes); };
  const auto start = Clock::now();
  add();
  std::this_thread::sleep_for(10ms);
  Step();
  add();
  std::this_thread::sleep_for(10ms);
  add();
  const auto took = std::chrono::ceil<std::chrono::milliseconds>(Clock::now() - start);
  EXPECT_EQ(ZoLib_FileWriteStop(camera.get()), 0);
  const Handle dev = OpenPassive();
  uint64_t times[3] = {};
  DateTime16 dates[3] = {};
  for (int k = 0; k < 3; ++k) {
    EXPECT_EQ(Next(dev), k + 1);
    times[k] = ZoLib_GetFileCurrentTimeOffset(dev.get());
    ZoLib_GetFileCurrentDateTime(dev.get(), &dates[k]);
  }
  EXPECT_EQ(times[0], 0);
  EXPECT_GE(times[1], 9);
  EXPECT_GE(times[2], times[1] + 9);
  EXPECT_LE(times[2], static_cast<uint64_t>(took.count()) + 1);
  EXPECT_NE(dates[0].hour, dates[1].hour) << "the hour is the wall clock's";
}

INSTANTIATE_TEST_SUITE_P(ForwardAndBack, ClockStep, testing::Values(1, -1));

}  // namespace
