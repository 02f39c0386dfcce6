#include "sim/model/telemetry.h"

#include <cmath>

#include "sim/model/wire.h"

namespace zosim {
namespace {

// Byte offsets in the footer.
constexpr size_t kRevisionAt = 1;
constexpr size_t kTimeAt = 2;
constexpr size_t kFfcStateAt = 6;  // bits 4 and 5
constexpr size_t kFpatAt = 48;
constexpr size_t kHoutAt = 52;
constexpr size_t kFpatFfcAt = 58;
constexpr size_t kTimeFfcAt = 60;
constexpr size_t kHoutFfcAt = 64;
constexpr size_t kStretchFlagAt = 330;
constexpr size_t kCorrectionFlagAt = 416;
constexpr size_t kResolutionFlagAt = 418;

uint16_t Warmed(double startK, double riseK, double warmUpSeconds, uint32_t timeMs) {
  const double kelvin = startK + riseK * (1.0 - std::exp(-(timeMs / 1000.0) / warmUpSeconds));
  return static_cast<uint16_t>(std::lround(kelvin * 100.0));
}

uint32_t LastFfc(const CameraLife& life, uint32_t timeMs) {
  if (timeMs < life.firstFfcMs) return 0;
  if (timeMs < life.secondFfcMs) return life.firstFfcMs;
  if (life.ffcIntervalMs == 0) return life.secondFfcMs;
  const uint32_t since = timeMs - life.secondFfcMs;
  return timeMs - since % life.ffcIntervalMs;
}

}  // namespace

Telemetry TelemetryAt(const CameraLife& life, uint32_t timeMs) {
  const auto sensorAt = [&](uint32_t at) {
    return Warmed(life.sensorStartK, life.sensorRiseK, life.warmUpSeconds, at);
  };
  const auto housingAt = [&](uint32_t at) {
    return Warmed(life.housingStartK, life.housingRiseK, life.warmUpSeconds, at);
  };
  Telemetry telemetry;
  telemetry.time = timeMs;
  telemetry.timeFfc = LastFfc(life, timeMs);
  telemetry.fpat = sensorAt(timeMs);
  telemetry.hout = housingAt(timeMs);
  telemetry.fpatFfc = sensorAt(telemetry.timeFfc);
  telemetry.houtFfc = housingAt(telemetry.timeFfc);
  telemetry.ffcState = telemetry.timeFfc == 0 ? 0 : 3;
  return telemetry;
}

void WriteFooter(const Telemetry& telemetry, uint8_t revision, std::span<uint8_t> footer) {
  footer[kRevisionAt] = revision;
  PutBig32LowWordFirst(footer, kTimeAt, telemetry.time);
  footer[kFfcStateAt] = static_cast<uint8_t>((telemetry.ffcState & 3) << 4);
  PutBig16(footer, kFpatAt, telemetry.fpat);
  PutBig16(footer, kHoutAt, telemetry.hout);
  PutBig16(footer, kFpatFfcAt, telemetry.fpatFfc);
  PutBig32LowWordFirst(footer, kTimeFfcAt, telemetry.timeFfc);
  PutBig16(footer, kHoutFfcAt, telemetry.houtFfc);
  PutBig16(footer, kStretchFlagAt, telemetry.stretchFlag);
  PutBig16(footer, kCorrectionFlagAt, telemetry.correctionFlag);
  PutBig16(footer, kResolutionFlagAt, telemetry.resolutionFlag);
}

Telemetry ReadFooter(std::span<const uint8_t> footer) {
  Telemetry telemetry;
  telemetry.time = GetBig32LowWordFirst(footer, kTimeAt);
  telemetry.timeFfc = GetBig32LowWordFirst(footer, kTimeFfcAt);
  telemetry.fpat = GetBig16(footer, kFpatAt);
  telemetry.hout = GetBig16(footer, kHoutAt);
  telemetry.fpatFfc = GetBig16(footer, kFpatFfcAt);
  telemetry.houtFfc = GetBig16(footer, kHoutFfcAt);
  telemetry.ffcState = (footer[kFfcStateAt] >> 4) & 3;
  telemetry.stretchFlag = GetBig16(footer, kStretchFlagAt);
  telemetry.correctionFlag = GetBig16(footer, kCorrectionFlagAt);
  telemetry.resolutionFlag = GetBig16(footer, kResolutionFlagAt);
  return telemetry;
}

}  // namespace zosim
