#include "python/src/camera.h"

#include <sys/time.h>

#include <algorithm>
#include <ctime>

namespace zopy {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kNodes = 64;

// Finding and opening: one thread at a time in the process.
struct Setup;
std::mutex& SetupMutex() { return ProcessMutex<Setup>::Get(); }

DateTime16 LocalNow() {
  timeval now{};
  gettimeofday(&now, nullptr);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  const auto word = [](auto value) { return static_cast<uint16_t>(value); };
  return {word(local.tm_year + 1900), word(local.tm_mon + 1),  word(local.tm_wday),
          word(local.tm_mday),        word(local.tm_hour),     word(local.tm_min),
          word(local.tm_sec),         word(now.tv_usec / 1000)};
}

std::string NodePath(int number) { return "/dev/video" + std::to_string(number); }

struct Scan {
  std::vector<zocam::Device> cameras;
  std::optional<zocam::Error> refusal;  // of the first camera that could not be opened
};

Scan ScanNodes() {
  Scan scan;
  for (int number = 0; number < kNodes; ++number) {
    try {
      scan.cameras.push_back(zocam::Device::OpenNode(NodePath(number)));
    } catch (const zocam::Error& error) {
      if (error.Status() != ZO_STATUS_DEVICE_NOT_FOUND && !scan.refusal) scan.refusal = error;
    }
  }
  return scan;
}

zocam::Device OpenOnly() {
  Scan scan = ScanNodes();
  if (scan.cameras.size() == 1) return std::move(scan.cameras.front());
  if (scan.cameras.empty() && scan.refusal) throw zocam::Error(*scan.refusal);
  if (scan.cameras.empty())
    throw zocam::Error(ZO_STATUS_DEVICE_NOT_FOUND, "no camera is connected");
  std::string message = "several cameras are connected; name one by its serial number or node:";
  for (const zocam::Device& camera : scan.cameras)
    message += " " + std::to_string(camera.SerialNumber()) + " at " + camera.Label();
  throw zocam::Error(ZO_STATUS_INVALID_VALUE, message);
}

// Runs on the capture thread. The frame count is one thread's.
class Receiver {
 public:
  Receiver(Geometry geometry, std::shared_ptr<FrameQueue> queue)
      : geometry_(geometry), queue_(std::move(queue)) {}

  void operator()(const zocam::Frame& frame) {
    const Clock::time_point now = Clock::now();
    if (count_ == 0) first_ = now;
    auto data = std::make_unique<FrameData>(geometry_);
    std::copy_n(frame.Bytes().begin(), geometry_.rawBytes, data->raw.get());
    data->number = ++count_;
    data->seconds = std::chrono::duration<double>(now - first_).count();
    data->dateTime = LocalNow();
    queue_->Push(std::move(data));
  }

 private:
  Geometry geometry_;
  std::shared_ptr<FrameQueue> queue_;
  uint64_t count_ = 0;
  Clock::time_point first_;
};

}  // namespace

std::vector<CameraInfo> Camera::List() {
  const std::lock_guard lock(SetupMutex());
  const Scan scan = ScanNodes();
  if (scan.cameras.empty() && scan.refusal) throw zocam::Error(*scan.refusal);
  std::vector<CameraInfo> found;
  for (const zocam::Device& camera : scan.cameras)
    found.push_back({camera.Label(), camera.ProductName(), camera.SerialNumber(),
                     camera.ProductId(), camera.FirmwareVersion(), camera.Width(),
                     camera.Height()});
  return found;
}

std::shared_ptr<Camera> Camera::Open(
    const std::variant<std::monostate, uint64_t, std::string>& which, bool highRate, size_t queue) {
  const std::lock_guard lock(SetupMutex());
  if (const auto* serial = std::get_if<uint64_t>(&which))
    return Adopt(zocam::Device::OpenSerial(*serial), highRate, queue);
  if (const auto* node = std::get_if<std::string>(&which))
    return Adopt(zocam::Device::OpenNode(*node), highRate, queue);
  return Adopt(OpenOnly(), highRate, queue);
}

std::shared_ptr<Camera> Camera::Adopt(zocam::Device device, bool highRate, size_t queue) {
  auto shared = std::make_shared<zocam::Device>(std::move(device));
  auto painter = Painter::OfCamera(*shared);
  std::shared_ptr<Camera> camera(
      new Camera(std::move(shared), std::move(painter), highRate, std::max(queue, size_t{1})));
  camera->Register();
  return camera;
}

Camera::Camera(std::shared_ptr<zocam::Device> device, std::shared_ptr<Painter> painter,
               bool highRate, size_t queue)
    : Source(std::move(device), std::move(painter)),
      highRate_(highRate),
      queue_(std::make_shared<FrameQueue>(queue)) {}

Camera::~Camera() {
  // A forked child must not end its parent's file.
  if (!Process().IsThisOne()) static_cast<void>(writer_.release());
  try {
    Close();
  } catch (...) {  // who wants to know closes it
  }
}

void Camera::StartLocked(zocam::Device& device) {
  RequireOpen();
  stopped_ = false;
  if (streaming_) return;
  queue_->Begin();
  device.Start(Receiver(FrameGeometry(), queue_), highRate_);
  streaming_ = true;
}

void Camera::Start() {
  Use([this](zocam::Device& device) {
    const std::lock_guard lock(control_);
    StartLocked(device);
  });
}

void Camera::FinishWriter() {
  if (!writer_) return;
  std::exception_ptr failure;
  try {
    writer_->CheckWritten();
  } catch (...) {
    failure = std::current_exception();
  }
  try {
    writer_->Finish();
  } catch (const zocam::Error& error) {
    // A camera that vanished: its file is whole, and is closed with it.
    if (error.Status() != ZO_STATUS_DEVICE_NOT_READY && !failure)
      failure = std::current_exception();
  }
  writer_.reset();
  if (failure) std::rethrow_exception(failure);
}

void Camera::StopLocked(zocam::Device& device) {
  std::exception_ptr failure;
  try {
    FinishWriter();
  } catch (...) {
    failure = std::current_exception();
  }
  if (streaming_) {
    streaming_ = false;
    try {
      device.Stop();
    } catch (...) {
      if (!failure) failure = std::current_exception();
    }
  }
  queue_->End();
  if (failure) std::rethrow_exception(failure);
}

void Camera::Stop() {
  Use([this](zocam::Device& device) {
    const std::lock_guard lock(control_);
    stopped_ = true;
    StopLocked(device);
  });
}

void Camera::BeginLoop() {
  Use([this](zocam::Device&) {
    const std::lock_guard lock(control_);
    stopped_ = false;
  });
}

bool Camera::AtEnd() {
  const std::lock_guard lock(control_);
  return stopped_;
}

bool Camera::IsStreaming() {
  const std::lock_guard lock(control_);
  return streaming_;
}

void Camera::EndWaits(zocam::Device& device) {
  std::exception_ptr failure;
  {
    const std::lock_guard lock(control_);
    try {
      StopLocked(device);
    } catch (...) {
      failure = std::current_exception();
    }
  }
  ZoLib_Invalidate(device.Handle());  // ends a command that the camera does not answer
  if (failure) std::rethrow_exception(failure);
}

std::unique_ptr<FrameData> Camera::Next(std::chrono::milliseconds timeout) {
  return Use([&](zocam::Device& device) -> std::unique_ptr<FrameData> {
    {
      const std::lock_guard lock(control_);
      if (stopped_) return nullptr;
      StartLocked(device);
    }
    const std::unique_lock order(order_, timeout);
    if (!order) return nullptr;
    // Looked at before the queue: the last frame is queued before the end is told.
    const bool gone = device.Disconnected();
    std::unique_ptr<FrameData> frame = queue_->Pop(gone ? std::chrono::milliseconds(0) : timeout);
    if (frame) {
      Decode(device, *frame);
      return frame;
    }
    RequireOpen();
    if (gone) throw zocam::Error(ZO_STATUS_DEVICE_NOT_READY, Label() + ": the camera has vanished");
    if (const std::exception_ptr failure = device.CallbackFailure())
      std::rethrow_exception(failure);
    return nullptr;
  });
}

void Camera::StartRecording(const std::string& path) {
  Use([&](zocam::Device& device) {
    const std::lock_guard lock(control_);
    StartLocked(device);
    if (writer_)
      throw zocam::Error(ZO_STATUS_INVALID_STATE, Label() + ": it is being recorded already");
    writer_ = std::make_unique<zocam::Writer>(device, path);
  });
}

void Camera::StopRecording() {
  Use([&](zocam::Device&) {
    const std::lock_guard lock(control_);
    FinishWriter();
  });
}

void Camera::CheckRecording() {
  Use([&](zocam::Device&) {
    const std::lock_guard lock(control_);
    if (writer_) writer_->CheckWritten();
  });
}

void Camera::Reconnect() {
  Use([](zocam::Device&) {});
  CloseBy([this](zocam::Device& device) {
    {
      const std::lock_guard lock(control_);
      StopLocked(device);
    }
    AwaitOthers();
    const ZoStatus status = ZoLib_Reconnect(device.Handle());
    if (status != ZO_STATUS_OK)
      throw zocam::Error(status, Label() + ": it did not reconnect",
                         static_cast<int32_t>(ZoLib_GetHostError(device.Handle())));
  });
}

}  // namespace zopy
