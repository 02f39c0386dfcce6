// Whether an object still lives in the process that made it. A forked child has neither the threads
// of the library nor the right to end its parent's stream: it may use frames, not sources.
#ifndef ZOCAM_PYTHON_PROCESS_H
#define ZOCAM_PYTHON_PROCESS_H

#include <pthread.h>

#include <atomic>
#include <mutex>
#include <string>

#include "zocam/zocam.hpp"

namespace zopy {

class OwningProcess {
 public:
  bool IsThisOne() const noexcept { return forks_ == Forks(); }
  void Require(const std::string& what) const {
    if (!IsThisOne())
      throw zocam::Error(ZO_STATUS_INVALID_STATE,
                         what + " was opened before a fork; open it in this process");
  }

 private:
  // How many forks lie between this process and the one that loaded the module.
  static unsigned Forks() noexcept {
    static std::atomic<unsigned> forks = 0;
    [[maybe_unused]] static const int registered =
        pthread_atfork(nullptr, nullptr, [] { forks.fetch_add(1, std::memory_order_relaxed); });
    return forks.load(std::memory_order_relaxed);
  }

  unsigned forks_ = Forks();
};

// A mutex of the whole process that no fork leaves locked: it is taken around every fork. One for
// each Purpose. Its holder never asks for the GIL, which who forks has.
template <typename Purpose>
class ProcessMutex {
 public:
  static std::mutex& Get() {
    static auto* const mutex = new std::mutex;  // never destroyed: an exit may still use it
    [[maybe_unused]] static const int registered =
        pthread_atfork([] { Get().lock(); }, [] { Get().unlock(); }, [] { Get().unlock(); });
    return *mutex;
  }
};

}  // namespace zopy

#endif
