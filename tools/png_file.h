// Pictures and measured values as PNG.
#ifndef ZOCAM_TOOLS_PNG_FILE_H
#define ZOCAM_TOOLS_PNG_FILE_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "zocam/zocam.hpp"

#include "tools/picture.h"
#include "tools/quantity.h"

// One text chunk; Latin-1, the key at most 79 characters.
struct PngText {
  std::string key;
  std::string text;
};

// 8-bit colour.
std::vector<uint8_t> EncodePng(const Picture& picture, const std::vector<PngText>& texts);

// 16-bit grey whose samples are the image's values, unchanged. What they mean is added to the
// texts: quantity, unit, resolution and a description.
std::vector<uint8_t> EncodePng(const zocam::TemperatureImage& image, Quantity quantity,
                               std::vector<PngText> texts);

// What an image's values mean: quantity, unit, and of what is no count resolution and formula.
std::vector<PngText> DescribeValues(Quantity quantity, int32_t resolution);

// Where and when an image was taken: program, camera, time.
std::vector<PngText> DescribeOrigin(const zocam::Device& device, const std::string& time);
// "Thermal Camera 0x6103, serial 42"
std::string SourceText(const zocam::Device& device);

// The key of the text that names the quantity, and its names.
inline constexpr const char* kPngQuantityKey = "Quantity";
const char* PngQuantityName(Quantity quantity);

// The samples of a 16-bit grey PNG, and its texts.
struct PngValues {
  uint32_t width = 0;
  uint32_t height = 0;
  std::vector<uint16_t> values;  // row by row
  std::vector<PngText> texts;
};

// Whether the bytes begin as a PNG does.
bool IsPng(std::span<const uint8_t> bytes);

// Throws ToolError for what is damaged or no 16-bit grey.
PngValues DecodeGrey16Png(std::span<const uint8_t> bytes);

#endif
