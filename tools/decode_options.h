// How frames are decoded: a choice for each stage, as made on the command line. What was not chosen
// stays as the model has it.
#ifndef ZOCAM_TOOLS_DECODE_OPTIONS_H
#define ZOCAM_TOOLS_DECODE_OPTIONS_H

#include <string>

#include "zocam/zocam.hpp"

#include "tools/cli_fwd.h"
#include "tools/decode_settings.h"
#include "tools/reference_image.h"
#include "tools/source.h"

class DecodeOptions {
 public:
  // Adds --noise-filter, --undistort, --window, --circumference, --upside-down, --subtract,
  // --reflection and --by-raw.
  void AddTo(CLI::App& command);

  // Gives the choices to the device and reads the files they name. Throws ToolError, also when the
  // model lacks what was chosen or a file does not fit it.
  void Apply(zocam::Device& device);

  // The reference image has to be in the unit of the camera's images, which on some models only a
  // frame tells. Call before each frame is decoded; throws zocam::Error.
  void FollowResolution(zocam::Device& device, const zocam::Frame& frame);

 private:
  DecodeSettings settings_;
  std::string referencePath_;
  ReferenceImage reference_;
  int32_t installedResolution_ = 0;  // of the reference that the device has; 0: none yet
};

#endif
