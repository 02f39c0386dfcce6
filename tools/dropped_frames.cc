#include "tools/dropped_frames.h"

#include <cmath>

namespace {

constexpr double kToleranceMs = 1000.0;  // frames wait a little on their way here

}  // namespace

void DroppedFrames::Count(zocam::Telemetry::Milliseconds cameraTime, Clock::time_point now) {
  const uint32_t cameraMs = cameraTime.count();
  if (!lastMs_) begin_ = now;
  const uint32_t gapMs = lastMs_ ? cameraMs - *lastMs_ : 0;  // right also when the clock wraps
  lastMs_ = cameraMs;
  // A gap longer than all the time there was: the camera has restarted, and its clock with it.
  const std::chrono::duration<double, std::milli> sinceBegin = now - begin_;
  if (gapMs > sinceBegin.count() + kToleranceMs) return;
  const auto periods = std::llround(gapMs / periodMs_);
  if (periods > 1) total_ += static_cast<uint64_t>(periods - 1);
}
