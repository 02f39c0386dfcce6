#include "core/locks.h"

#include <algorithm>
#include <cerrno>
#include <ctime>

namespace {

constexpr long kNanosecondsPerSecond = 1'000'000'000;
constexpr unsigned kLongestSliceMs = 1000;

timespec DeadlineAfter(clockid_t clock, unsigned timeoutMs) {
  timespec deadline{};
  clock_gettime(clock, &deadline);
  deadline.tv_sec += timeoutMs / 1000;
  deadline.tv_nsec += static_cast<long>(timeoutMs % 1000) * 1'000'000;
  if (deadline.tv_nsec >= kNanosecondsPerSecond) {
    deadline.tv_sec += 1;
    deadline.tv_nsec -= kNanosecondsPerSecond;
  }
  return deadline;
}

bool HasPassed(clockid_t clock, const timespec& deadline) {
  timespec now{};
  clock_gettime(clock, &now);
  return now.tv_sec != deadline.tv_sec ? now.tv_sec > deadline.tv_sec
                                       : now.tv_nsec >= deadline.tv_nsec;
}

}  // namespace

PMutex::~PMutex() = default;
PCond::~PCond() = default;

PInProcMutex::PInProcMutex() { pthread_mutex_init(&mutex_, nullptr); }
PInProcMutex::~PInProcMutex() { pthread_mutex_destroy(&mutex_); }
int PInProcMutex::Lock() { return pthread_mutex_lock(&mutex_); }
int PInProcMutex::Unlock() { return pthread_mutex_unlock(&mutex_); }

PInProcCond::PInProcCond() {
  pthread_mutex_init(&internal_, nullptr);
  pthread_cond_init(&condition_, nullptr);
}

PInProcCond::~PInProcCond() {
  pthread_mutex_destroy(&internal_);
  pthread_cond_destroy(&condition_);
}

// Waits in slices of a clock that nobody sets, and looks at the wall clock between them: a thread
// that slept until a time on the wall clock would sleep on for as long as it is set back.
int PInProcCond::WaitUntilTimeout(unsigned timeoutMs) {
  const timespec wallDeadline = DeadlineAfter(CLOCK_REALTIME, timeoutMs);
  const uint32_t wakeUpsBefore = wakeUps_;
  while (true) {
    const unsigned sliceMs = std::min(timeoutMs, kLongestSliceMs);
    const timespec deadline = DeadlineAfter(CLOCK_MONOTONIC, sliceMs);
    const int result = pthread_cond_clockwait(&condition_, &internal_, CLOCK_MONOTONIC, &deadline);
    timeoutMs -= sliceMs;
    if (result != ETIMEDOUT || timeoutMs == 0) return result;
    if (wakeUps_ != wakeUpsBefore) return 0;  // just as the slice ended
    if (HasPassed(CLOCK_REALTIME, wallDeadline)) return result;
  }
}

uint32_t PInProcCond::Wait(PMutex* mutex, unsigned timeoutMs) {
  const auto addWaiters = [this](int32_t change) {
    const ScopedLock lock(waitersMutex_);
    waiters_ += change;
  };
  addWaiters(+1);
  pthread_mutex_lock(&internal_);
  mutex->Unlock();
  const int result = WaitUntilTimeout(timeoutMs);
  pthread_mutex_unlock(&internal_);
  addWaiters(-1);
  mutex->Lock();
  return result == ETIMEDOUT || result == EINTR ? 0 : 1;
}

void PInProcCond::NotifyAll() {
  {
    const ScopedLock lock(waitersMutex_);
    if (waiters_ == 0) return;
  }
  pthread_mutex_lock(&internal_);
  ++wakeUps_;
  pthread_cond_broadcast(&condition_);
  pthread_mutex_unlock(&internal_);
}
