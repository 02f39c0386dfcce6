// Measured values as TIFF.
#ifndef ZOCAM_TOOLS_TIFF_FILE_H
#define ZOCAM_TOOLS_TIFF_FILE_H

#include <cstdint>
#include <string>
#include <vector>

#include "zocam/zocam.hpp"

#include "tools/quantity.h"

// 16-bit grey whose samples are the image's values, unchanged. What they mean stands in the
// description, a line each.
std::vector<uint8_t> EncodeTiff(const zocam::TemperatureImage& image, Quantity quantity,
                                const std::string& source, const DateTime16& time);

#endif
