// A camera's stream while it is recorded: what the frame thread counts, and the two frames that it
// holds, so that the file has exactly the frames wanted.
#ifndef ZOCAM_TOOLS_RECORDED_STREAM_H
#define ZOCAM_TOOLS_RECORDED_STREAM_H

#include <atomic>
#include <cstdint>
#include <optional>

#include "zocam/zocam.hpp"

#include "tools/dropped_frames.h"

class RecordedStream {
 public:
  // Starts the stream. Its first frame, which shows that the camera works, is held until Record().
  RecordedStream(zocam::Device& camera, bool highRate);
  // Ends it.
  ~RecordedStream();
  RecordedStream(const RecordedStream&) = delete;
  RecordedStream& operator=(const RecordedStream&) = delete;

  // True once the first frame came.
  bool HasBegun() const { return begun_; }
  // Lets the stream go on, which is written to a file by now, up to the last frame wanted: that one
  // is held, until the end.
  void Record(uint64_t mostFrames);
  bool IsComplete() const { return frames_ >= mostFrames_; }

  // Since Record().
  uint64_t Frames() const { return frames_; }
  uint64_t Dropped() const { return dropped_; }

 private:
  void Take(const zocam::Frame& frame);

  zocam::Device& camera_;
  std::optional<DroppedFrames> counter_;  // the frame thread's own from Record() on
  std::atomic<bool> begun_ = false;
  std::atomic<bool> recording_ = false;
  std::atomic<bool> ended_ = false;
  std::atomic<uint64_t> mostFrames_ = UINT64_MAX;
  std::atomic<uint64_t> frames_ = 0;
  std::atomic<uint64_t> dropped_ = 0;
};

#endif
