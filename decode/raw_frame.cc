#include "decode/raw_frame.h"

#include <cstring>

#include "core/device_record.h"
#include "simd/stage_table.h"

void scalar::CopyImageWords(std::span<const uint8_t> words, void* out, bool upsideDown) {
  auto* bytes = static_cast<uint8_t*>(out);
  const std::size_t size = words.size();
  for (std::size_t k = 0; k < size; k += 2) {
    const uint16_t word = ReadBe16(&words[k]);
    std::memcpy(bytes + (upsideDown ? size - 2 - k : k), &word, sizeof word);
  }
}

ZoStatus ZoLib_Priv_CopyRawImage(_ZoDev* dev, const uint8_t* raw, uint16_t* dst, uint32_t dstSize) {
  if (dev == nullptr || raw == nullptr || dst == nullptr) return ZO_STATUS_NULL_POINTER;
  if (dev->imageBytes > dstSize) return ZO_STATUS_NOT_ENOUGH_SIZE;
  Stages().copyImageWords({raw, dev->imageBytes}, dst, dev->upsideDown != 0);
  return ZO_STATUS_OK;
}

const uint8_t* ZoLib_GetTelemetryData(_ZoDev* dev, const uint8_t* raw) {
  return dev == nullptr || raw == nullptr ? nullptr : raw + dev->imageBytes;
}
