// The colour scale beside a picture: which value has which colour.
#ifndef ZOCAM_TOOLS_SCALE_BAR_H
#define ZOCAM_TOOLS_SCALE_BAR_H

#include <map>

#include "tools/cli_fwd.h"
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

// How a picture is written: how far enlarged, and whether with the scale at its right.
class PictureLayout {
 public:
  // Adds --scale and --no-bar.
  void AddTo(CLI::App& command);

  // The scale for pictures of so many rows, before they are enlarged; empty when left out.
  Picture ScaleBarFor(uint32_t rows, const ColourScale& scale) const;
  Picture Compose(const Picture& picture, const Picture& bar) const;

 private:
  uint32_t scale_ = 4;
  bool noBar_ = false;
};

#endif
