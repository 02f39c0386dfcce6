// A place in a recording: the frame there, and the ways to other frames.
#ifndef ZOCAM_TOOLS_PLAYHEAD_H
#define ZOCAM_TOOLS_PLAYHEAD_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include "zocam/zocam.hpp"

class Playhead {
 public:
  // At the frame that comes next of a passive, started recording, which must outlive it. Throws
  // zocam::Error when there is none.
  explicit Playhead(zocam::Recording& film);

  // A view of the frame here, decoded with the recording's settings; until the next move.
  zocam::Frame Frame() const { return film_.ViewFrame(here_->raw); }
  const zocam::FrameStamp& Stamp() const { return here_->stamp; }

  // Whether a frame follows, and how long after this one it was recorded: nothing at the end, at
  // least 0 also where a recording was started again.
  std::optional<std::chrono::milliseconds> Gap();
  // To the next frame, or the one before. False, and nothing changes, where there is none.
  bool Forward();
  bool Back();
  // To the last frame at or before a time, or the recording's first or last one.
  void GoTo(std::chrono::milliseconds time);
  void GoToEnd();

  // Why the file cannot be read on after the frame here.
  const std::optional<zocam::Error>& Damage() const { return damage_; }

 private:
  struct Place {
    std::vector<uint8_t> raw;
    zocam::FrameStamp stamp;
  };

  zocam::Recording& Reader() { return reopened_ ? *reopened_ : film_; }
  std::optional<Place> Read();
  bool Seek(std::chrono::milliseconds time);
  void WalkTo(std::chrono::milliseconds time);
  void ReadOn(std::chrono::milliseconds time);

  zocam::Recording& film_;
  std::optional<zocam::Recording> reopened_;  // after damage
  std::optional<Place> here_;
  std::optional<Place> next_;           // read ahead
  std::optional<zocam::Error> damage_;  // met by the last seek, or reading on from it
};

#endif
