// Waiting for conditions, with time to spare for loaded machines and sanitizers.
#ifndef ZOCAM_TESTS_WAIT_H
#define ZOCAM_TESTS_WAIT_H

#include <chrono>
#include <functional>
#include <thread>

// Whether the condition came true before the time was over.
inline bool WaitFor(const std::function<bool()>& condition,
                    std::chrono::milliseconds most = std::chrono::seconds(20)) {
  const auto end = std::chrono::steady_clock::now() + most;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

#endif
