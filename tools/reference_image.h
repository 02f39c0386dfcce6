// The reference image of a subtraction, from a file.
#ifndef ZOCAM_TOOLS_REFERENCE_IMAGE_H
#define ZOCAM_TOOLS_REFERENCE_IMAGE_H

#include <cstdint>
#include <string>
#include <vector>

struct ReferenceImage {
  uint32_t width = 0;
  uint32_t height = 0;
  int32_t resolution = 0;  // units per kelvin; 0: the file does not say
  std::vector<uint16_t> values;
};

// Reads a 16-bit PNG that zocam snapshot --raw16 wrote, or a NumPy array of uint16. Throws
// ToolError.
ReferenceImage ReadReferenceImage(const std::string& path);

// The values in the unit of a camera with this resolution, or as they are when the file named none.
std::vector<uint16_t> ValuesAt(const ReferenceImage& reference, int32_t resolution);

#endif
