// How frames are decoded: a choice for each stage. What was not chosen stays as the model has it.
#ifndef ZOCAM_TOOLS_DECODE_SETTINGS_H
#define ZOCAM_TOOLS_DECODE_SETTINGS_H

#include <cstdint>
#include <optional>
#include <string>

#include "zocam/zocam.hpp"

struct DecodeSettings {
  std::optional<uint16_t> noiseThreshold;  // 0: off
  std::optional<bool> undistortion;
  std::optional<bool> circumference;
  bool window = false;
  bool upsideDown = false;
  bool byRaw = false;
  std::string reflectionPath;  // of a file that zocam reflection make wrote; empty: none

  // Gives the choices to the device and reads the file they name. Throws ToolError, also when the
  // model lacks what was chosen or the file does not fit it.
  void Apply(zocam::Device& device) const;

  // Whether a frame's temperatures depend on those decoded before it: the correction for a window
  // averages the sensor's temperature over frames, and the drift of models with a reference body is
  // followed from frame to frame. Nothing else in the library remembers frames.
  static bool DependsOnEarlierFrames(const zocam::Device& device);
};

#endif
