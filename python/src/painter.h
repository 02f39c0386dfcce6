// Pictures of frames, at any time after their decoding and in any order.
//
// The library renders the frame that a handle decoded last, and decoding a frame again would count
// it twice in the averages that some models keep. So decoded images are painted by a handle of
// their own: it plays their values as raw counts with every stage of decoding switched off, which
// gives the picture of the source's own handle bit for bit. It is a recording's handle, because
// those need no camera: of a camera, one of a single empty frame, in memory.
#ifndef ZOCAM_PYTHON_PAINTER_H
#define ZOCAM_PYTHON_PAINTER_H

#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "zocam/zocam.hpp"

#include "python/src/frame.h"
#include "python/src/process.h"

namespace zopy {

using Range = zocam::Device::Range;

// Settings of a source that shape its decoded images, as a scan must have them, too.
struct DecodeSettings {
  bool noiseFilter;
  uint16_t noiseFilterThreshold;
  bool undistortion;
  bool circumferenceCorrection;
  bool upsideDown;
  bool colorizeByRaw;
  bool subtraction;
  std::vector<uint16_t> reference;
  std::vector<uint8_t> reflections;
};

// Every member may be called from any thread, without the GIL: they wait for each other.
class Painter {
 public:
  static std::shared_ptr<Painter> OfRecording(const std::string& path);
  // Before anything else is done with the camera: it writes a file through it.
  static std::shared_ptr<Painter> OfCamera(zocam::Device& camera);

  ~Painter();
  Painter(const Painter&) = delete;
  Painter& operator=(const Painter&) = delete;

  // Renders in a format of zocam.h; range replaces the one that the format's gain looks at.
  void Render(const FrameData& frame, uint32_t format, std::optional<Range> range,
              std::span<uint8_t> out);

  Range ManualRange();
  void SetManualRange(Range range);
  Range AutoRange();
  void SetAutoRange(Range range);
  void SetMask(std::span<const uint32_t> mask);
  void SetWindowCorrection(uint32_t value);

  // One gain from the frames of a recording, decoded with these settings; then switches it on.
  void ScanGain(const DecodeSettings& settings, bool nonlinear, uint32_t step,
                std::chrono::milliseconds from, std::chrono::milliseconds to);
  bool SteadyGain();
  void SetSteadyGain(bool on);

 private:
  explicit Painter(zocam::Recording film);
  // Waits for its turn.
  std::unique_lock<std::mutex> Turn() const;
  void PrepareForPainting();
  void PrepareForDecoding(const DecodeSettings& settings);

  const OwningProcess process_;
  mutable std::mutex mutex_;  // guards film_ and words_
  zocam::Recording film_;
  std::vector<uint8_t> words_;  // a raw frame: an image as big-endian words, and its footer
};

}  // namespace zopy

#endif
