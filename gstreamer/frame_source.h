// Where the element's frames come from: a camera, whose newest frame comes next, or a recording,
// all of whose frames come. Knows nothing of GStreamer.
//
// Open, SeekTo and the end belong to whoever owns the source, Next, Current and Device to the one
// streaming thread that there is meanwhile; Interrupt, Rest and Dropped may be called by any
// thread.
#ifndef ZOCAM_GSTREAMER_FRAME_SOURCE_H
#define ZOCAM_GSTREAMER_FRAME_SOURCE_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "zocam/zocam.hpp"

#include "tools/decode_settings.h"

namespace zogst {

struct SourceChoice {
  std::string device;    // serial number or node of a camera; empty: the only one
  std::string location;  // path of a recording; empty: a camera
  bool highRate = false;
  DecodeSettings decoding;
};

// A frame, as long as the source has no other one and lives.
struct SourceFrame {
  const zocam::Frame& frame;
  uint64_t number;                                               // from 1
  std::optional<std::chrono::steady_clock::time_point> arrival;  // of a camera's frame
  std::optional<std::chrono::milliseconds> time;  // of a recording's: since its start
};

enum class SourceEvent { kFrame, kEnd, kInterrupted };

class FrameSource {
 public:
  virtual ~FrameSource() = default;

  // Opens what was chosen, set to decode so. Throws ToolError or zocam::Error.
  static std::unique_ptr<FrameSource> Open(const SourceChoice& choice);

  // Waits for the next frame. Throws when there can be none: zocam::Error or ToolError.
  virtual SourceEvent Next() = 0;
  // The one that Next() told of.
  virtual SourceFrame Current() const = 0;
  virtual zocam::Device& Device() = 0;

  // On: Next() returns at once.
  virtual void Interrupt(bool on) = 0;
  // A camera rests when it is opened. Frames that come while it rests are let go, which is no loss,
  // and with them the one that was waiting.
  virtual void Rest(bool) {}
  // Frames that nobody took before the next one came.
  virtual uint64_t Dropped() const { return 0; }

  // Recordings only: how long it is from the start to the last frame, and a move to the last frame
  // at or before a time.
  virtual std::optional<std::chrono::milliseconds> Length() const { return std::nullopt; }
  virtual void SeekTo(std::chrono::milliseconds) {}
};

std::unique_ptr<FrameSource> OpenCameraSource(const SourceChoice& choice);
std::unique_ptr<FrameSource> OpenRecordingSource(const SourceChoice& choice);

}  // namespace zogst

#endif
