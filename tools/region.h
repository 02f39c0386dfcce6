// Places in an image, as named on the command line, and what is seen there.
#ifndef ZOCAM_TOOLS_REGION_H
#define ZOCAM_TOOLS_REGION_H

#include <cstdint>
#include <string>
#include <vector>

#include "tools/cli_fwd.h"
#include "tools/measurement.h"

struct Region {
  bool isSpot;  // one pixel
  uint32_t left, top, width, height;
  std::string text;  // as it was written
};

// Adds --spot and --area, which may be repeated; the regions come in the order of the options.
void AddRegionOptions(CLI::App& command, std::vector<Region>& spots, std::vector<Region>& areas);

// Throws ToolError for a region that is not all inside an image of this size.
void RequireInside(const Region& region, uint32_t width, uint32_t height);

struct RegionValues {
  double minimum;  // all in the quantity's unit
  double maximum;
  double mean;
};
RegionValues ValuesIn(const Region& region, const zocam::TemperatureImage& image,
                      Quantity quantity);

#endif
