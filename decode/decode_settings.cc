// Settings of decoding that are more than a switch: ranges, the subtraction image, the read-out of
// the temperature image. All of it takes decodeLock but for reading the range.
#include <cstring>

#include "core/device_record.h"

ZoStatus ZoLib_SetDecodeRange(_ZoDev* dev, uint32_t low, uint32_t high) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  const ScopedLock lock(*dev->decodeLock);
  dev->decodeRangeLow = low;
  dev->decodeRangeHigh = high;
  return ZO_STATUS_OK;
}

void ZoLib_GetDecodeRange(_ZoDev* dev, uint32_t* low, uint32_t* high) {
  if (low != nullptr) *low = dev == nullptr ? 0 : dev->decodeRangeLow.Load();
  if (high != nullptr) *high = dev == nullptr ? 0 : dev->decodeRangeHigh.Load();
}

void ZoLib_SetSubtractionTemp(_ZoDev* dev, uint32_t on) {
  if (dev == nullptr) return;
  const ScopedLock lock(*dev->decodeLock);
  dev->subtractionTemp = on;
  if (on == 0) dev->subtractionTable.reset();
}

uint32_t ZoLib_GetSubtractionTemp(_ZoDev* dev) {
  if (dev == nullptr) return 0;
  const ScopedLock lock(*dev->decodeLock);
  return dev->subtractionTemp;
}

ZoStatus ZoLib_SetSubtractionTempTable(_ZoDev* dev, const void* table, uint32_t size) {
  if (dev == nullptr || table == nullptr) return ZO_STATUS_NULL_POINTER;
  const ScopedLock lock(*dev->decodeLock);
  if (size < dev->imageBytes) return ZO_STATUS_NOT_ENOUGH_SIZE;
  if (!EnsureAllocated(dev->subtractionTable, dev->pixelCount)) return ZO_STATUS_NO_MEMORY;
  std::memcpy(dev->subtractionTable.get(), table, dev->imageBytes);
  return ZO_STATUS_OK;
}

ZoStatus ZoLib_GetTempTable(_ZoDev* dev, void* out, uint32_t size) {
  if (dev == nullptr || out == nullptr) return ZO_STATUS_NULL_POINTER;
  const ScopedLock lock(*dev->decodeLock);
  if (size < dev->imageBytes) return ZO_STATUS_NOT_ENOUGH_SIZE;
  if (!dev->frameDecoded) return ZO_STATUS_NOT_YET;
  std::memcpy(out, dev->tempImage.get(), dev->imageBytes);
  return ZO_STATUS_OK;
}
