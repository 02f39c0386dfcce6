// Pictures and measured values as PNG.
#ifndef ZOCAM_TOOLS_PNG_FILE_H
#define ZOCAM_TOOLS_PNG_FILE_H

#include <cstdint>
#include <string>
#include <vector>

#include "zocam/zocam.hpp"

#include "tools/picture.h"

// One text chunk; Latin-1, the key at most 79 characters.
struct PngText {
  std::string key;
  std::string text;
};

// 8-bit colour.
std::vector<uint8_t> EncodePng(const Picture& picture, const std::vector<PngText>& texts);

// 16-bit grey whose samples are the image's values, unchanged. Unit and resolution are added to
// the texts.
std::vector<uint8_t> EncodePng(const zocam::TemperatureImage& image, std::vector<PngText> texts);

#endif
