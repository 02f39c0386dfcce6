// Frames that a camera sent and the host never got, by the camera's own clock.
#ifndef ZOCAM_TOOLS_DROPPED_FRAMES_H
#define ZOCAM_TOOLS_DROPPED_FRAMES_H

#include <chrono>
#include <cstdint>
#include <optional>

#include "zocam/zocam.hpp"

class DroppedFrames {
 public:
  using Clock = std::chrono::steady_clock;

  explicit DroppedFrames(double framesPerSecond) : periodMs_(1000.0 / framesPerSecond) {}

  // Takes the camera's time of every frame that came, in order, and the host's time now.
  void Count(zocam::Telemetry::Milliseconds cameraTime, Clock::time_point now);
  uint64_t Total() const { return total_; }

 private:
  const double periodMs_;
  std::optional<uint32_t> lastMs_;  // of the camera
  Clock::time_point begin_;
  uint64_t total_ = 0;
};

#endif
