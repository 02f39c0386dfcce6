// Temperatures taken from a source: one frame, or the mean of several, and what they come to.
#ifndef ZOCAM_TOOLS_MEASUREMENT_H
#define ZOCAM_TOOLS_MEASUREMENT_H

#include <cstdint>
#include <vector>

#include "zocam/zocam.hpp"

#include "tools/picture_options.h"
#include "tools/source.h"

struct Measurement {
  zocam::TemperatureImage image;
  std::vector<uint8_t> raw;  // a raw frame: the one measured, or one that carries the mean
  bool isMean = false;
};

// Takes frames from the source until count of them could be decoded. Tells on standard error when
// the camera is not ready for that yet; throws ToolError when it stays so or no frame comes.
Measurement Measure(Source& source, uint32_t count);

// A measurement as the library renders it.
struct RenderedMeasurement {
  Picture picture;
  zocam::Image grey;  // the same gain as 8-bit grey
};
RenderedMeasurement RenderMeasurement(const Measurement& measurement, Source& source,
                                      const PictureOptions& options);

struct TemperatureSummary {
  double minimum;  // all in degrees Celsius
  double maximum;
  double centre;
};

// Leaves out the columns at the left edge that show the reference body, on models that have one.
TemperatureSummary Summarise(const zocam::TemperatureImage& image, const zocam::Device& device);

#endif
