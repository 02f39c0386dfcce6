// The decode pipeline, read top to bottom: from a raw frame to the picture that the caller asked
// for. This and temp_decoders.cc are the only places of decode/ that know a handle.
#include "core/device_record.h"
#include "decode/raw_frame.h"
#include "render/render.h"

namespace {

constexpr uint8_t kRevisionWithResolution = 14;
constexpr int32_t kCentikelvin = 100;
constexpr int32_t kDecikelvin = 10;

// decodeLock held from here on.

ZoStatus CheckFrame(_ZoDev& dev, const uint8_t* raw) {
  if (dev.connected == 0) return ZO_STATUS_DEVICE_NOT_READY;
  const Footer footer(raw + dev.imageBytes);
  if (footer.Revision() != dev.telemetryRevision) return ZO_STATUS_INVALID_STATE;
  if (dev.telemetryRevision == kRevisionWithResolution) {
    dev.tempResolution = footer.ResolutionFlag() != 0 ? kCentikelvin : kDecikelvin;
    dev.telemetryCorrectionFlag = footer.CorrectionFlag();
    return ZO_STATUS_OK;
  }
  return dev.tempResolution != 0 ? ZO_STATUS_OK : ZO_STATUS_INVALID_STATE;
}

// The image before its correction stages: raw words or decoded temperatures.
ZoStatus ProduceImage(_ZoDev& dev, const uint8_t* frame) {
  uint16_t* image = dev.tempImage.get();
  if (dev.colorizeByRaw != 0) return ZoLib_Priv_CopyRawImage(&dev, frame, image, dev.imageBytes);
  if (dev.tempDecoder == nullptr) return ZO_STATUS_INVALID_STATE;
  // The decoders' exported signature takes a mutable frame; they only read it.
  return dev.tempDecoder(&dev, const_cast<unsigned char*>(frame),
                         reinterpret_cast<unsigned char*>(image), dev.imageBytes);
}

// Leaves frameDecoded clear when the decoder cannot make an image of this frame.
ZoStatus DecodeImage(_ZoDev& dev, const uint8_t* frame) {
  if (!EnsureAllocated(dev.tempImage, dev.pixelCount)) return ZO_STATUS_NO_MEMORY;
  if (dev.frameDecoded) return ZO_STATUS_OK;
  if (ProduceImage(dev, frame) != ZO_STATUS_OK) return ZO_STATUS_OK;
  dev.frameDecoded = true;
  return ZO_STATUS_OK;
}

ZoStatus DecodeLocked(_ZoDev& dev, const uint8_t* raw, void* out, uint32_t outSize, uint32_t stride,
                      uint32_t format) {
  const ZoStatus status = DecodeImage(dev, raw);
  if (status != ZO_STATUS_OK) return status;
  if (format == ZO_FMT_RAW16) {
    return ZoLib_Priv_CopyRawImage(&dev, raw, static_cast<uint16_t*>(out), outSize);
  }
  if (!dev.frameDecoded) return ZO_STATUS_INVALID_STATE;
  return ZoLib_Priv_DecodeTemp(&dev, dev.tempImage.get(), out, outSize, stride, format);
}

}  // namespace

ZoStatus ZoLib_DecodeCheck(_ZoDev* dev, const uint8_t* raw) {
  if (dev == nullptr || raw == nullptr) return ZO_STATUS_NULL_POINTER;
  const ScopedLock lock(*dev->decodeLock);
  return CheckFrame(*dev, raw);
}

ZoStatus ZoLib_Decode(_ZoDev* dev, const uint8_t* raw, void* out, uint32_t outSize, uint32_t stride,
                      uint32_t format) {
  if (out == nullptr) return ZO_STATUS_NULL_POINTER;
  const ZoStatus status = ZoLib_DecodeCheck(dev, raw);
  if (status != ZO_STATUS_OK) return status;
  const ScopedLock lock(*dev->decodeLock);
  return DecodeLocked(*dev, raw, out, outSize, stride, format);
}

ZoStatus ZoLib_FinishDecode(_ZoDev* dev) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  const ScopedLock lock(*dev->decodeLock);
  dev->frameDecoded = false;
  return ZO_STATUS_OK;
}

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
