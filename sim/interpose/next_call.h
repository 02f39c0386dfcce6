// The next definition of an interposed function: the sanitizer's, another preload's, or libc's.
#pragma once

#include <dlfcn.h>

#include <atomic>
#include <cerrno>

namespace zosim::interpose {

// Looking a symbol up may itself allocate and map memory, and so come back here on the same thread.
// Initial-exec, because a dynamic thread-local would be allocated on first use.
inline constinit thread_local bool resolving [[gnu::tls_model("initial-exec")]] = false;

// Works before any constructor ran: it is constant-initialised and resolved at first use.
template <typename Function>
class NextCall {
 public:
  explicit constexpr NextCall(const char* name) : name_(name) {}

  // Null while this very lookup is under way on the calling thread; make the system call then.
  [[gnu::always_inline]] Function* Get() {
    Function* known = function_.load(std::memory_order_acquire);
    if (known != nullptr || resolving) return known;
    resolving = true;
    known = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name_));
    resolving = false;
    function_.store(known, std::memory_order_release);
    return known;
  }

 private:
  const char* name_;
  std::atomic<Function*> function_ = nullptr;
};

// Turns the virtual kernel's results into the C library's, which leaves errno alone on success.
class Errno {
 public:
  [[gnu::always_inline]] long Return(long result) const {
    errno = result < 0 ? static_cast<int>(-result) : before_;
    return result < 0 ? -1 : result;
  }
  [[gnu::always_inline]] int ReturnInt(int result) const {
    return static_cast<int>(Return(result));
  }

 private:
  int before_ = errno;
};

}  // namespace zosim::interpose
