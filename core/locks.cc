#include "core/locks.h"

#include <cerrno>
#include <ctime>

namespace {

constexpr long kNanosecondsPerSecond = 1'000'000'000;

timespec DeadlineAfter(unsigned timeoutMs) {
  timespec deadline{};
  clock_gettime(CLOCK_REALTIME, &deadline);
  deadline.tv_sec += timeoutMs / 1000;
  deadline.tv_nsec += static_cast<long>(timeoutMs % 1000) * 1'000'000;
  if (deadline.tv_nsec >= kNanosecondsPerSecond) {
    deadline.tv_sec += 1;
    deadline.tv_nsec -= kNanosecondsPerSecond;
  }
  return deadline;
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

uint32_t PInProcCond::Wait(PMutex* mutex, unsigned timeoutMs) {
  const auto addWaiters = [this](int32_t change) {
    const ScopedLock lock(waitersMutex_);
    waiters_ += change;
  };
  addWaiters(+1);
  pthread_mutex_lock(&internal_);
  mutex->Unlock();
  const timespec deadline = DeadlineAfter(timeoutMs);
  const int result = pthread_cond_timedwait(&condition_, &internal_, &deadline);
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
  pthread_cond_broadcast(&condition_);
  pthread_mutex_unlock(&internal_);
}
