#include "sim/virtual_camera.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "sim/kernel/host_state.h"

namespace zosim {
namespace {

using kernel::Lock;

using Now = std::chrono::steady_clock;

int NumberOf(const kernel::CameraState& state, kernel::NodeKind kind) {
  if (state.attachment == nullptr) return -1;
  for (const auto& node : state.attachment->nodes) {
    if (node->kind == kind) return node->number;
  }
  return -1;
}

// Whether `condition` (asked with the lock held, the virtual kernel up to date) came true in time.
template <typename Condition>
bool WaitFor(kernel::HostState& host, int waitMs, Condition condition) {
  const auto deadline = Now::now() + std::chrono::milliseconds(waitMs);
  for (;;) {
    {
      Lock lock(host.mutex);
      kernel::Advance(host);
      const bool met = condition();
      kernel::UpdateWakeups(host);
      if (met) return true;
    }
    if (Now::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
}

// A change under the lock, after which waiters look again.
template <typename Change>
void Apply(kernel::HostState& host, Change change) {
  Lock lock(host.mutex);
  kernel::Advance(host);
  change();
  kernel::UpdateWakeups(host);
}

}  // namespace

VirtualCamera::~VirtualCamera() = default;

const ProductModel& VirtualCamera::product() const { return state_->model.product(); }
Firmware& VirtualCamera::firmware() { return state_->model.firmware(); }
CameraModel& VirtualCamera::model() { return state_->model; }

bool VirtualCamera::Plugged() const { return NodeNumber() >= 0; }

int VirtualCamera::NodeNumber() const {
  Lock lock(host_.mutex);
  kernel::Advance(host_);
  kernel::UpdateWakeups(host_);
  return NumberOf(*state_, kernel::NodeKind::kCapture);
}

int VirtualCamera::MetadataNodeNumber() const {
  Lock lock(host_.mutex);
  kernel::Advance(host_);
  kernel::UpdateWakeups(host_);
  return NumberOf(*state_, kernel::NodeKind::kMetadata);
}

std::string VirtualCamera::DevicePath() const {
  const int number = NodeNumber();
  return number < 0 ? std::string() : "/dev/video" + std::to_string(number);
}

void VirtualCamera::Unplug(UnplugMode mode) {
  Apply(host_, [&] { kernel::UnplugCamera(host_, *state_, mode); });
}

void VirtualCamera::UnplugAfter(int ms, UnplugMode mode) {
  Apply(host_, [&] {
    kernel::Schedule(host_, ms, [&host = host_, state = state_, mode] {
      kernel::UnplugCamera(host, *state, mode);
    });
  });
}

void VirtualCamera::Plug() {
  Apply(host_, [&] { kernel::PlugCamera(host_, state_); });
}

void VirtualCamera::PlugAfter(int ms) {
  Apply(host_, [&] {
    kernel::Schedule(host_, ms,
                     [&host = host_, state = state_] { kernel::PlugCamera(host, state); });
  });
}

void VirtualCamera::Replug(int ms) {
  Unplug();
  PlugAfter(ms);
}

void VirtualCamera::SetPace(Pace pace) {
  Apply(host_, [&] {
    state_->pace = pace;
    if (state_->attachment != nullptr) kernel::RestartPace(*state_->attachment, Now::now());
  });
}

bool VirtualCamera::DeliverFrame(int waitMs) {
  return WaitFor(host_, waitMs, [&] {
    const auto& attachment = state_->attachment;
    if (attachment == nullptr || !attachment->queue.streaming() || attachment->queue.allTaken() ||
        attachment->stopping || attachment->broken || state_->stalled) {
      return false;
    }
    kernel::ProduceOneFrame(*attachment, Now::now());
    return true;
  });
}

bool VirtualCamera::WaitUntilConsumed(int waitMs) {
  return WaitFor(host_, waitMs, [&] {
    const auto& attachment = state_->attachment;
    return attachment != nullptr && attachment->queue.streaming() && attachment->queue.allWaiting();
  });
}

FrameRecord VirtualCamera::LastFrame() const {
  Lock lock(host_.mutex);
  FrameRecord record;
  if (!state_->frames.empty()) {
    record = state_->frames.back();
    record.bytes = state_->lastImage;
  }
  return record;
}

std::optional<FrameRecord> VirtualCamera::FrameAt(uint32_t timeMs) const {
  Lock lock(host_.mutex);
  const auto& frames = state_->frames;
  const auto found = std::find_if(frames.rbegin(), frames.rend(), [timeMs](const auto& frame) {
    return frame.telemetry.time == timeMs;
  });
  if (found == frames.rend()) return std::nullopt;
  FrameRecord record = *found;
  if (found == frames.rbegin()) record.bytes = state_->lastImage;
  return record;
}

void VirtualCamera::ForgetFrames() {
  Lock lock(host_.mutex);
  state_->frames.clear();
}

uint64_t VirtualCamera::FramesDelivered() const {
  Lock lock(host_.mutex);
  return state_->framesDelivered;
}

uint64_t VirtualCamera::FramesLost() const {
  Lock lock(host_.mutex);
  return state_->framesLost;
}

bool VirtualCamera::Streaming() const {
  Lock lock(host_.mutex);
  return state_->attachment != nullptr && state_->attachment->queue.streaming();
}

void VirtualCamera::SetStalled(bool stalled) {
  Apply(host_, [&] {
    state_->stalled = stalled;
    if (state_->attachment != nullptr) kernel::RestartPace(*state_->attachment, Now::now());
  });
}

void VirtualCamera::SpoilFrames(unsigned count, Spoiled how) {
  Apply(host_, [&] {
    state_->spoiledFrames = count;
    state_->spoiledHow = how;
  });
}

void VirtualCamera::BreakTransfers() {
  Apply(host_, [&] {
    if (state_->attachment == nullptr || !state_->attachment->queue.streaming()) return;
    kernel::FailQueuedBuffers(*state_->attachment, Now::now());
    state_->attachment->broken = true;
  });
}

void VirtualCamera::LimitBuffers(unsigned most) {
  Lock lock(host_.mutex);
  state_->mostBuffers = most;
}

void VirtualCamera::SetBufferLength(uint32_t length) {
  Lock lock(host_.mutex);
  state_->bufferLength = length;
}

void VirtualCamera::FailStep(Step step, int error, unsigned skip, unsigned times) {
  Lock lock(host_.mutex);
  state_->faults.Add(step, std::nullopt, error, skip, times);
}

void VirtualCamera::FailTransfer(uint8_t selector, int error, unsigned skip, unsigned times) {
  Lock lock(host_.mutex);
  state_->faults.Add(Step::kTransfer, selector, error, skip, times);
}

void VirtualCamera::ClearFaults() {
  Lock lock(host_.mutex);
  state_->faults.Clear();
  state_->hooks.Clear();
}

void VirtualCamera::At(Moment moment, std::function<void()> action, unsigned skip) {
  Lock lock(host_.mutex);
  state_->hooks.Add(moment, std::nullopt, std::move(action), skip);
}

void VirtualCamera::AtTransfer(Moment moment, uint8_t selector, std::function<void()> action,
                               unsigned skip) {
  Lock lock(host_.mutex);
  state_->hooks.Add(moment, selector, std::move(action), skip);
}

void VirtualCamera::DenyAccess(bool denied) {
  Lock lock(host_.mutex);
  state_->accessDenied = denied;
}

void VirtualCamera::SetSysfsFile(const std::string& name, std::optional<std::string> content) {
  Lock lock(host_.mutex);
  state_->sysfsChanges[name] = std::move(content);
  if (state_->attachment != nullptr) {
    kernel::RefreshSysfs(*state_->attachment);
    kernel::RebuildPaths(host_);
  }
}

void VirtualCamera::SetTimings(const Timings& timings) {
  Lock lock(host_.mutex);
  state_->timings = timings;
}

}  // namespace zosim
