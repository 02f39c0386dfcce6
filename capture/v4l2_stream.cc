#include "capture/v4l2_stream.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

#include "capture/v4l2_requests.h"
#include "core/callback_thread.h"
#include "core/status.h"

namespace {

constexpr uint32_t kBufferCount = 2;
constexpr int kPollTimeoutMs = 500;
constexpr useconds_t kRetryPauseUs = 10;

// The driver's side of a stream while it is being set up. What has been made is undone unless it is
// committed: the next start would otherwise find the driver busy.
class StreamSetup {
 public:
  explicit StreamSetup(_ZoDev& dev) : dev_(dev) {}
  StreamSetup(const StreamSetup&) = delete;
  StreamSetup& operator=(const StreamSetup&) = delete;
  ~StreamSetup() {
    if (streaming_) v4l2::StreamOff(dev_.deviceFd);  // before the buffers, which it keeps busy
    if (requested_) ZoLib_Priv_OsDepCaptureFreeBuffers(&dev_, table_.get(), mapped_);
  }

  ZoStatus Run() {
    const int fd = dev_.deviceFd;
    if (const int error = SetFormat()) return Failed(error);
    if (const int error =
            v4l2::SetFrameInterval(fd, dev_.frameRateDenominator, dev_.frameRateNumerator))
      return Failed(error);
    if (const int error = v4l2::RequestBuffers(fd, kBufferCount, &granted_)) return Failed(error);
    requested_ = true;
    if (granted_ < kBufferCount) return ZO_STATUS_NO_MEMORY;
    table_ = AllocateZeroed<CaptureBuffer>(granted_);
    if (!table_) return ZO_STATUS_NO_MEMORY;
    for (; mapped_ < granted_; ++mapped_) {
      if (const int error = Map(mapped_)) return Failed(error);
    }
    for (uint32_t index = 0; index < granted_; ++index) {
      v4l2_buffer buffer = v4l2::BufferAt(index);
      if (const int error = v4l2::QueueBuffer(fd, &buffer)) return Failed(error);
    }
    if (const int error = v4l2::StreamOn(fd)) return Failed(error);
    streaming_ = true;
    return ZO_STATUS_OK;
  }

  void Commit() {
    dev_.captureBufferCount = granted_;
    dev_.captureBuffers = std::move(table_);
    requested_ = streaming_ = false;
  }

  void Revoke() {
    table_ = std::move(dev_.captureBuffers);
    dev_.captureBufferCount = 0;
    requested_ = streaming_ = true;
  }

 private:
  ZoStatus Failed(int error) {
    return ZoLib_Priv_HostErrorToStatus(&dev_, static_cast<uint32_t>(error));
  }

  int SetFormat() {
    const int fd = dev_.deviceFd;
    const uint32_t lines = dev_.frameHeight + dev_.footerLines;
    if (const int error = v4l2::SetFormat(fd, dev_.frameWidth, lines); error != EBUSY) return error;
    // Either another handle streams, whose stream the driver does not let this one touch (buffers
    // belong to the descriptor that requested them), or an earlier stop of this handle's was
    // refused.
    uint32_t none = 0;
    v4l2::StreamOff(fd);
    v4l2::RequestBuffers(fd, 0, &none);
    return v4l2::SetFormat(fd, dev_.frameWidth, lines);
  }

  int Map(uint32_t index) {
    v4l2_buffer buffer{};
    if (const int error = v4l2::QueryBuffer(dev_.deviceFd, index, &buffer)) return error;
    // A whole frame is read from every buffer, so a smaller one is refused here.
    if (buffer.length < dev_.rawFrameBytes) return EINVAL;
    return v4l2::MapBuffer(dev_.deviceFd, buffer, &table_[index]);
  }

  _ZoDev& dev_;
  MallocPtr<CaptureBuffer[]> table_;
  uint32_t granted_ = 0;
  uint32_t mapped_ = 0;
  bool requested_ = false;
  bool streaming_ = false;
};

void* CaptureMain(void* dev) {
  ZoLib_Priv_OsDepCaptureProc(static_cast<_ZoDev*>(dev));
  return nullptr;
}

void Deliver(_ZoDev* dev, const CaptureBuffer& buffer) {
  auto* frame = static_cast<uint8_t*>(buffer.address);
  if (const ZoPreProcHook hook = dev->preProcHook) hook(dev, frame, buffer.length);
  if (const ZoFrameCallback callback = dev->frameCallback) {
    callback(dev, frame, buffer.length, dev->callbackUser);
  }
}

enum class Step { kContinue, kLost };

// Hands one filled buffer on and gives it back to the driver.
Step TakeFrame(_ZoDev* dev, v4l2_buffer* buffer) {
  if (const int error = v4l2::DequeueBuffer(dev->deviceFd, buffer)) {
    if (error != EAGAIN) return Step::kLost;
    usleep(kRetryPauseUs);
    return Step::kContinue;
  }
  if (buffer->index >= dev->captureBufferCount) return Step::kLost;
  // A buffer that comes back with an error holds an old image.
  const bool stale = (buffer->flags & V4L2_BUF_FLAG_ERROR) != 0;
  if (!stale) Deliver(dev, dev->captureBuffers[buffer->index]);
  return v4l2::QueueBuffer(dev->deviceFd, buffer) == 0 ? Step::kContinue : Step::kLost;
}

Step WaitAndTakeFrame(_ZoDev* dev, v4l2_buffer* buffer) {
  short events = 0;
  if (const int error = v4l2::PollFrame(dev->deviceFd, kPollTimeoutMs, &events)) {
    if (error != EINTR) return Step::kLost;
    usleep(kRetryPauseUs);
    return Step::kContinue;
  }
  if (events == 0) return Step::kContinue;
  if ((events & POLLIN) == 0) return Step::kLost;
  return TakeFrame(dev, buffer);
}

}  // namespace

ZoStatus ZoLib_Priv_OsDepCaptureStart(_ZoDev* dev) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  StreamSetup setup(*dev);
  const ZoStatus status = setup.Run();
  if (status != ZO_STATUS_OK) return status;
  setup.Commit();  // before the thread starts: it reads the table
  if (pthread_create(&dev->captureThread, nullptr, CaptureMain, dev) == 0) return ZO_STATUS_OK;
  setup.Revoke();
  return ZO_STATUS_NO_MEMORY;
}

ZoStatus ZoLib_Priv_OsDepCaptureStop(_ZoDev* dev) {
  if (dev == nullptr || !dev->captureBuffers) return ZO_STATUS_OK;
  v4l2::StreamOff(dev->deviceFd);  // wakes the thread; fails on a camera that has vanished
  pthread_join(dev->captureThread, nullptr);
  ZoLib_Priv_OsDepCaptureFreeBuffers(dev, dev->captureBuffers.get(), dev->captureBufferCount);
  dev->captureBuffers.reset();
  dev->captureBufferCount = 0;
  return ZO_STATUS_OK;
}

void ZoLib_Priv_OsDepCaptureFreeBuffers(_ZoDev* dev, CaptureBuffer* table, uint32_t count) {
  if (dev == nullptr) return;
  for (uint32_t index = 0; index < count; ++index) v4l2::UnmapBuffer(table[index]);
  uint32_t granted = 0;
  v4l2::RequestBuffers(dev->deviceFd, 0, &granted);
}

void ZoLib_Priv_OsDepCaptureProc(_ZoDev* dev) {
  if (dev == nullptr) return;
  const CallbackThread callbacks(dev);
  v4l2_buffer buffer = v4l2::BufferAt(0);
  Step step = Step::kContinue;
  while (step == Step::kContinue) {
    if (dev->capturing == 0) return;
    step = WaitAndTakeFrame(dev, &buffer);
  }
  // A stop that is under way looks like a loss: it wakes the poll with an error.
  if (dev->capturing == 0) return;
  dev->connected = 0;
  dev->disconnected = 1;  // last: who sees it finds the handle unconnected
}
