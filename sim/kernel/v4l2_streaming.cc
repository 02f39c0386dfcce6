// Starting and stopping the stream.
#include <cerrno>
#include <thread>

#include "sim/kernel/ioctls.h"

namespace zosim::kernel {

int StreamOn(const IoctlCall& call, int type) {
  if (!call.isCapture() || type != V4L2_BUF_TYPE_VIDEO_CAPTURE) return EINVAL;
  RunHooks(call.lock, call.camera(), Moment::kBeforeStreamOn);
  Attachment& attachment = call.attachment();
  if (!attachment.registered) return ENODEV;
  if (const int error = call.camera().faults.Take(Step::kStreamOn)) return error;
  if (!OwnsStream(call)) return EBUSY;
  if (attachment.queue.slots().empty()) return EINVAL;
  if (attachment.queue.streaming()) return 0;
  attachment.queue.Start();
  StartFrames(attachment, std::chrono::steady_clock::now());
  Advance(call.host);
  return 0;
}

int StreamOff(const IoctlCall& call, int type) {
  if (!call.isCapture() || type != V4L2_BUF_TYPE_VIDEO_CAPTURE) return EINVAL;
  CameraState& camera = call.camera();
  RunHooks(call.lock, camera, Moment::kBeforeStreamOff);
  Attachment& attachment = call.attachment();
  if (!attachment.registered) return ENODEV;
  if (const int error = camera.faults.Take(Step::kStreamOff)) return error;
  if (!OwnsStream(call)) return EBUSY;
  if (!attachment.queue.streaming()) return 0;
  // The camera has to agree before the queue is emptied and waiters wake up.
  attachment.stopping = true;
  const std::chrono::milliseconds takes(camera.timings.streamOffMs);
  call.lock.unlock();
  std::this_thread::sleep_for(takes);
  call.lock.lock();
  RunHooks(call.lock, camera, Moment::kDuringStreamOff);
  attachment.queue.Stop();
  attachment.stopping = false;
  return 0;
}

}  // namespace zosim::kernel
