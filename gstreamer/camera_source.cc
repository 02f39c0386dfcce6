#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <utility>
#include <vector>

#include "gstreamer/frame_source.h"
#include "tools/advice.h"
#include "tools/open_camera.h"

namespace zogst {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// The newest frame, put down by the capture thread.
class Slot {
 public:
  void Put(std::span<const uint8_t> bytes) {
    const std::lock_guard lock(mutex_);
    ++number_;
    if (isResting_) return;
    if (isFull_) ++dropped_;
    bytes_.assign(bytes.begin(), bytes.end());
    arrival_ = Clock::now();
    isFull_ = true;
    changed_.notify_one();
  }

  enum class Answer { kTaken, kNothing, kInterrupted };

  Answer Take(std::vector<uint8_t>& bytes, Clock::time_point& arrival, uint64_t& number,
              std::chrono::milliseconds timeout) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, timeout, [this] { return isFull_ || isInterrupted_; });
    if (isInterrupted_) return Answer::kInterrupted;
    if (!isFull_) return Answer::kNothing;
    isFull_ = false;
    std::swap(bytes, bytes_);
    arrival = arrival_;
    number = number_;
    return Answer::kTaken;
  }

  void Interrupt(bool on) {
    const std::lock_guard lock(mutex_);
    isInterrupted_ = on;
    changed_.notify_one();
  }

  void Rest(bool on) {
    const std::lock_guard lock(mutex_);
    isResting_ = on;
    isFull_ = false;
  }

  uint64_t Dropped() const {
    const std::lock_guard lock(mutex_);
    return dropped_;
  }

 private:
  mutable std::mutex mutex_;  // guards:
  std::condition_variable changed_;
  std::vector<uint8_t> bytes_;
  Clock::time_point arrival_;
  uint64_t number_ = 0;
  uint64_t dropped_ = 0;
  bool isFull_ = false;
  bool isResting_ = true;
  bool isInterrupted_ = false;
};

class CameraSource : public FrameSource {
 public:
  explicit CameraSource(zocam::Device camera)
      : camera_(std::move(camera)), bytes_(camera_.RawFrameBytes()) {}

  void Start(bool highRate) {
    camera_.Start([slot = slot_](const zocam::Frame& frame) { slot->Put(frame.Bytes()); },
                  highRate);
  }

  SourceEvent Next() override {
    constexpr auto kLookAtCamera = 100ms;
    while (true) {
      switch (slot_->Take(bytes_, arrival_, number_, kLookAtCamera)) {
        case Slot::Answer::kTaken:
          frame_.emplace(camera_.ViewFrame(bytes_));
          return SourceEvent::kFrame;
        case Slot::Answer::kInterrupted:
          return SourceEvent::kInterrupted;
        case Slot::Answer::kNothing:
          if (const std::exception_ptr failure = camera_.CallbackFailure())
            std::rethrow_exception(failure);
          if (camera_.Disconnected())
            throw zocam::Error(ZO_STATUS_DEVICE_NOT_READY,
                               camera_.Label() + ": the camera has vanished");
      }
    }
  }

  SourceFrame Current() const override { return {*frame_, number_, arrival_, std::nullopt}; }
  zocam::Device& Device() override { return camera_; }
  void Interrupt(bool on) override { slot_->Interrupt(on); }
  void Rest(bool on) override { slot_->Rest(on); }
  uint64_t Dropped() const override { return slot_->Dropped(); }

 private:
  const std::shared_ptr<Slot> slot_ = std::make_shared<Slot>();
  zocam::Device camera_;
  std::vector<uint8_t> bytes_;
  std::optional<zocam::Frame> frame_;  // a view of the bytes
  Clock::time_point arrival_;
  uint64_t number_ = 0;
};

}  // namespace

std::unique_ptr<FrameSource> OpenCameraSource(const SourceChoice& choice) {
  auto source = std::make_unique<CameraSource>(OpenCamera(choice.device));
  choice.decoding.Apply(source->Device());
  // The stream tells the frame rate.
  source->Start(choice.highRate);
  return source;
}

}  // namespace zogst
