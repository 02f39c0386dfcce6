// Frames in time. Nothing runs in the background: every call first makes the frames that came since
// the last call, in order, into the buffers that were queued then.
#include <algorithm>
#include <cmath>

#include "sim/kernel/host_state.h"

namespace zosim::kernel {
namespace {

constexpr size_t kMostRecords = 4096;
constexpr Time::duration kShortestFrameTime = std::chrono::microseconds(100);

bool Flows(const Attachment& attachment) {
  return attachment.registered && attachment.queue.streaming() && !attachment.stopping &&
         !attachment.broken && !attachment.camera->stalled;
}

Time::duration FrameTime(const CameraState& camera, const Attachment& attachment) {
  const std::chrono::duration<double> seconds(1.0 / FrameRate(camera, attachment));
  return std::max(std::chrono::duration_cast<Time::duration>(seconds), kShortestFrameTime);
}

// A camera that spoils every frame would be asked for the next one for ever at the fastest pace.
bool SpoilsAll(const CameraState& camera) {
  return camera.spoiledFrames == kForever && camera.spoiledHow == Spoiled::kDropped;
}

void CopyOldImage(const CameraState& camera, std::span<uint8_t> bytes) {
  const size_t count = std::min(bytes.size(), camera.lastImage.size());
  std::copy_n(camera.lastImage.begin(), count, bytes.begin());
}

}  // namespace

std::vector<FrameInterval> OfferedIntervals(const ProductModel& product) {
  if (product.highRate) return {kShortInterval, kNormalInterval};
  return {kNormalInterval};
}

double FrameRate(const CameraState& camera, const Attachment& attachment) {
  if (camera.pace.kind == Pace::Kind::kRate && camera.pace.framesPerSecond > 0.0) {
    return camera.pace.framesPerSecond;
  }
  const FrameInterval& interval = attachment.interval;
  return static_cast<double>(interval.denominator) / interval.numerator;
}

void StartFrames(Attachment& attachment, Time now) {
  attachment.broken = false;
  attachment.stopping = false;
  attachment.nextSequence = 0;
  RestartPace(attachment, now);
}

void RestartPace(Attachment& attachment, Time now) {
  attachment.nextFrameAt = now + FrameTime(*attachment.camera, attachment);
}

std::optional<Time> NextFrameDue(const Attachment& attachment) {
  if (!Flows(attachment) || attachment.queue.allTaken()) return std::nullopt;
  switch (attachment.camera->pace.kind) {
    case Pace::Kind::kManual:
      return std::nullopt;
    case Pace::Kind::kAsFastAsTaken:
      if (SpoilsAll(*attachment.camera)) return std::nullopt;
      return Time();
    default:
      return attachment.nextFrameAt;
  }
}

void ProduceOneFrame(Attachment& attachment, Time now) {
  CameraState& camera = *attachment.camera;
  const ProductModel& product = camera.model.product();
  const double rate = FrameRate(camera, attachment);
  CaptureQueue::Slot* slot = attachment.queue.NextEmpty();
  const uint32_t sequence = attachment.nextSequence++;
  if (camera.spoiledFrames > 0) {
    if (camera.spoiledFrames != kForever) --camera.spoiledFrames;
    camera.model.SkipNext(rate);
    if (camera.spoiledHow == Spoiled::kDelivered && slot != nullptr) {
      CopyOldImage(camera, slot->memory->bytes());
      attachment.queue.Complete(product.FrameBytes() / 2, sequence, true, now);
    }
    return;
  }
  if (slot == nullptr) {
    ++camera.framesLost;
    camera.model.SkipNext(rate);
    return;
  }
  FrameRecord record;
  record.number = camera.model.NextFrameNumber();
  record.sequence = sequence;
  camera.lastImage.resize(product.FrameBytes());
  record.telemetry = camera.model.RenderNext(rate, camera.lastImage);
  CopyOldImage(camera, slot->memory->bytes());
  attachment.queue.Complete(product.FrameBytes(), sequence, false, now);
  ++camera.framesDelivered;
  if (camera.frames.size() == kMostRecords) camera.frames.pop_front();
  camera.frames.push_back(std::move(record));
}

void ProduceFrames(Attachment& attachment, Time now) {
  if (attachment.camera == nullptr || !Flows(attachment)) return;
  CameraState& camera = *attachment.camera;
  switch (camera.pace.kind) {
    case Pace::Kind::kManual:
      return;
    case Pace::Kind::kAsFastAsTaken: {
      while (!SpoilsAll(camera) && !attachment.queue.allTaken()) ProduceOneFrame(attachment, now);
      return;
    }
    default: {
      const auto frameTime = FrameTime(camera, attachment);
      for (; attachment.nextFrameAt <= now; attachment.nextFrameAt += frameTime) {
        ProduceOneFrame(attachment, attachment.nextFrameAt);
      }
    }
  }
}

void FailQueuedBuffers(Attachment& attachment, Time now) {
  while (CaptureQueue::Slot* slot = attachment.queue.NextEmpty()) {
    CopyOldImage(*attachment.camera, slot->memory->bytes());
    attachment.queue.Complete(0, attachment.nextSequence, true, now);
  }
}

}  // namespace zosim::kernel
