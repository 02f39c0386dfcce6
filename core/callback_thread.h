// Tells whether the calling thread runs a handle's callbacks. Operations that wait for that thread
// are refused on it instead of waiting for themselves.
#ifndef ZOCAM_CORE_CALLBACK_THREAD_H
#define ZOCAM_CORE_CALLBACK_THREAD_H

#include <utility>

#include "zocam/zocam.h"

inline thread_local const _ZoDev* callbackHandle = nullptr;
inline thread_local const _ZoDev* eofCallbackHandle = nullptr;

inline bool RunsCallbacksOf(const _ZoDev* dev) { return callbackHandle == dev; }

// Whether the calling thread is inside the handle's end-of-file callback, that is, holds fileLock.
inline bool InEofCallback(const _ZoDev* dev) { return eofCallbackHandle == dev; }

// Remembers a handle for a scope of the calling thread.
class ThreadMark {
 public:
  ThreadMark(const _ZoDev*& mark, const _ZoDev* dev)
      : mark_(mark), outer_(std::exchange(mark, dev)) {}
  ~ThreadMark() { mark_ = outer_; }
  ThreadMark(const ThreadMark&) = delete;
  ThreadMark& operator=(const ThreadMark&) = delete;

 private:
  const _ZoDev*& mark_;
  const _ZoDev* outer_;
};

// Lives for as long as a thread may call the handle's callbacks.
struct CallbackThread : ThreadMark {
  explicit CallbackThread(const _ZoDev* dev) : ThreadMark(callbackHandle, dev) {}
};

// Lives for as long as a thread is inside the handle's end-of-file callback.
struct EofCallbackThread : ThreadMark {
  explicit EofCallbackThread(const _ZoDev* dev) : ThreadMark(eofCallbackHandle, dev) {}
};

#endif
