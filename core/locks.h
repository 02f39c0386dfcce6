// Locks of the library: an abstract mutex and condition variable with one in-process
// implementation each. The record owns its locks through the abstract types.
#ifndef ZOCAM_CORE_LOCKS_H
#define ZOCAM_CORE_LOCKS_H

#include <pthread.h>

#include <cstdint>

#include "zocam/zocam.h"

#include "core/thread_safety.h"

class ZO_API ZO_LOCK PMutex {
 public:
  PMutex() = default;
  PMutex(const PMutex&) = delete;
  PMutex& operator=(const PMutex&) = delete;
  virtual ~PMutex();
  virtual int Lock() ZO_TAKES() = 0;
  virtual int Unlock() ZO_LETS_GO() = 0;
};

class ZO_API PCond {
 public:
  PCond() = default;
  PCond(const PCond&) = delete;
  PCond& operator=(const PCond&) = delete;
  virtual ~PCond();
  // Releases the mutex, waits for NotifyAll or the time-out, and holds the mutex again on return.
  // Returns 0 after the time-out or a signal, else 1. Wakes up spuriously: re-check the condition.
  virtual uint32_t Wait(PMutex* mutex, unsigned timeoutMs) ZO_HOLDS(*mutex) = 0;
  // Wakes every thread inside Wait. The caller may hold the mutex given to Wait.
  virtual void NotifyAll() = 0;
};

// Neither recursive nor error-checking. Both operations return the POSIX result.
class ZO_API PInProcMutex : public PMutex {
 public:
  PInProcMutex();
  ~PInProcMutex() override;
  int Lock() ZO_TAKES() override;
  int Unlock() ZO_LETS_GO() override;

 private:
  pthread_mutex_t mutex_;
};

// Lock order: caller's mutex, then the internal mutex; nothing takes the caller's mutex while it
// holds the internal one. A time-out runs on the wall clock; one that was set forward is noticed
// within a second, and one that was set back makes no wait longer.
class ZO_API PInProcCond : public PCond {
 public:
  PInProcCond();
  ~PInProcCond() override;
  uint32_t Wait(PMutex* mutex, unsigned timeoutMs) ZO_HOLDS(*mutex) override;
  void NotifyAll() override;

 private:
  int WaitUntilTimeout(unsigned timeoutMs);

  // Threads inside Wait; lets NotifyAll skip an idle broadcast.
  int32_t waiters_ ZO_GUARDED_BY(waitersMutex_) = 0;
  PInProcMutex waitersMutex_;
  // Held from before the caller's mutex is let go, so no wake-up is lost.
  pthread_mutex_t internal_;
  pthread_cond_t condition_;
  uint32_t wakeUps_ = 0;  // broadcasts so far; under internal_
};

// Holds a mutex for a scope.
class ZO_SCOPED_LOCK ScopedLock {
 public:
  explicit ScopedLock(PMutex& mutex) ZO_TAKES(mutex) : mutex_(mutex) { mutex_.Lock(); }
  ~ScopedLock() ZO_LETS_GO() { mutex_.Unlock(); }
  ScopedLock(const ScopedLock&) = delete;
  ScopedLock& operator=(const ScopedLock&) = delete;

 private:
  PMutex& mutex_;
};

#endif
