// How temperatures become colours: palette, gain and range, as chosen on the command line.
#ifndef ZOCAM_TOOLS_PICTURE_OPTIONS_H
#define ZOCAM_TOOLS_PICTURE_OPTIONS_H

#include <array>
#include <optional>
#include <string>

#include "zocam/zocam.hpp"

#include "tools/cli_fwd.h"
#include "tools/picture.h"
#include "tools/quantity.h"

struct ValueRange {
  double low;  // both in the unit of the quantity shown
  double high;
};

class PictureOptions {
 public:
  // Adds --format, --gain and --range.
  void AddTo(CLI::App& command);

  // Gives the byte order to the device, which is set to decode as it will, and checks the range.
  // Throws ToolError.
  void Apply(zocam::Device& device) const;
  // Gives the range to the device. Its meaning depends on the unit of the camera's images, which
  // some models tell only with a frame: to be called once one was decoded.
  void ApplyRange(zocam::Device& device) const;

  bool IsManual() const { return gain_ == ZO_GAIN_MANUAL; }
  bool IsLinear() const { return gain_ == ZO_GAIN_LINEAR; }
  // The output format that pictures are rendered in, and that of their palette.
  uint32_t FormatCode() const { return family_ + gain_; }
  // The same gain as 8-bit grey, which shows how the gain ranks the temperatures.
  uint32_t GreyCode() const { return ZO_FMT_GRAY8 + gain_; }
  // The colour of a display level, 0 to 1023.
  std::array<Rgb, 1024> Colours() const;

 private:
  uint32_t family_ = ZO_FMT_IRON_RGB24;
  uint32_t gain_ = ZO_GAIN_LINEAR;
  std::string rangeText_;
};

// "20:35.5" in the quantity's unit. Throws ToolError.
ValueRange ParseRange(const std::string& text, Quantity quantity);

// Renders a frame in the format of the options.
Picture RenderPicture(const zocam::Frame& frame, const PictureOptions& options);

#endif
