// The operating system's own poll, under the interposed one.
#pragma once

#include <poll.h>
#include <signal.h>
#include <time.h>

#include <cstddef>

namespace zosim::kernel {

// Like ppoll, with a negative errno for a result. Descriptors of video nodes are their timerfds
// here. `timeout` is left alone.
int RealPoll(pollfd* fds, size_t count, const timespec* timeout, const sigset_t* mask);

}  // namespace zosim::kernel
