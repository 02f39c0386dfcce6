#include "decode/temp_decoders.h"

#include <new>

#include "decode/decoder_a.h"
#include "decode/decoder_b.h"
#include "decode/decoder_d.h"
#include "decode/window_correction.h"
#include "simd/stage_table.h"

namespace {

constexpr int kWindowAverageFrames = 16;
constexpr uint32_t kWindowCorrectionOn = 1;
// How much colder the window is than the sensor. Decoder A takes it off the sensor temperature that
// the fit is given; product 0x6101 takes it off the fit's result instead.
constexpr double kWindowOffset = -14.0;

bool CorrectsWindow(const _ZoDev& dev) { return dev.windowCorrection == kWindowCorrectionOn; }

// Puts the frame's sensor temperature into the average and reads it; false when there is no memory.
bool AverageSensorTemp(_ZoDev& dev, const Footer& footer, double* average)
    ZO_HOLDS(*dev.decodeLock) {
  if (!dev.windowTempAvg) {
    dev.windowTempAvg.reset(new (std::nothrow) MovingAvg(kWindowAverageFrames));
    if (dev.windowTempAvg && !dev.windowTempAvg->HasStorage()) dev.windowTempAvg.reset();
    if (!dev.windowTempAvg) return false;
  }
  dev.windowTempAvg->Put(footer.SensorKelvin());
  *average = dev.windowTempAvg->Get();
  return true;
}

std::span<uint16_t> ImageAt(const _ZoDev& dev, unsigned char* out) {
  return {reinterpret_cast<uint16_t*>(out), dev.pixelCount};
}

}  // namespace

ZoStatus ZoLib_Priv_ConvertRawA(_ZoDev* dev, const unsigned char* raw, unsigned char* out) {
  if (dev == nullptr || raw == nullptr || out == nullptr) return ZO_STATUS_NULL_POINTER;
  const SensorTelemetry telemetry(Footer(raw + dev->imageBytes), dev->telemetryRevision);
  if (telemetry.ffcTime == 0) return ZO_STATUS_INVALID_STATE;  // no flat-field correction yet
  Stages().convertCounts(SensorModel(telemetry), {raw, dev->imageBytes}, ImageAt(*dev, out),
                         dev->upsideDown != 0);
  return ZO_STATUS_OK;
}

ZoStatus ZoLib_Priv_Decode_TEMPERATURE_16_A(_ZoDev* dev, unsigned char* raw, unsigned char* out,
                                            unsigned int outSize) {
  if (dev == nullptr || raw == nullptr || out == nullptr) return ZO_STATUS_NULL_POINTER;
  if (dev->imageBytes > outSize) return ZO_STATUS_NOT_ENOUGH_SIZE;
  if (!CorrectsWindow(*dev) || dev->reflectGenActive) return ZoLib_Priv_ConvertRawA(dev, raw, out);

  if (!EnsureAllocated(dev->scratchImage, dev->pixelCount)) return ZO_STATUS_NO_MEMORY;
  auto* scratch = reinterpret_cast<unsigned char*>(dev->scratchImage.get());
  const ZoStatus status = ZoLib_Priv_ConvertRawA(dev, raw, scratch);
  if (status != ZO_STATUS_OK) return status;
  double sensor = 0.0;
  if (!AverageSensorTemp(*dev, Footer(raw + dev->imageBytes), &sensor)) return ZO_STATUS_NO_MEMORY;
  Stages().correctWindowOfCounts({dev->scratchImage.get(), dev->pixelCount}, ImageAt(*dev, out),
                                 sensor + kWindowOffset);
  return ZO_STATUS_OK;
}

ZoStatus ZoLib_Priv_Decode_TEMPERATURE_16_B(_ZoDev* dev, unsigned char* raw, unsigned char* out,
                                            unsigned int outSize) {
  if (dev == nullptr || raw == nullptr || out == nullptr) return ZO_STATUS_NULL_POINTER;
  if (dev->imageBytes > outSize) return ZO_STATUS_NOT_ENOUGH_SIZE;
  const std::span<const uint8_t> words(raw, dev->imageBytes);
  const std::span<uint16_t> image = ImageAt(*dev, out);
  const bool upsideDown = dev->upsideDown != 0;
  if (!CorrectsWindow(*dev)) {
    Stages().copyImageWords(words, image.data(), upsideDown);
    return ZO_STATUS_OK;
  }
  double sensor = 0.0;
  if (!AverageSensorTemp(*dev, Footer(raw + dev->imageBytes), &sensor)) return ZO_STATUS_NO_MEMORY;
  const double offset = dev->identityBlock.productId == 0x6101 ? kWindowOffset : 0.0;
  Stages().correctWindowOfTemperatures(words, image, upsideDown, dev->tempResolution, sensor,
                                       offset);
  return ZO_STATUS_OK;
}

ZoStatus ZoLib_Priv_Decode_TEMPERATURE_16_D(_ZoDev* dev, unsigned char* raw, unsigned char* out,
                                            unsigned int outSize) {
  if (dev == nullptr || raw == nullptr || out == nullptr) return ZO_STATUS_NULL_POINTER;
  if (dev->imageBytes > outSize) return ZO_STATUS_NOT_ENOUGH_SIZE;
  if (dev->refTempRegion == 0) return ZO_STATUS_INVALID_STATE;  // a model without reference body
  const int32_t resolution = dev->tempResolution;
  const ReferenceReadings readings = ReadReference({raw, dev->rawFrameBytes}, dev->imageBytes,
                                                   dev->frameWidth, dev->refPoints, resolution);
  const DriftCorrection correction =
      FollowDrift(Footer(raw + dev->imageBytes), readings,
                  {dev->refAverages, dev->driftBaselineCaptured, dev->driftBaseline});
  Stages().correctDrifts({raw, dev->imageBytes}, ImageAt(*dev, out), dev->upsideDown != 0,
                         correction, resolution);
  return ZO_STATUS_OK;
}
