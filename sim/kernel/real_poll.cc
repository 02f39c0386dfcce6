#include "sim/kernel/real_poll.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace zosim::kernel {

int RealPoll(pollfd* fds, size_t count, const timespec* timeout, const sigset_t* mask) {
  // The kernel counts the timeout down in place.
  timespec left = timeout != nullptr ? *timeout : timespec{};
  constexpr size_t kKernelMaskBytes = _NSIG / 8;
  const long result =
      syscall(SYS_ppoll, fds, count, timeout != nullptr ? &left : nullptr, mask, kKernelMaskBytes);
  return static_cast<int>(result < 0 ? -errno : result);
}

}  // namespace zosim::kernel
