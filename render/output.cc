// Reads the handle's settings and calls the stages in order; the only file here that does.
#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <span>

#include "core/device_record.h"
#include "render/auto_gain.h"
#include "render/formats.h"
#include "render/frame_statistics.h"
#include "render/manual_gain.h"
#include "render/paint.h"
#include "render/palettes.h"
#include "render/render.h"
#include "simd/stage_table.h"

namespace {

using namespace zocam;

constexpr int32_t kSettingsPerKelvin = 100;  // ranges are set in 1/100 K
constexpr int32_t kHighestValue = 0xFFFF;
constexpr uint32_t kManualGreySteps = 255;
constexpr std::size_t kManualRun = 256;  // levels kept on the stack while a run is painted

// Hundredths of a kelvin per image unit; 1 for a resolution that no model has.
int32_t SettingsPerUnit(const _ZoDev& dev) {
  const int32_t resolution = dev.tempResolution;
  return resolution < 1 ? 1 : std::max(kSettingsPerKelvin / resolution, 1);
}

std::span<const uint16_t> ImageOf(const _ZoDev& dev, const uint16_t* image) {
  return {image, dev.pixelCount};
}

std::span<uint16_t> GainImageOf(const _ZoDev& dev) ZO_HOLDS(*dev.decodeLock) {
  return {dev.workImage.get(), dev.pixelCount};
}

CountedPixels CountedPixelsOf(const _ZoDev& dev) ZO_HOLDS(*dev.decodeLock) {
  CountedPixels counted{{}, dev.frameWidth, dev.refTempRegion};
  if (!dev.agcMaskIsFull) counted.weights = {dev.agcMask.get(), dev.pixelCount};
  return counted;
}

bool HasGainBuffers(const _ZoDev& dev) ZO_HOLDS(*dev.decodeLock) {
  return dev.workImage && dev.agcMask;
}

Extremes ClampToLimits(_ZoDev& dev, Extremes extremes) {
  int32_t low = 0;
  int32_t high = 0;
  ZoLib_Priv_GetAGCLimits(&dev, &low, &high);
  return Clamp(extremes, static_cast<uint16_t>(low), static_cast<uint16_t>(high));
}

Extremes FrameExtremes(_ZoDev& dev, std::span<const uint16_t> image) ZO_HOLDS(*dev.decodeLock) {
  Extremes extremes;
  Stages().widenExtremes(image, CountedPixelsOf(dev), extremes);
  return ClampToLimits(dev, extremes);
}

// The range of the recording-wide table, when it is to be used. A range that the limits cut down to
// less than a value per bin cannot be mapped; such a frame is treated on its own.
std::optional<BinRange> RecordingBins(_ZoDev& dev) ZO_HOLDS(*dev.decodeLock) {
  if (dev.timeBasedAGC == 0 || !dev.tbHistValid || !dev.tbHistTable) return std::nullopt;
  const Extremes range = ClampToLimits(dev, {dev.tbHistMin, dev.tbHistMax});
  if (range.max < range.min + kGainBins) return std::nullopt;
  return BinRange{range.min, range.max, uint32_t{range.max} - range.min};
}

ZoStatus CheckSize(const PictureLines& lines, uint32_t stride, uint32_t outSize) {
  const uint64_t lineBytes = uint64_t{lines.width} * lines.bytesPerPixel;
  if (lines.height * lineBytes > outSize) return ZO_STATUS_NOT_ENOUGH_SIZE;
  if (stride == 0 || lines.height == 0) return ZO_STATUS_OK;
  if (stride < lineBytes) return ZO_STATUS_INVALID_VALUE;
  if (uint64_t{lines.height - 1} * stride + lineBytes > outSize) return ZO_STATUS_NOT_ENOUGH_SIZE;
  return ZO_STATUS_OK;
}

ZoStatus CopyImage(const _ZoDev& dev, const uint16_t* image, void* out, uint32_t outSize) {
  if (dev.imageBytes > outSize) return ZO_STATUS_NOT_ENOUGH_SIZE;
  std::memcpy(out, image, dev.imageBytes);
  return ZO_STATUS_OK;
}

// Each run is painted at once, because the gain image belongs to the automatic gains.
void RenderManual(_ZoDev& dev, std::span<const uint16_t> image, Colours colours, Painter paint,
                  const PictureLines& lines) {
  ManualRange range{};
  ZoLib_Priv_GetManualRange(&dev, &range.span, &range.low);
  const uint32_t steps = colours == Colours::kGrey ? kManualGreySteps : kDisplayLevels;
  const Palette& palette = PaletteFor(colours, Gain::kManual);
  std::array<uint16_t, kManualRun> buffer;
  lines.ForEachRun(kManualRun, [&](std::size_t first, std::size_t count, uint8_t* out) {
    const std::span levels(buffer.data(), count);
    Stages().mapManual(image.subspan(first, count), range, steps, levels);
    paint(levels, palette, out);
  });
}

void RenderGainImage(const _ZoDev& dev, const Palette& palette, Painter paint,
                     const PictureLines& lines) ZO_HOLDS(*dev.decodeLock) {
  const std::span<const uint16_t> levels = GainImageOf(dev);
  lines.ForEachRun(levels.size(), [&](std::size_t first, std::size_t count, uint8_t* out) {
    paint(levels.subspan(first, count), palette, out);
  });
}

}  // namespace

void ZoLib_Priv_GetManualRange(_ZoDev* dev, int32_t* span, int32_t* low) {
  if (dev == nullptr || span == nullptr || low == nullptr) return;
  const uint32_t rangeLow = dev->decodeRangeLow;
  const uint32_t rangeHigh = dev->decodeRangeHigh;
  const int32_t perUnit = SettingsPerUnit(*dev);
  *span = static_cast<int32_t>(rangeHigh - rangeLow) / perUnit;
  *low = static_cast<int32_t>(rangeLow) / perUnit;
}

void ZoLib_Priv_GetAGCLimits(_ZoDev* dev, int32_t* low, int32_t* high) {
  if (dev == nullptr || low == nullptr || high == nullptr) return;
  const int32_t perUnit = SettingsPerUnit(*dev);
  *low = dev->agcRangeLow / perUnit;
  *high = std::min(dev->agcRangeHigh / perUnit, kHighestValue);
}

void ZoLib_Priv_LinearAGC(_ZoDev* dev, const uint16_t* image) {
  if (dev == nullptr || image == nullptr || !HasGainBuffers(*dev)) return;
  const bool recordingWide = dev->timeBasedAGC != 0 && dev->tbLinearValid;
  const Extremes extremes = recordingWide
                                ? ClampToLimits(*dev, {dev->tbLinearMin, dev->tbLinearMax})
                                : FrameExtremes(*dev, ImageOf(*dev, image));
  Stages().mapLinear(ImageOf(*dev, image), extremes, GainImageOf(*dev));
}

void ZoLib_Priv_NonLinearAGC(_ZoDev* dev, const uint16_t* image) {
  if (dev == nullptr || image == nullptr || !HasGainBuffers(*dev)) return;
  const std::span<const uint16_t> pixels = ImageOf(*dev, image);
  if (const auto bins = RecordingBins(*dev)) {
    const std::span<const GainSegment, kGainBins> table(dev->tbHistTable.get(), kGainBins);
    Stages().mapSegments(pixels, *bins, table, GainImageOf(*dev));
    return;
  }
  const BinRange bins = WholeBlocks(FrameExtremes(*dev, pixels));
  BinCounts counts{};
  Stages().countBins(pixels, CountedPixelsOf(*dev), bins, counts);
  if (dev->windowCorrection != 0) DampPeaks(counts, dev->pixelCount);
  if (const auto segments = BuildSegments(counts)) {
    Stages().mapSegments(pixels, bins, *segments, GainImageOf(*dev));
  }
}

ZoStatus ZoLib_Priv_DecodeTemp(_ZoDev* dev, const uint16_t* image, void* out, uint32_t outSize,
                               uint32_t stride, uint32_t format) {
  if (dev == nullptr || image == nullptr || out == nullptr) return ZO_STATUS_NULL_POINTER;
  if (format == ZO_FMT_TEMP16) return CopyImage(*dev, image, out, outSize);

  const auto picture = FindPictureFormat(format);
  if (!picture) return ZO_STATUS_INVALID_VALUE;
  PictureLines lines{static_cast<uint8_t*>(out), dev->frameWidth, dev->frameHeight,
                     BytesPerPixel(picture->layout), stride};
  if (const ZoStatus status = CheckSize(lines, stride, outSize); status != ZO_STATUS_OK) {
    return status;
  }
  if (stride == 0) lines.pitch = lines.width * lines.bytesPerPixel;
  if (dev->pixelCount == 0) return ZO_STATUS_OK;

  const Painter paint = Stages().painters->For(picture->layout, dev->rgbOrder != 0);
  if (picture->gain == Gain::kManual) {
    RenderManual(*dev, ImageOf(*dev, image), picture->colours, paint, lines);
    return ZO_STATUS_OK;
  }
  if (!HasGainBuffers(*dev)) return ZO_STATUS_NO_MEMORY;
  if (picture->gain == Gain::kLinear) {
    ZoLib_Priv_LinearAGC(dev, image);
  } else {
    ZoLib_Priv_NonLinearAGC(dev, image);
  }
  RenderGainImage(*dev, PaletteFor(picture->colours, picture->gain), paint, lines);
  return ZO_STATUS_OK;
}
