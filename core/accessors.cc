#include "core/accessors.h"

#include <algorithm>
#include <cstring>

#include "core/callback_thread.h"
#include "core/device_record.h"

namespace {

constexpr uint32_t kLibVersion = ZOCAM_VERSION_NUMBER;
constexpr uint32_t kOldestFirmware = 0x100;
constexpr uint16_t kMaxNoiseFilterThreshold = 100;

// Reads one field; a result narrower than the field keeps its low-order bits.
template <class Result, class Field>
Result Read(const _ZoDev* dev, Field _ZoDev::*field, Result ifNull = Result{}) {
  return dev == nullptr ? ifNull : static_cast<Result>(dev->*field);
}

template <class Field, class Value>
void Write(_ZoDev* dev, Field _ZoDev::*field, Value value) {
  if (dev != nullptr) dev->*field = value;
}

IdentityBlock Identity(const _ZoDev* dev) {
  return dev == nullptr ? IdentityBlock{} : dev->identityBlock;
}

}  // namespace

// Versions

uint32_t ZoLib_GetLibVersion(void) { return kLibVersion; }
uint32_t ZoLib_GetSupportedFWVersion(void) { return kOldestFirmware; }

// Identity and geometry

uint16_t ZoLib_GetVendorID(_ZoDev* dev) { return Identity(dev).vendorId; }
uint16_t ZoLib_GetProductID(_ZoDev* dev) { return Identity(dev).productId; }
uint16_t ZoLib_GetReleaseNumber(_ZoDev* dev) { return Identity(dev).releaseNumber; }
uint16_t ZoLib_GetFirmwareVersion(_ZoDev* dev) { return Identity(dev).firmwareVersion; }
uint8_t ZoLib_Priv_GetInfoFlags(_ZoDev* dev) { return Identity(dev).infoFlags; }

uint64_t ZoLib_GetSerialNumberAsUINT64(_ZoDev* dev) {
  return Read<uint64_t>(dev, &_ZoDev::serialNumber);
}

void ZoLib_GetSerialNumber(_ZoDev* dev, uint16_t* words) {
  if (dev == nullptr || words == nullptr) return;
  if (dev->serialNumber == 0) {
    std::ranges::copy(dev->identityBlock.serialWords, words);
    return;
  }
  for (int i = 0; i < 4; ++i) words[i] = static_cast<uint16_t>(dev->serialNumber >> (16 * i));
}

void ZoLib_GetDeviceName(_ZoDev* dev, char* buffer, int32_t size) {
  if (buffer == nullptr || size < 1) return;
  if (dev == nullptr) {
    *buffer = '\0';
    return;
  }
  const auto room = static_cast<std::size_t>(size);
  const std::size_t length = std::min(strnlen(dev->productName, sizeof dev->productName), room);
  std::memcpy(buffer, dev->productName, length);
  std::memset(buffer + length, 0, room - length);
}

void ZoLib_GetDeviceNameW(_ZoDev* dev, uint16_t* buffer, int32_t size) {
  if (buffer == nullptr || size < 1) return;
  if (dev == nullptr) {
    *buffer = 0;
    return;
  }
  const uint16_t* name = dev->wideProductName;
  for (int32_t i = 0; i < size; ++i) {
    buffer[i] = name[i];
    if (name[i] == 0) return;
  }
}

void ZoLib_Priv_GetExtInfo(_ZoDev* dev, void* destination, uint32_t count) {
  if (dev == nullptr || destination == nullptr) return;
  std::memcpy(destination, dev->extInfo.data(), std::min(count, kExtInfoBytes));
}

void ZoLib_Priv_SetExtInfo(_ZoDev* dev, const void* source, uint32_t count) {
  if (dev == nullptr || source == nullptr) return;
  std::memcpy(dev->extInfo.data(), source, std::min(count, kExtInfoBytes));
}

uint16_t ZoLib_GetFrameWidth(_ZoDev* dev) { return Read<uint16_t>(dev, &_ZoDev::frameWidth); }
uint16_t ZoLib_GetFrameHeight(_ZoDev* dev) { return Read<uint16_t>(dev, &_ZoDev::frameHeight); }
uint16_t ZoLib_GetFooterLines(_ZoDev* dev) { return Read<uint16_t>(dev, &_ZoDev::footerLines); }
uint16_t ZoLib_GetTelemetryDataLines(_ZoDev* dev) {
  return Read<uint16_t>(dev, &_ZoDev::telemetryLines);
}
uint8_t ZoLib_GetSupportedTelemetryDataRevision(_ZoDev* dev) {
  return Read<uint8_t>(dev, &_ZoDev::telemetryRevision);
}
uint32_t ZoLib_GetFrameRateDenominator(_ZoDev* dev) {
  return Read<uint32_t>(dev, &_ZoDev::frameRateDenominator, 1);
}
uint32_t ZoLib_GetFrameRateNumerator(_ZoDev* dev) {
  return Read<uint32_t>(dev, &_ZoDev::frameRateNumerator);
}
uint32_t ZoLib_GetDisconnected(_ZoDev* dev) { return Read<uint32_t>(dev, &_ZoDev::disconnected); }

// Decoding and rendering switches

uint32_t ZoLib_GetCircumferenceCorrection(_ZoDev* dev) {
  const bool supported = Read<uint32_t>(dev, &_ZoDev::circumferenceCorrectionSupported) != 0;
  return supported ? dev->circumferenceCorrection.Load() : 0;
}
void ZoLib_SetCircumferenceCorrection(_ZoDev* dev, uint32_t on) {
  const bool supported = Read<uint32_t>(dev, &_ZoDev::circumferenceCorrectionSupported) != 0;
  if (supported) dev->circumferenceCorrection = on;
}

uint32_t ZoLib_GetNoiseFilter(_ZoDev* dev) { return Read<uint32_t>(dev, &_ZoDev::noiseFilter); }
void ZoLib_SetNoiseFilter(_ZoDev* dev, uint32_t on) { Write(dev, &_ZoDev::noiseFilter, on); }

uint16_t ZoLib_GetNoiseFilterThreshold(_ZoDev* dev) {
  return Read<uint16_t>(dev, &_ZoDev::noiseFilterThreshold);
}
void ZoLib_SetNoiseFilterThreshold(_ZoDev* dev, uint16_t threshold) {
  Write(dev, &_ZoDev::noiseFilterThreshold,
        std::clamp<uint16_t>(threshold, 1, kMaxNoiseFilterThreshold));
}

uint32_t ZoLib_GetUndistortion(_ZoDev* dev) { return Read<uint32_t>(dev, &_ZoDev::undistortionOn); }
void ZoLib_SetUndistortion(_ZoDev* dev, uint32_t on) { Write(dev, &_ZoDev::undistortionOn, on); }

void ZoLib_GetWindowCorrection(_ZoDev* dev, uint32_t* value) {
  if (value != nullptr) *value = Read<uint32_t>(dev, &_ZoDev::windowCorrection);
}
void ZoLib_SetWindowCorrection(_ZoDev* dev, uint32_t value) {
  Write(dev, &_ZoDev::windowCorrection, value);
}

uint32_t ZoLib_GetUpsideDown(_ZoDev* dev) { return Read<uint32_t>(dev, &_ZoDev::upsideDown); }
void ZoLib_SetUpsideDown(_ZoDev* dev, uint32_t on) { Write(dev, &_ZoDev::upsideDown, on); }

uint32_t ZoLib_GetRGBOrder(_ZoDev* dev) { return Read<uint32_t>(dev, &_ZoDev::rgbOrder); }
void ZoLib_SetRGBOrder(_ZoDev* dev, uint32_t order) { Write(dev, &_ZoDev::rgbOrder, order); }

uint16_t ZoLib_GetRefTempRegion(_ZoDev* dev) { return Read<uint16_t>(dev, &_ZoDev::refTempRegion); }
void ZoLib_Priv_EnableRefTemp(_ZoDev* dev, uint32_t on) { Write(dev, &_ZoDev::refTempEnabled, on); }

int32_t ZoLib_GetLastTempResolution(_ZoDev* dev) {
  return Read<int32_t>(dev, &_ZoDev::tempResolution);
}

uint32_t ZoLib_GetTimeBasedAGC(_ZoDev* dev) { return Read<uint32_t>(dev, &_ZoDev::timeBasedAGC); }
void ZoLib_SetTimeBasedAGC(_ZoDev* dev, uint32_t on) { Write(dev, &_ZoDev::timeBasedAGC, on); }

// Recording and playback

uint64_t ZoLib_GetFileTimeLength(_ZoDev* dev) {
  return Read<uint64_t>(dev, &_ZoDev::fileTimeLength);
}
uint64_t ZoLib_GetFileHeadTimeOffset(_ZoDev* dev) {
  return Read<uint64_t>(dev, &_ZoDev::fileHeadTimeOffset);
}
uint64_t ZoLib_GetFileCurrentTimeOffset(_ZoDev* dev) {
  return dev == nullptr ? 0 : dev->fileCurrentTrailer.timeOffset.Load();
}
uint32_t ZoLib_GetFileFrames(_ZoDev* dev) { return Read<uint32_t>(dev, &_ZoDev::fileFrames); }
uint32_t ZoLib_GetFileCurrentFrameNumber(_ZoDev* dev) {
  return dev == nullptr ? 0 : dev->fileCurrentTrailer.frameNumber.Load();
}
void ZoLib_GetFileHeadDateTime(_ZoDev* dev, DateTime16* time) {
  if (dev != nullptr && time != nullptr) *time = dev->fileHeadDateTime;
}
void ZoLib_GetFileCurrentDateTime(_ZoDev* dev, DateTime16* time) {
  if (dev != nullptr && time != nullptr) *time = dev->fileCurrentTrailer.dateTime();
}
uint32_t ZoLib_GetFileReadPaused(_ZoDev* dev) {
  return Read<uint32_t>(dev, &_ZoDev::fileReadPaused);
}
uint32_t ZoLib_GetFileReadEOF(_ZoDev* dev) { return Read<uint32_t>(dev, &_ZoDev::fileReadEOF); }
uint32_t ZoLib_GetFileError(_ZoDev* dev) { return Read<uint32_t>(dev, &_ZoDev::fileError); }

double ZoLib_GetFileReadSpeed(_ZoDev* dev) { return Read<double>(dev, &_ZoDev::fileReadSpeed); }

void ZoLib_SetFileReadSpeed(_ZoDev* dev, double speed) {
  if (dev == nullptr || !(speed >= 0.0)) return;  // not a number is refused like a negative speed
  if (InEofCallback(dev)) return;                 // the calling thread holds the lock already
  const ScopedLock lock(*dev->fileLock);
  dev->fileReadSpeed = speed;
  dev->fileBaseTimeOffset = 0;
  dev->readerWakeCond->NotifyAll();  // a frame that waits over a long gap is dropped at once
}
