// A place in a recording: the frame there, and the ways to other frames.
#ifndef ZOCAM_TOOLS_PLAYHEAD_H
#define ZOCAM_TOOLS_PLAYHEAD_H

#include <chrono>
#include <optional>

#include "zocam/zocam.hpp"

class Playhead {
 public:
  // At the frame that comes next of a passive, started recording, which must outlive it. Throws
  // zocam::Error when there is none.
  explicit Playhead(zocam::Recording& film);

  const zocam::Frame& Frame() const { return *here_; }
  const zocam::FrameStamp& Stamp() const { return *here_->Stamp(); }

  // Whether a frame follows, and how long after this one it was recorded: nothing at the end, at
  // least 0 also where a recording was started again.
  std::optional<std::chrono::milliseconds> Gap();
  // To the next frame, or the one before. False, and nothing changes, where there is none.
  bool Forward();
  bool Back();
  // To the last frame at or before a time, or the recording's first or last one.
  void GoTo(std::chrono::milliseconds time);
  void GoToEnd();

  // Why the file cannot be read on: it ends for good with the frames before.
  const std::optional<zocam::Error>& Damage() const { return damage_; }

 private:
  std::optional<zocam::FrameCopy> Read();
  bool Seek(std::chrono::milliseconds time);

  zocam::Recording& film_;
  std::optional<zocam::FrameCopy> here_;
  std::optional<zocam::FrameCopy> next_;  // read ahead
  std::optional<zocam::Error> damage_;
};

#endif
