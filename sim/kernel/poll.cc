// poll on sets that contain video nodes, alone or beside other descriptors.
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "sim/kernel/calls.h"
#include "sim/kernel/claims.h"
#include "sim/kernel/host_state.h"
#include "sim/kernel/real_poll.h"

namespace zosim::kernel {
namespace {

using std::chrono::nanoseconds;

// How often a wait looks again at a node that has something the caller did not ask for; its timerfd
// would end such a wait at once.
constexpr nanoseconds kUnwantedLook = std::chrono::milliseconds(10);

bool IsNode(const pollfd& entry) { return descriptorClaims.Of(entry.fd) == Claim::kVideoNode; }

struct Look {
  int error = 0;
  int ready = 0;
};

// Fills in the nodes' revents. Also counts the call against the cameras' fault plans once.
Look LookAtNodes(HostState& host, Lock& lock, pollfd* fds, size_t count, bool first) {
  Look look;
  Advance(host);
  std::vector<std::shared_ptr<Attachment>> delivering;
  for (size_t i = 0; i < count; ++i) {
    fds[i].revents = 0;
    if (fds[i].fd < 0) continue;
    const auto found = host.files.find(fds[i].fd);
    if (found == host.files.end()) continue;
    const auto& camera = found->second->attachment->camera;
    if (first && camera != nullptr && look.error == 0) {
      look.error = camera->faults.Take(Step::kPoll);
    }
    fds[i].revents = Readiness(*found->second, fds[i].events);
    if (fds[i].revents != 0) ++look.ready;
    if (camera != nullptr && (fds[i].revents & POLLIN) != 0) {
      delivering.push_back(found->second->attachment);
    }
  }
  UpdateWakeups(host);
  if (look.error == 0) {
    for (const auto& attachment : delivering) {
      RunHooks(lock, *attachment->camera, Moment::kPollReady);
    }
  }
  delivering.clear();  // with the lock held
  return look;
}

// What to give to the real poll: other descriptors as they are, nodes by their timerfd or not at
// all.
std::vector<pollfd> RealSet(const pollfd* fds, size_t count, bool withNodes) {
  std::vector<pollfd> real(fds, fds + count);
  for (pollfd& entry : real) {
    entry.revents = 0;
    if (!IsNode(entry)) continue;
    const bool wantsInput = (entry.events & (POLLIN | POLLRDNORM)) != 0;
    if (withNodes && wantsInput) {
      entry.events = POLLIN;
    } else {
      entry.fd = -1;
    }
  }
  return real;
}

int WaitOnReal(std::vector<pollfd>& set, std::optional<nanoseconds> wait, const sigset_t* mask) {
  timespec limit = {};
  if (wait) {
    limit.tv_sec = wait->count() / 1'000'000'000;
    limit.tv_nsec = wait->count() % 1'000'000'000;
  }
  return RealPoll(set.data(), set.size(), wait ? &limit : nullptr, mask);
}

// Copies what the real poll said about other descriptors; how many of them are ready.
int TakeOthers(const std::vector<pollfd>& real, pollfd* fds) {
  int ready = 0;
  for (size_t i = 0; i < real.size(); ++i) {
    if (IsNode(fds[i])) continue;
    fds[i].revents = real[i].revents;
    if (fds[i].revents != 0) ++ready;
  }
  return ready;
}

bool AnyNodeWithoutInput(const pollfd* fds, size_t count) {
  return std::any_of(fds, fds + count, [](const pollfd& entry) {
    return IsNode(entry) && (entry.events & (POLLIN | POLLRDNORM)) == 0;
  });
}

}  // namespace

int Poll(pollfd* fds, size_t count, const timespec* timeout, const sigset_t* mask) {
  const auto now = [] { return std::chrono::steady_clock::now(); };
  std::optional<Time> deadline;
  if (timeout != nullptr) {
    deadline = now() + std::chrono::seconds(timeout->tv_sec) + nanoseconds(timeout->tv_nsec);
  }
  HostState& host = State();
  for (bool first = true;; first = false) {
    Look look;
    {
      Lock lock(host.mutex);
      look = LookAtNodes(host, lock, fds, count, first);
    }
    if (look.error != 0) return -look.error;
    const bool timeUp = deadline && now() >= *deadline;
    if (look.ready > 0 || timeUp) {
      auto others = RealSet(fds, count, false);
      const int result = WaitOnReal(others, nanoseconds(0), mask);
      if (result < 0 && look.ready == 0) return result;
      return look.ready + TakeOthers(others, fds);
    }
    std::optional<nanoseconds> wait;
    if (deadline) wait = std::max(nanoseconds(0), nanoseconds(*deadline - now()));
    if (AnyNodeWithoutInput(fds, count))
      wait = std::min(wait.value_or(kUnwantedLook), kUnwantedLook);
    auto all = RealSet(fds, count, true);
    const int result = WaitOnReal(all, wait, mask);
    if (result < 0) return result;
    if (const int others = TakeOthers(all, fds); others > 0) {
      // Nodes may have become ready in the same moment.
      Lock lock(host.mutex);
      std::vector<pollfd> nodes(fds, fds + count);
      const Look again = LookAtNodes(host, lock, nodes.data(), count, false);
      for (size_t i = 0; i < count; ++i) {
        if (IsNode(fds[i])) fds[i].revents = nodes[i].revents;
      }
      return others + again.ready;
    }
  }
}

}  // namespace zosim::kernel
