// Tells whether the calling thread runs a handle's callbacks. Operations that wait for that thread
// are refused on it instead of waiting for themselves.
#ifndef ZOCAM_CORE_CALLBACK_THREAD_H
#define ZOCAM_CORE_CALLBACK_THREAD_H

#include "zocam/zocam.h"

inline thread_local const _ZoDev* callbackHandle = nullptr;

inline bool RunsCallbacksOf(const _ZoDev* dev) { return callbackHandle == dev; }

// Lives for as long as a thread may call the handle's callbacks.
class CallbackThread {
 public:
  explicit CallbackThread(const _ZoDev* dev) { callbackHandle = dev; }
  ~CallbackThread() { callbackHandle = nullptr; }
  CallbackThread(const CallbackThread&) = delete;
  CallbackThread& operator=(const CallbackThread&) = delete;
};

#endif
