// The camera products of the family and what distinguishes their raw frames.
#pragma once

#include <cstdint>

namespace zosim {

// What an image word of the product means.
enum class RawKind {
  kCounts,       // detector counts; the host computes the temperature
  kTemperature,  // temperature in 1/resolution kelvin, computed in the camera
};

struct ProductModel {
  uint16_t productId = 0;
  uint32_t width = 0;
  uint32_t height = 0;          // image lines, without the footer
  uint32_t footerLines = 0;     // lines that follow the image in a frame
  uint32_t telemetryLines = 0;  // footer lines that carry telemetry
  uint8_t revision = 0;         // telemetry revision the firmware writes
  RawKind rawKind = RawKind::kCounts;
  bool highRate = false;        // offers 259/10 frames per second besides 259/30
  bool referenceStrip = false;  // has a reference body in its field of view
  bool barrelLens = false;      // its lens compresses the scene towards the border

  uint32_t Lines() const { return height + footerLines; }
  uint32_t RowBytes() const { return width * 2; }
  uint32_t ImageBytes() const { return RowBytes() * height; }
  uint32_t FrameBytes() const { return RowBytes() * Lines(); }
};

constexpr uint16_t kFamilyVendorId = 0x7A11;

constexpr bool IsFamilyProduct(uint16_t productId) { return (productId & 0xFF00) == 0x6100; }

// The model of a family product. Products without features of their own are 80 x 60 count cameras.
ProductModel ModelOf(uint16_t productId);

}  // namespace zosim
