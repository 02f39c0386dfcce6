// The decode pipeline, read top to bottom: from a raw frame to the picture that the caller asked
// for.
#include <cstring>
#include <new>

#include "core/device_record.h"
#include "decode/circumference.h"
#include "decode/noise_filter.h"
#include "decode/raw_frame.h"
#include "decode/reflection.h"
#include "decode/subtraction.h"
#include "decode/temp_decoders.h"
#include "decode/undistortion.h"
#include "render/render.h"
#include "simd/stage_table.h"

namespace {

constexpr uint8_t kRevisionWithResolution = 14;
constexpr int32_t kCentikelvin = 100;
constexpr int32_t kDecikelvin = 10;

// Which optional stages a call runs. Switches may change at any time, so they are read once.
struct OptionalStages {
  bool circumference;
  bool undistortion;
  bool noiseFilter;
  bool subtraction;

  explicit OptionalStages(const _ZoDev& dev) ZO_HOLDS(*dev.decodeLock)
      : circumference(dev.circumferenceCorrection != 0 && dev.windowCorrection == 0),
        undistortion(dev.undistortionOn != 0),
        noiseFilter(dev.noiseFilter != 0),
        subtraction(dev.colorizeByRaw == 0 && dev.subtractionTemp != 0 &&
                    dev.subtractionTable != nullptr) {}
};

std::span<uint16_t> TempImage(const _ZoDev& dev) ZO_HOLDS(*dev.decodeLock) {
  return {dev.tempImage.get(), dev.pixelCount};
}

ZoStatus CheckFrame(_ZoDev& dev, const uint8_t* raw) ZO_HOLDS(*dev.decodeLock) {
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

bool EnsureCircumference(_ZoDev& dev) ZO_HOLDS(*dev.decodeLock) {
  if (!EnsureAllocated(dev.correctedFrame, dev.rawFrameBytes)) return false;
  if (dev.circumferenceTable) return true;
  if (!EnsureAllocated(dev.circumferenceTable, dev.pixelCount)) return false;
  FillCircumferenceTable({dev.circumferenceTable.get(), dev.pixelCount}, dev.frameWidth,
                         dev.frameHeight);
  return true;
}

bool EnsureUndistortion(_ZoDev& dev) ZO_HOLDS(*dev.decodeLock) {
  if (dev.undistortion) return true;
  std::unique_ptr<Undistortion> made(new (std::nothrow) Undistortion);
  if (!made || made->Setup(dev.frameWidth, dev.frameHeight, dev.undistortionStrength) != 0) {
    return false;
  }
  dev.undistortion = std::move(made);
  return true;
}

// Makes all that the stages need before the first of them runs: a frame then either passes every
// stage or none, and the ones that keep state see it once.
bool EnsureBuffers(_ZoDev& dev, const OptionalStages& stages) ZO_HOLDS(*dev.decodeLock) {
  if (!EnsureAllocated(dev.tempImage, dev.pixelCount)) return false;
  if (stages.circumference && !EnsureCircumference(dev)) return false;
  if (dev.frameDecoded) return true;
  if (stages.undistortion && !EnsureUndistortion(dev)) return false;
  return !(stages.undistortion || stages.noiseFilter) ||
         EnsureAllocated(dev.scratchImage, dev.pixelCount);
}

const uint8_t* CorrectedFrame(const _ZoDev& dev, const uint8_t* raw) ZO_HOLDS(*dev.decodeLock) {
  const Footer footer(raw + dev.imageBytes);
  const double factor =
      CircumferenceFactor(footer, dev.telemetryRevision, dev.telemetryCorrectionFlag);
  Stages().correctCircumference({raw, dev.imageBytes},
                                {dev.circumferenceTable.get(), dev.pixelCount}, dev.frameWidth,
                                factor, {dev.correctedFrame.get(), dev.imageBytes});
  std::memcpy(&dev.correctedFrame[dev.imageBytes], raw + dev.imageBytes,
              dev.rawFrameBytes - dev.imageBytes);
  return dev.correctedFrame.get();
}

// The image before its correction stages: raw words or decoded temperatures.
ZoStatus ProduceImage(_ZoDev& dev, const uint8_t* frame) ZO_HOLDS(*dev.decodeLock) {
  uint16_t* image = dev.tempImage.get();
  if (dev.colorizeByRaw != 0) return ZoLib_Priv_CopyRawImage(&dev, frame, image, dev.imageBytes);
  if (dev.tempDecoder == nullptr) return ZO_STATUS_INVALID_STATE;
  // The decoders' exported signature takes a mutable frame; they only read it.
  return dev.tempDecoder(&dev, const_cast<unsigned char*>(frame),
                         reinterpret_cast<unsigned char*>(image), dev.imageBytes);
}

void CorrectReflections(_ZoDev& dev) ZO_HOLDS(*dev.decodeLock) {
  if (dev.reflectGenActive) {
    Stages().accumulateKelvin({dev.reflectGenSums.get(), dev.pixelCount}, TempImage(dev),
                              dev.tempResolution);
    ++dev.reflectGenFrames;
  } else if (dev.reflectCorrData) {
    Stages().applyCorrections(TempImage(dev), {dev.reflectCorrData.get(), dev.pixelCount});
  }
}

// Decoder B's pixels carry the camera's own noise, which depends on their resolution.
int32_t NoiseThreshold(const _ZoDev& dev) {
  const int32_t threshold = dev.noiseFilterThreshold;
  if (dev.tempDecoder != ZoLib_Priv_Decode_TEMPERATURE_16_B) return threshold;
  return dev.tempResolution == kDecikelvin ? threshold / 3 : threshold * 3;
}

// Leaves frameDecoded clear when the decoder cannot make an image of this frame.
void DecodeImage(_ZoDev& dev, const uint8_t* frame, const OptionalStages& stages)
    ZO_HOLDS(*dev.decodeLock) {
  if (ProduceImage(dev, frame) != ZO_STATUS_OK) return;
  CorrectReflections(dev);
  // A stage that cannot work in place fills the scratch image, and the two change roles.
  if (stages.undistortion) {
    dev.undistortion->Transform(dev.scratchImage.get(), dev.tempImage.get());
    dev.tempImage.swap(dev.scratchImage);
  }
  if (stages.noiseFilter) {
    Stages().filterNoise(TempImage(dev), {dev.scratchImage.get(), dev.pixelCount}, dev.frameWidth,
                         dev.frameHeight, NoiseThreshold(dev));
    dev.tempImage.swap(dev.scratchImage);
  }
  if (stages.subtraction) {
    Stages().subtractReference(TempImage(dev), {dev.subtractionTable.get(), dev.pixelCount});
  }
  dev.frameDecoded = true;
}

ZoStatus DecodeLocked(_ZoDev& dev, const uint8_t* raw, void* out, uint32_t outSize, uint32_t stride,
                      uint32_t format) ZO_HOLDS(*dev.decodeLock) {
  const OptionalStages stages(dev);
  if (!EnsureBuffers(dev, stages)) return ZO_STATUS_NO_MEMORY;
  const bool needsWords = !dev.frameDecoded || format == ZO_FMT_RAW16;
  const uint8_t* frame = stages.circumference && needsWords ? CorrectedFrame(dev, raw) : raw;
  if (!dev.frameDecoded) DecodeImage(dev, frame, stages);
  if (format == ZO_FMT_RAW16) {
    return ZoLib_Priv_CopyRawImage(&dev, frame, static_cast<uint16_t*>(out), outSize);
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
  if (dev == nullptr || raw == nullptr || out == nullptr) return ZO_STATUS_NULL_POINTER;
  const ScopedLock lock(*dev->decodeLock);
  if (const ZoStatus status = CheckFrame(*dev, raw); status != ZO_STATUS_OK) return status;
  return DecodeLocked(*dev, raw, out, outSize, stride, format);
}

ZoStatus ZoLib_FinishDecode(_ZoDev* dev) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  const ScopedLock lock(*dev->decodeLock);
  dev->frameDecoded = false;
  return ZO_STATUS_OK;
}
