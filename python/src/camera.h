// A camera. Its frames wait in a queue of ours, filled on the capture thread.
#ifndef ZOCAM_PYTHON_CAMERA_H
#define ZOCAM_PYTHON_CAMERA_H

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "python/src/frame_queue.h"
#include "python/src/source.h"

namespace zopy {

// What there is to know of a camera without keeping it.
struct CameraInfo {
  std::string node;
  std::string name;
  uint64_t serial;
  uint16_t productId;
  uint16_t firmware;
  uint32_t width;
  uint32_t height;
};

class Camera : public Source {
 public:
  // Empty when there is none; throws when there is one and none can be opened.
  static std::vector<CameraInfo> List();
  // By its node, its serial number, or the only one.
  static std::shared_ptr<Camera> Open(
      const std::variant<std::monostate, uint64_t, std::string>& which, bool highRate,
      size_t queue);
  ~Camera() override;

  std::unique_ptr<FrameData> Next(std::chrono::milliseconds timeout) override;
  // A loop ends when the stream is stopped.
  void BeginLoop() override;
  bool AtEnd() override;

  // Streaming; Next() and StartRecording() start by themselves.
  void Start();
  void Stop();
  bool IsStreaming();
  uint64_t Dropped() const { return queue_->Dropped(); }

  void StartRecording(const std::string& path);
  // Ends it; throws when a frame or the end could not be written.
  void StopRecording();
  // Throws when a frame could not be written.
  void CheckRecording();

  // Asks the camera to reconnect, waits until it is back and closes this.
  void Reconnect();

 private:
  Camera(std::shared_ptr<zocam::Device> device, std::shared_ptr<Painter> painter, bool highRate,
         size_t queue);
  static std::shared_ptr<Camera> Adopt(zocam::Device device, bool highRate, size_t queue);
  void StartLocked(zocam::Device& device);
  void StopLocked(zocam::Device& device);
  void FinishWriter();
  void EndWaits(zocam::Device& device) override;

  const bool highRate_;
  const std::shared_ptr<FrameQueue> queue_;
  std::mutex control_;  // one start, stop or change of recording at a time; guards:
  bool streaming_ = false;
  bool stopped_ = false;  // by Stop(), and nothing began since
  std::unique_ptr<zocam::Writer> writer_;

  std::timed_mutex order_;  // frames are decoded in the order in which they came
};

}  // namespace zopy

#endif
