// The settings of rendering that are serialised against decoding.
#include <algorithm>
#include <cstddef>
#include <span>

#include "core/device_record.h"
#include "render/render.h"

ZoStatus ZoLib_SetAGCRange(_ZoDev* dev, int32_t low, int32_t high) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  const ScopedLock lock(*dev->decodeLock);
  dev->agcRangeLow = std::max(low, 0);
  dev->agcRangeHigh = high;
  return ZO_STATUS_OK;
}

void ZoLib_GetAGCRange(_ZoDev* dev, int32_t* low, int32_t* high) {
  if (low != nullptr) *low = dev == nullptr ? 0 : dev->agcRangeLow.Load();
  if (high != nullptr) *high = dev == nullptr ? 0 : dev->agcRangeHigh.Load();
}

ZoStatus ZoLib_SetAGCROIMask(_ZoDev* dev, const uint32_t* mask) {
  if (dev == nullptr || mask == nullptr) return ZO_STATUS_NULL_POINTER;
  const std::span weights(mask, dev->pixelCount);
  const auto zeros = static_cast<std::size_t>(std::ranges::count(weights, 0U));
  if (zeros == weights.size()) return ZO_STATUS_INVALID_VALUE;
  const ScopedLock lock(*dev->decodeLock);
  if (!dev->agcMask) return ZO_STATUS_NO_MEMORY;
  std::ranges::copy(weights, dev->agcMask.get());
  dev->agcMaskIsFull = zeros == 0;
  return ZO_STATUS_OK;
}

uint32_t ZoLib_GetColorizeByRaw(_ZoDev* dev) {
  if (dev == nullptr) return 0;
  const ScopedLock lock(*dev->decodeLock);
  return dev->colorizeByRaw;
}

ZoStatus ZoLib_SetColorizeByRaw(_ZoDev* dev, uint32_t on) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  const ScopedLock lock(*dev->decodeLock);
  dev->colorizeByRaw = on;
  return ZO_STATUS_OK;
}
