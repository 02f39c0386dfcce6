// The colour scale beside a picture: which temperature has which colour.
#ifndef ZOCAM_TOOLS_SCALE_BAR_H
#define ZOCAM_TOOLS_SCALE_BAR_H

#include <map>

#include "tools/measurement.h"
#include "tools/picture.h"
#include "tools/picture_options.h"

// How the gain of a picture maps temperatures to colours.
class ColourScale {
 public:
  ColourScale(const Measurement& measurement, const zocam::Image& grey, const zocam::Device& device,
              const PictureOptions& options);

  CelsiusRange Range() const { return range_; }
  Rgb ColourAt(double celsius) const;

 private:
  std::array<Rgb, 1024> colours_;
  CelsiusRange range_;
  std::map<double, double> levels_;  // display level by temperature; straight in between
};

// The picture with the scale at its right.
Picture WithScaleBar(const Picture& picture, const ColourScale& scale);

#endif
