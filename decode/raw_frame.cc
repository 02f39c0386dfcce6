#include "decode/raw_frame.h"

#include "core/device_record.h"

ZoStatus ZoLib_Priv_CopyRawImage(_ZoDev* dev, const uint8_t* raw, uint16_t* dst, uint32_t dstSize) {
  if (dev == nullptr || raw == nullptr || dst == nullptr) return ZO_STATUS_NULL_POINTER;
  if (dev->imageBytes > dstSize) return ZO_STATUS_NOT_ENOUGH_SIZE;
  MapImageWords({raw, dev->imageBytes}, {dst, dev->pixelCount}, dev->upsideDown != 0,
                [](uint16_t word) { return word; });
  return ZO_STATUS_OK;
}

const uint8_t* ZoLib_GetTelemetryData(_ZoDev* dev, const uint8_t* raw) {
  return dev == nullptr || raw == nullptr ? nullptr : raw + dev->imageBytes;
}
