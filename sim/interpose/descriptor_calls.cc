// close, ioctl, poll and their relatives.
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>

#include "sim/interpose/next_call.h"
#include "sim/kernel/calls.h"
#include "sim/kernel/claims.h"
#include "sim/kernel/real_poll.h"

namespace zosim::interpose {
namespace {

using kernel::Claim;
using kernel::descriptorClaims;

constinit NextCall<int(int)> nextClose("close");
constinit NextCall<int(int, unsigned long, ...)> nextIoctl("ioctl");
constinit NextCall<int(pollfd*, nfds_t, int)> nextPoll("poll");
constinit NextCall<int(pollfd*, nfds_t, const timespec*, const sigset_t*)> nextPpoll("ppoll");

bool HasNode(const pollfd* fds, nfds_t count) {
  for (nfds_t i = 0; i < count; ++i) {
    if (descriptorClaims.Of(fds[i].fd) == Claim::kVideoNode) return true;
  }
  return false;
}

timespec FromMs(int ms) { return {ms / 1000, (ms % 1000) * 1'000'000L}; }

int Poll(pollfd* fds, nfds_t count, int timeoutMs) {
  const Errno error;
  if (HasNode(fds, count)) {
    const timespec timeout = FromMs(timeoutMs);
    return error.ReturnInt(kernel::Poll(fds, count, timeoutMs < 0 ? nullptr : &timeout, nullptr));
  }
  if (auto* real = nextPoll.Get()) return real(fds, count, timeoutMs);
  const timespec timeout = FromMs(timeoutMs);
  return error.ReturnInt(kernel::RealPoll(fds, count, timeoutMs < 0 ? nullptr : &timeout, nullptr));
}

int Ppoll(pollfd* fds, nfds_t count, const timespec* timeout, const sigset_t* mask) {
  const Errno error;
  if (HasNode(fds, count)) return error.ReturnInt(kernel::Poll(fds, count, timeout, mask));
  if (auto* real = nextPpoll.Get()) return real(fds, count, timeout, mask);
  return error.ReturnInt(kernel::RealPoll(fds, count, timeout, mask));
}

}  // namespace

extern "C" {
#pragma GCC visibility push(default)

int InterposedClose(int fd) __asm__("close");
int InterposedClose(int fd) {
  if (descriptorClaims.Of(fd) != Claim::kNone) kernel::Release(fd);
  if (auto* real = nextClose.Get()) return real(fd);
  return static_cast<int>(syscall(SYS_close, fd));
}

int InterposedIoctl(int fd, unsigned long request, ...) __asm__("ioctl");
int InterposedIoctl(int fd, unsigned long request, ...) {
  va_list arguments;
  va_start(arguments, request);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  const Errno error;
  if (descriptorClaims.Of(fd) == Claim::kVideoNode) {
    return error.ReturnInt(kernel::Ioctl(fd, request, argument));
  }
  if (auto* real = nextIoctl.Get()) return real(fd, request, argument);
  return static_cast<int>(syscall(SYS_ioctl, fd, request, argument));
}

int InterposedPoll(pollfd* fds, nfds_t count, int timeoutMs) __asm__("poll");
int InterposedPoll(pollfd* fds, nfds_t count, int timeoutMs) { return Poll(fds, count, timeoutMs); }

int InterposedPollChk(pollfd* fds, nfds_t count, int timeoutMs, size_t bytes) __asm__("__poll_chk");
int InterposedPollChk(pollfd* fds, nfds_t count, int timeoutMs, size_t) {
  return Poll(fds, count, timeoutMs);
}

int InterposedPpoll(pollfd* fds, nfds_t count, const timespec* timeout,
                    const sigset_t* mask) __asm__("ppoll");
int InterposedPpoll(pollfd* fds, nfds_t count, const timespec* timeout, const sigset_t* mask) {
  return Ppoll(fds, count, timeout, mask);
}

int InterposedPpollChk(pollfd* fds, nfds_t count, const timespec* timeout, const sigset_t* mask,
                       size_t bytes) __asm__("__ppoll_chk");
int InterposedPpollChk(pollfd* fds, nfds_t count, const timespec* timeout, const sigset_t* mask,
                       size_t) {
  return Ppoll(fds, count, timeout, mask);
}

#pragma GCC visibility pop
}  // extern "C"

}  // namespace zosim::interpose
