// The colour scale beside a picture: which value has which colour.
#ifndef ZOCAM_TOOLS_SCALE_BAR_H
#define ZOCAM_TOOLS_SCALE_BAR_H

#include <map>

#include "tools/measurement.h"
#include "tools/picture.h"
#include "tools/picture_options.h"

// How the gain of a picture maps values (temperatures, differences or counts) to colours.
class ColourScale {
 public:
  ColourScale(const Measurement& measurement, const zocam::Image& grey, const zocam::Device& device,
              const PictureOptions& options);

  ValueRange Range() const { return range_; }
  const char* Unit() const { return UnitOf(quantity_); }
  Rgb ColourAt(double value) const;

 private:
  Quantity quantity_;
  std::array<Rgb, 1024> colours_;
  ValueRange range_;
  std::map<double, double> levels_;  // display level by value; straight in between
};

// The picture with the scale at its right.
Picture WithScaleBar(const Picture& picture, const ColourScale& scale);

#endif
