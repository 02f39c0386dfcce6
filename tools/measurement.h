// Values taken from a source: one frame, or the mean of several, and what they come to.
#ifndef ZOCAM_TOOLS_MEASUREMENT_H
#define ZOCAM_TOOLS_MEASUREMENT_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "zocam/zocam.hpp"

#include "tools/decode_options.h"
#include "tools/picture_options.h"
#include "tools/quantity.h"
#include "tools/source.h"

struct Measurement {
  Quantity quantity = Quantity::kTemperature;  // what the image's values mean
  zocam::TemperatureImage image;
  std::vector<uint8_t> raw;  // a raw frame: the one measured, or one that carries the image
  bool isMadeUp = false;     // the image is no frame's own
  std::optional<zocam::FrameStamp> stamp;  // of a recording's frame; of several, the last one's
};

// Decodes a frame into an image, whose memory is used again. False when the frame has no
// temperatures, as before the camera's first flat-field correction.
bool DecodeTemperatures(const zocam::Frame& frame, zocam::TemperatureImage& image);

// Throws ToolError when a frame that cannot be decoded is none of the device's model.
void RequireOwnModel(const zocam::Frame& frame, const zocam::Device& device);

// Streams until count frames could be decoded, each of them once, and hands them on with their
// images. Tells on standard error when the camera is not ready for that yet; throws ToolError when
// it stays so, no frame comes or a recording ends before. A recording has been started already.
using DecodedFrame = std::function<void(const zocam::Frame&, const zocam::TemperatureImage&)>;
void ForEachDecodedFrame(zocam::Device& device, DecodeOptions& decoding, uint32_t count,
                         const DecodedFrame& take);

// The one frame, or the mean of count frames, of a device that has been given the options.
Measurement Measure(zocam::Device& device, DecodeOptions& decoding, uint32_t count);

// A measurement of an image that no frame has; the one given lends its telemetry.
Measurement MeasurementOf(zocam::TemperatureImage image, const zocam::Frame& frame,
                          Quantity quantity);

// A measurement as the library renders it.
struct RenderedMeasurement {
  Picture picture;
  zocam::Image grey;  // the same gain as 8-bit grey
};
RenderedMeasurement RenderMeasurement(const Measurement& measurement, zocam::Device& device,
                                      const PictureOptions& options);

struct ValueSummary {
  double minimum;  // all in the quantity's unit
  double maximum;
  double centre;
  double mean;
};

// Leaves out the columns at the left edge that show the reference body, on models that have one.
ValueSummary Summarise(const zocam::TemperatureImage& image, Quantity quantity,
                       const zocam::Device& device);

// "min 19.50 °C  max 31.20 °C  centre 24.00 °C"
std::string SummaryText(const ValueSummary& summary, Quantity quantity, int decimals);

#endif
