// Driver buffers: asking for them, looking at them, giving and taking them.
#include <fcntl.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>

#include "sim/kernel/ioctls.h"
#include "sim/kernel/real_poll.h"

namespace zosim::kernel {
namespace {

bool IsOurKind(const IoctlCall& call, uint32_t type, uint32_t memory) {
  return call.isCapture() && type == V4L2_BUF_TYPE_VIDEO_CAPTURE && memory == V4L2_MEMORY_MMAP;
}

bool IsMapped(const HostState& host, const DriverBuffer* memory) {
  return std::any_of(host.mappings.begin(), host.mappings.end(), [memory](const auto& mapping) {
    return mapping.second.memory.get() == memory;
  });
}

void FillBuffer(const IoctlCall& call, uint32_t index, v4l2_buffer& buffer) {
  const CaptureQueue& queue = call.attachment().queue;
  const CaptureQueue::Slot& slot = queue.slots()[index];
  buffer.index = index;
  buffer.bytesused = slot.bytesUsed;
  buffer.flags = V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC | V4L2_BUF_FLAG_TSTAMP_SRC_SOE;
  if (slot.holder == CaptureQueue::Holder::kDriver) buffer.flags |= V4L2_BUF_FLAG_QUEUED;
  if (slot.holder == CaptureQueue::Holder::kDone) buffer.flags |= V4L2_BUF_FLAG_DONE;
  if (slot.error) buffer.flags |= V4L2_BUF_FLAG_ERROR;
  if (IsMapped(call.host, slot.memory.get())) buffer.flags |= V4L2_BUF_FLAG_MAPPED;
  buffer.field = slot.filledOnce ? V4L2_FIELD_NONE : V4L2_FIELD_ANY;
  const auto micros =
      std::chrono::duration_cast<std::chrono::microseconds>(slot.timestamp.time_since_epoch());
  buffer.timestamp.tv_sec = micros.count() / 1'000'000;
  buffer.timestamp.tv_usec = micros.count() % 1'000'000;
  buffer.sequence = slot.sequence;
  buffer.memory = V4L2_MEMORY_MMAP;
  buffer.m.offset = queue.OffsetOf(index);
  // A length below the frame's is only told: the memory holds a whole frame all the same.
  const uint32_t told = call.camera().bufferLength;
  buffer.length = told != 0 ? told : static_cast<uint32_t>(slot.memory->length());
  buffer.reserved2 = 0;
  buffer.request_fd = 0;
}

// Sleeps until the descriptor's poll would return; errno when a signal came.
int WaitForReadiness(const IoctlCall& call) {
  UpdateWakeups(call.host);
  pollfd wake = {call.file.descriptor, POLLIN, 0};
  call.lock.unlock();
  const int error = -RealPoll(&wake, 1, nullptr, nullptr);
  call.lock.lock();
  Advance(call.host);
  return error > 0 ? error : 0;
}

}  // namespace

int RequestBuffers(const IoctlCall& call, v4l2_requestbuffers& request) {
  call.entry.arguments[0] = request.count;
  if (!IsOurKind(call, request.type, request.memory)) return EINVAL;
  CameraState& camera = call.camera();
  Attachment& attachment = call.attachment();
  if (const int error = camera.faults.Take(Step::kRequestBuffers)) return error;
  if (const int error = TakeStream(call)) return error;
  if (attachment.queue.streaming()) return EBUSY;
  // The driver's, though of these the virtual one has only memory to map.
  request.capabilities = V4L2_BUF_CAP_SUPPORTS_MMAP | V4L2_BUF_CAP_SUPPORTS_USERPTR |
                         V4L2_BUF_CAP_SUPPORTS_DMABUF | V4L2_BUF_CAP_SUPPORTS_ORPHANED_BUFS;
  if (request.count == 0) {
    attachment.queue.Free();
    attachment.owner = nullptr;
    return 0;
  }
  request.count = std::min({request.count, camera.mostBuffers, 32u});
  const uint32_t frameBytes = camera.model.product().FrameBytes();
  return attachment.queue.Allocate(request.count, std::max(camera.bufferLength, frameBytes));
}

int QueryBuffer(const IoctlCall& call, v4l2_buffer& buffer) {
  call.entry.arguments[0] = buffer.index;
  if (!call.isCapture() || buffer.type != V4L2_BUF_TYPE_VIDEO_CAPTURE) return EINVAL;
  if (const int error = call.camera().faults.Take(Step::kQueryBuffer)) return error;
  if (!OwnsStream(call)) return EBUSY;
  if (buffer.index >= call.attachment().queue.slots().size()) return EINVAL;
  FillBuffer(call, buffer.index, buffer);
  return 0;
}

int QueueBuffer(const IoctlCall& call, v4l2_buffer& buffer) {
  call.entry.arguments[0] = buffer.index;
  if (!IsOurKind(call, buffer.type, buffer.memory)) return EINVAL;
  RunHooks(call.lock, call.camera(), Moment::kBeforeQueue);
  if (!call.attachment().registered) return ENODEV;
  if (const int error = call.camera().faults.Take(Step::kQueueBuffer)) return error;
  if (!OwnsStream(call)) return EBUSY;
  if (const int error = call.attachment().queue.Queue(buffer.index)) return error;
  // Before the next frame can take it.
  FillBuffer(call, buffer.index, buffer);
  Advance(call.host);
  return 0;
}

int DequeueBuffer(const IoctlCall& call, v4l2_buffer& buffer) {
  if (!IsOurKind(call, buffer.type, buffer.memory)) return EINVAL;
  RunHooks(call.lock, call.camera(), Moment::kBeforeDequeue);
  if (const int error = call.camera().faults.Take(Step::kDequeueBuffer)) return error;
  const bool nonBlocking = (fcntl(call.file.descriptor, F_GETFL) & O_NONBLOCK) != 0;
  for (;;) {
    if (!call.attachment().registered) return ENODEV;
    if (!OwnsStream(call)) return EBUSY;
    uint32_t index = 0;
    const int error = call.attachment().queue.Dequeue(&index);
    if (error == 0) {
      call.entry.arguments[0] = index;
      FillBuffer(call, index, buffer);
      return 0;
    }
    if (error != EAGAIN || nonBlocking) return error;
    if (const int interrupted = WaitForReadiness(call)) return interrupted;
  }
}

}  // namespace zosim::kernel
