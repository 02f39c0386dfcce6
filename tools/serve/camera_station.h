// One camera that is served: kept open, found again after it was pulled out, recorded.
//
// Three threads meet here. The control thread opens, sets, records and ends the camera. The
// library's frame thread decodes each frame once and publishes it. Anybody may ask for the newest
// frame and the description. Lock order: none is taken while another is held.
#ifndef ZOCAM_TOOLS_SERVE_CAMERA_STATION_H
#define ZOCAM_TOOLS_SERVE_CAMERA_STATION_H

#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "zocam/zocam.hpp"

#include "tools/dropped_frames.h"
#include "tools/rate_meter.h"
#include "tools/serve/picture_wish.h"
#include "tools/serve/served_frame.h"
#include "tools/serve/source_state.h"
#include "tools/serve/station_recording.h"

namespace serve {

class CameraStation {
 public:
  using Clock = std::chrono::steady_clock;

  // onFrame is called on the frame thread when there is a newer frame: it must not wait.
  CameraStation(uint64_t serial, bool highRate, std::function<void()> onFrame);
  ~CameraStation();
  CameraStation(const CameraStation&) = delete;
  CameraStation& operator=(const CameraStation&) = delete;

  const std::string& Id() const { return id_; }
  uint64_t Serial() const { return serial_; }

  // Control thread:
  bool NeedsCamera() const { return !device_; }
  // Starts the stream; a camera that cannot is let go, and the description says why.
  void TakeCamera(zocam::Device device, const std::string& node);
  // Notices what has happened meanwhile: to be called a few times a second.
  void Watch();
  Json Change(const Json& settings);
  Json StartRecording(const std::string& path, const std::string& name);
  Json StopRecording();

  // Any thread:
  Json Describe() const;
  FramePtr Newest() const;
  // False when no frame can be expected.
  bool Wish(PictureWish wish);
  Json SetSpots(const Json& spots);
  Json MeasureSpots() const { return spots_.Measure(Newest()); }

 private:
  enum class State { kWaiting, kLive, kSilent, kDisconnected, kFailed };
  static const char* NameOf(State state);

  void TakeFrame(const zocam::Frame& frame);
  void Begin(const std::string& node);
  std::vector<PictureWish> TakeWishes();
  void Disappoint();
  void Fulfil(const zocam::Frame& frame, const zocam::TemperatureImage& image);
  void LetGo(State state, const std::string& message);
  void SetState(State state, const std::string& message);
  zocam::Device& Camera();

  const std::string id_;
  const uint64_t serial_;
  const bool highRate_;
  const std::function<void()> onFrame_;
  SpotList spots_;

  // The control thread's, in this order: the stream ends before what its frames use.
  Json wanted_ = Json::object();  // settings that were changed, for when the camera comes back

  mutable std::mutex mutex_;  // guards what follows
  State state_ = State::kDisconnected;
  std::string message_;
  Json identity_;
  Json settings_;
  Json recordingText_ = Json::object();
  FramePtr newest_;
  std::vector<PictureWish> wishes_;
  Clock::time_point lastFrame_;
  uint32_t frames_ = 0;
  uint64_t dropped_ = 0;
  RateMeter rate_;

  // The frame thread's while the stream runs.
  std::optional<DroppedFrames> counter_;
  zocam::TemperatureImage image_;

  std::optional<zocam::Device> device_;
  std::optional<StationRecording> recording_;
};

}  // namespace serve

#endif
