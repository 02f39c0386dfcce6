// Grey images to 24 and 32-bit pixels, for applications; needs no handle.
#include <algorithm>
#include <cstddef>

#include "zocam/zocam.h"

ZoStatus ZoLib_Gray8ToRGB(const uint8_t* src, uint32_t width, uint32_t height, uint8_t* dst,
                          uint32_t dstSize, uint32_t stride, int32_t bytesPerPixel) {
  if (src == nullptr || dst == nullptr) return ZO_STATUS_NULL_POINTER;
  const int64_t lineBytes = int64_t{bytesPerPixel} * width;
  const int64_t pitch = stride != 0 ? stride : lineBytes;
  // Divided instead of multiplied: the whole size may not fit 64 bits.
  if (height != 0 && pitch > int64_t{dstSize / height}) return ZO_STATUS_NOT_ENOUGH_SIZE;
  if (bytesPerPixel != 3 && bytesPerPixel != 4) return ZO_STATUS_INVALID_VALUE;
  if (pitch < lineBytes) return ZO_STATUS_INVALID_VALUE;
  if (width == 0) return ZO_STATUS_OK;  // however many empty lines

  for (std::size_t y = 0; y < height; ++y) {
    const uint8_t* grey = src + y * width;
    uint8_t* pixel = dst + y * static_cast<std::size_t>(pitch);
    for (uint32_t x = 0; x < width; ++x) pixel = std::fill_n(pixel, bytesPerPixel, grey[x]);
  }
  return ZO_STATUS_OK;
}
