#include "tools/recorded_stream.h"

RecordedStream::RecordedStream(zocam::Device& camera, bool highRate) : camera_(camera) {
  camera_.Start([this](const zocam::Frame& frame) { Take(frame); }, highRate);
}

RecordedStream::~RecordedStream() {
  ended_ = true;
  recording_ = true;
  recording_.notify_all();
  ended_.notify_all();
  try {
    camera_.Stop();
  } catch (const zocam::Error&) {
    // A camera that does not stop any more is closed next.
  }
}

void RecordedStream::Record(uint64_t mostFrames) {
  mostFrames_ = mostFrames;
  counter_.emplace(camera_.FrameRate());
  recording_ = true;
  recording_.notify_all();
}

void RecordedStream::Take(const zocam::Frame& frame) {
  if (frame.Check() != ZO_STATUS_OK) return;  // of another model; such frames are not recorded
  if (!begun_.exchange(true)) {
    recording_.wait(false);
    return;
  }
  if (ended_) return;
  counter_->Count(frame.Telemetry().time, DroppedFrames::Clock::now());
  dropped_ = counter_->Total();
  if (++frames_ == mostFrames_) ended_.wait(false);
}
