#include "sim/kernel/host_state.h"

#include <poll.h>
#include <pthread.h>
#include <sys/timerfd.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace zosim::kernel {
namespace {

// A child must not inherit the lock in the hand of a thread it does not have.
void LockForFork() { State().mutex.lock(); }
void UnlockAfterFork() { State().mutex.unlock(); }

void Arm(OpenFile& file, std::optional<Time> at) {
  if (file.armed == at) return;
  file.armed = at;
  itimerspec when = {};
  if (at) {
    const auto sinceBoot = std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::max(at->time_since_epoch(), Time::duration(1)));
    when.it_value.tv_sec = sinceBoot.count() / 1'000'000'000;
    when.it_value.tv_nsec = sinceBoot.count() % 1'000'000'000;
  }
  timerfd_settime(file.descriptor, TFD_TIMER_ABSTIME, &when, nullptr);
}

}  // namespace

HostState& State() {
  static HostState* const state = [] {
    pthread_atfork(LockForFork, UnlockAfterFork, UnlockAfterFork);
    return new HostState;
  }();
  return *state;
}

void Advance(HostState& host) {
  const auto produceUntil = [&host](Time time) {
    for (const auto& attachment : host.attachments) ProduceFrames(*attachment, time);
  };
  const Time now = std::chrono::steady_clock::now();
  while (!host.events.empty() && host.events.begin()->first <= now) {
    const auto event = host.events.extract(host.events.begin());
    produceUntil(event.key());
    event.mapped()();
  }
  produceUntil(now);
}

void UpdateWakeups(HostState& host) {
  std::optional<Time> nextEvent;
  if (!host.events.empty()) nextEvent = host.events.begin()->first;
  for (const auto& [descriptor, file] : host.files) {
    if (Readiness(*file, POLLIN) != 0) {
      Arm(*file, Time());
      continue;
    }
    std::optional<Time> wake = NextFrameDue(*file->attachment);
    if (nextEvent && (!wake || *nextEvent < *wake)) wake = nextEvent;
    Arm(*file, wake);
  }
}

void RunHooks(Lock& lock, CameraState& camera, Moment moment, std::optional<uint8_t> selector) {
  const auto actions = camera.hooks.Take(moment, selector);
  if (actions.empty()) return;
  lock.unlock();
  for (const auto& action : actions) action();
  lock.lock();
}

void Schedule(HostState& host, int ms, std::function<void()> action) {
  const Time at = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
  host.events.emplace(at, std::move(action));
}

OpenFile::OpenFile(std::shared_ptr<VideoNode> openedNode, std::shared_ptr<Attachment> its, int fd)
    : descriptor(fd), node(std::move(openedNode)), attachment(std::move(its)) {
  if (attachment->camera != nullptr) ++attachment->camera->openFiles;
}

OpenFile::~OpenFile() {
  if (attachment->owner == this) {
    attachment->queue.Free();
    attachment->owner = nullptr;
  }
  if (attachment->camera != nullptr && --attachment->camera->openFiles == 0) {
    attachment->camera->lastClosed = std::chrono::steady_clock::now();
  }
}

short Readiness(const OpenFile& file, short events) {
  const Attachment& attachment = *file.attachment;
  if (!attachment.registered) return POLLERR | POLLHUP | (events & POLLPRI);
  const auto wanted = static_cast<short>(events & (POLLIN | POLLRDNORM));
  if (wanted == 0) return 0;
  if (file.node->kind != NodeKind::kCapture || !attachment.queue.streaming()) return POLLERR;
  return attachment.queue.hasDone() ? wanted : short{0};
}

}  // namespace zosim::kernel
