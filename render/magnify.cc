// Colour images to three times their width and height, for applications; needs no handle.
#include "render/magnify.h"

#include <cstddef>
#include <optional>

#include "zocam/zocam.h"

#include "simd/stage_table.h"

namespace zocam {
namespace {

constexpr uint32_t kFactor = 3;
constexpr std::size_t kChannels = 3;

// A pixel and which of its neighbours count. The pixel's lines lie lineBytes apart.
struct Pixel {
  const uint8_t* at;
  std::ptrdiff_t bytes;
  std::ptrdiff_t lineBytes;
  bool left, right, up, down;
};

// One channel of the block that a pixel becomes; without a neighbour, the pixel itself.
struct Cells {
  uint32_t top, left, right, bottom;
  uint32_t topLeft, topRight, bottomLeft, bottomRight;
};

Cells CellsOf(const Pixel& pixel, std::size_t channel) {
  const uint8_t* centre = pixel.at + channel;
  const uint32_t twice = 2U * *centre;
  const auto side = [&](bool exists, std::ptrdiff_t offset) -> uint32_t {
    return exists ? (twice + centre[offset]) / 3 : *centre;
  };
  Cells cells{};
  cells.top = side(pixel.up, -pixel.lineBytes);
  cells.left = side(pixel.left, -pixel.bytes);
  cells.right = side(pixel.right, pixel.bytes);
  cells.bottom = side(pixel.down, pixel.lineBytes);
  const auto corner = [&](bool hasHorizontal, std::ptrdiff_t horizontal, uint32_t horizontalCell,
                          bool hasVertical, std::ptrdiff_t vertical, uint32_t verticalCell) {
    if (!hasHorizontal) return verticalCell;
    if (!hasVertical) return horizontalCell;
    return (twice + centre[horizontal] + centre[vertical] + centre[horizontal + vertical]) / 5;
  };
  const auto upper = [&](bool has, std::ptrdiff_t offset, uint32_t cell) {
    return corner(has, offset, cell, pixel.up, -pixel.lineBytes, cells.top);
  };
  const auto lower = [&](bool has, std::ptrdiff_t offset, uint32_t cell) {
    return corner(has, offset, cell, pixel.down, pixel.lineBytes, cells.bottom);
  };
  cells.topLeft = upper(pixel.left, -pixel.bytes, cells.left);
  cells.topRight = upper(pixel.right, pixel.bytes, cells.right);
  cells.bottomLeft = lower(pixel.left, -pixel.bytes, cells.left);
  cells.bottomRight = lower(pixel.right, pixel.bytes, cells.right);
  return cells;
}

void WriteBlock(const Pixel& pixel, uint8_t* out, std::size_t outLineBytes) {
  const auto bytes = static_cast<std::size_t>(pixel.bytes);
  for (std::size_t channel = 0; channel < kChannels; ++channel) {
    const Cells cells = CellsOf(pixel, channel);
    const auto writeLine = [&](std::size_t line, uint32_t first, uint32_t second, uint32_t third) {
      uint8_t* cell = out + line * outLineBytes + channel;
      cell[0] = static_cast<uint8_t>(first);
      cell[bytes] = static_cast<uint8_t>(second);
      cell[2 * bytes] = static_cast<uint8_t>(third);
    };
    writeLine(0, cells.topLeft, cells.top, cells.topRight);
    writeLine(1, cells.left, pixel.at[channel], cells.right);
    writeLine(2, cells.bottomLeft, cells.bottom, cells.bottomRight);
  }
}

// The bytes of the whole output; none when they cannot be counted.
std::optional<uint64_t> OutputBytes(uint32_t columns, uint32_t height, uint32_t bytesPerPixel) {
  uint64_t bytes = 0;
  if (__builtin_mul_overflow(uint64_t{columns} * height, uint64_t{bytesPerPixel} * 9, &bytes))
    return std::nullopt;
  return bytes;
}

}  // namespace

void scalar::MagnifyRun(const ColourImage& image, uint32_t y, uint32_t first, uint32_t last,
                        uint8_t* out) {
  const std::size_t lineBytes = std::size_t{image.width} * image.bytesPerPixel;
  const std::size_t blockBytes = std::size_t{kFactor} * image.bytesPerPixel;
  const std::size_t outLineBytes = (image.width - image.leftMargin) * blockBytes;
  const uint8_t* line = image.pixels + y * lineBytes;
  uint8_t* block =
      out + std::size_t{kFactor} * y * outLineBytes + (first - image.leftMargin) * blockBytes;
  for (uint32_t x = first; x < last; ++x, block += blockBytes) {
    const Pixel pixel{line + std::size_t{x} * image.bytesPerPixel,
                      static_cast<std::ptrdiff_t>(image.bytesPerPixel),
                      static_cast<std::ptrdiff_t>(lineBytes),
                      x > image.leftMargin,
                      x + 1 < image.width,
                      y > 0,
                      y + 1 < image.height};
    WriteBlock(pixel, block, outLineBytes);
  }
}

void scalar::Magnify3(const ColourImage& image, uint8_t* out) {
  for (uint32_t y = 0; y < image.height; ++y) {
    MagnifyRun(image, y, image.leftMargin, image.width, out);
  }
}

}  // namespace zocam

ZoStatus ZoLib_Magnify3(const uint8_t* src, uint32_t width, uint32_t height, uint8_t* dst,
                        uint32_t dstSize, uint32_t bytesPerPixel, uint32_t leftMargin) {
  if (bytesPerPixel != 3 && bytesPerPixel != 4) return ZO_STATUS_INVALID_VALUE;
  if (src == nullptr || dst == nullptr) return ZO_STATUS_NULL_POINTER;
  if (leftMargin >= width) return ZO_STATUS_INVALID_VALUE;
  const auto bytes = zocam::OutputBytes(width - leftMargin, height, bytesPerPixel);
  if (!bytes) return ZO_STATUS_INVALID_VALUE;
  if (*bytes > dstSize) return ZO_STATUS_NOT_ENOUGH_SIZE;

  Stages().magnify3({src, width, height, bytesPerPixel, leftMargin}, dst);
  return ZO_STATUS_OK;
}
