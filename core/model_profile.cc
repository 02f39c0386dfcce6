#include "core/model_profile.h"

#include <algorithm>

#include "core/device_record.h"
#include "decode/temp_decoders.h"

namespace {

constexpr uint32_t kFamilyVendor = 0x7A11;
constexpr uint32_t kFamilyProductMask = 0xFF00;
constexpr uint32_t kFamilyProducts = 0x6100;

constexpr int kRefAverageWindow = 10;
constexpr uint16_t kRefTempColumns = 20;
constexpr std::array<RefPoint, 3> kRefPoints = {{{1, 10}, {1, 30}, {1, 50}}};

void SetSmallGeometry(_ZoDev& dev) {
  dev.frameWidth = 80;
  dev.frameHeight = 60;
  dev.footerLines = 4;
  dev.telemetryLines = 3;
}

void SetLargeGeometry(_ZoDev& dev) {
  dev.frameWidth = 160;
  dev.frameHeight = 120;
  dev.footerLines = 2;
  dev.telemetryLines = 2;
}

bool IsLarge(uint16_t productId) { return productId >= 0x6102 && productId <= 0x6105; }

// Pixels are temperatures already; each frame tells its resolution.
void SetTemperatureModel(_ZoDev& dev) {
  dev.telemetryRevision = 14;
  dev.tempDecoder = ZoLib_Priv_Decode_TEMPERATURE_16_B;
}

// Pixels are detector counts.
void SetRawCountModel(_ZoDev& dev, uint8_t revision) {
  dev.telemetryRevision = revision;
  dev.tempResolution = 100;
  dev.tempDecoder = ZoLib_Priv_Decode_TEMPERATURE_16_A;
}

// Part of the image shows a reference body, which tells the sensor's drift. Unchecked: the handle
// belongs to the thread that makes it.
void SetReferenceBody(_ZoDev& dev) ZO_UNCHECKED {
  dev.tempDecoder = ZoLib_Priv_Decode_TEMPERATURE_16_D;
  dev.refTempRegion = kRefTempColumns;
  dev.refPoints = kRefPoints;
  for (MovingAvg& average : dev.refAverages.sensor) average.Init(kRefAverageWindow);
  for (MovingAvg& average : dev.refAverages.measured) average.Init(kRefAverageWindow);
}

void SetModel(_ZoDev& dev) {
  switch (dev.identityBlock.productId) {
    case 0x6101:
      SetTemperatureModel(dev);
      break;
    case 0x6102:
      SetRawCountModel(dev, 10);
      break;
    case 0x6103:
      SetTemperatureModel(dev);
      dev.undistortionOn = 1;
      break;
    case 0x6104:
    case 0x6105:
      SetTemperatureModel(dev);
      dev.undistortionOn = 0;
      break;
    case 0x6120:
      SetTemperatureModel(dev);
      if (dev.refTempEnabled != 0) SetReferenceBody(dev);
      break;
    default:
      SetRawCountModel(dev, 9);
      dev.circumferenceCorrection = 1;
      dev.circumferenceCorrectionSupported = 1;
      break;
  }
}

}  // namespace

uint32_t ZoLib_Priv_CheckID(uint32_t vendorId, uint32_t productId) {
  return vendorId == kFamilyVendor && (productId & kFamilyProductMask) == kFamilyProducts ? 1 : 0;
}

// Unchecked like the next: nobody else has the handle yet.
void ZoLib_Priv_SetFrameSpecByVIDPID(_ZoDev* dev) ZO_UNCHECKED {
  if (dev == nullptr) return;
  const IdentityBlock& identity = dev->identityBlock;
  if (ZoLib_Priv_CheckID(identity.vendorId, identity.productId) == 0) {
    SetSmallGeometry(*dev);
    dev->telemetryRevision = 9;
  } else if (IsLarge(identity.productId)) {
    SetLargeGeometry(*dev);
    dev->undistortionStrength = 0.7;
    SetModel(*dev);
  } else {
    SetSmallGeometry(*dev);
    dev->undistortionStrength = 0.6;
    SetModel(*dev);
  }
  dev->pixelCount = dev->frameWidth * dev->frameHeight;
  dev->imageBytes = dev->pixelCount * 2;
  dev->rawFrameBytes = dev->frameWidth * 2 * (dev->frameHeight + dev->footerLines);

  // The gain image is cleared because it may be rendered before any gain has written it.
  dev->workImage = AllocateZeroed<uint16_t>(dev->pixelCount);
  dev->agcMask = AllocateZeroed<uint32_t>(dev->pixelCount);
  if (dev->agcMask) std::fill_n(dev->agcMask.get(), dev->pixelCount, 1U);
  dev->agcMaskIsFull = true;
}

bool ProfileIsComplete(const _ZoDev& dev) ZO_UNCHECKED {
  const auto ready = [](const MovingAvg& average) { return average.HasStorage(); };
  const RefAverages& averages = dev.refAverages;
  return dev.workImage && dev.agcMask &&
         (dev.refTempRegion == 0 || (std::ranges::all_of(averages.sensor, ready) &&
                                     std::ranges::all_of(averages.measured, ready)));
}
