// The telemetry of a frame, and a plausible life of a camera to take it from: it warms up after
// power-on and closes its shutter for a flat-field correction (FFC) now and then.
#pragma once

#include <cstdint>
#include <span>

namespace zosim {

// Temperatures are in hundredths of a kelvin, times in milliseconds since power-on.
struct Telemetry {
  uint32_t time = 0;
  uint32_t timeFfc = 0;  // 0 while no FFC has been made
  uint16_t fpat = 0;     // sensor
  uint16_t fpatFfc = 0;  // sensor, at the last FFC
  uint16_t hout = 0;     // housing
  uint16_t houtFfc = 0;  // housing, at the last FFC
  uint8_t ffcState = 0;  // two bits: 0 none made yet, 3 made
  uint16_t stretchFlag = 0;
  uint16_t correctionFlag = 0;
  uint16_t resolutionFlag = 1;  // nonzero: words of temperature cameras are in 1/100 K, else 1/10 K

  bool operator==(const Telemetry&) const = default;
};

// When FFCs happen and how the camera warms up. A first FFC before 5 s puts the camera in its
// start-up regime, which lasts until the second.
struct CameraLife {
  uint32_t firstFfcMs = 3000;
  uint32_t secondFfcMs = 60000;
  uint32_t ffcIntervalMs = 180000;  // between later FFCs
  double sensorStartK = 296.0;
  double sensorRiseK = 8.0;
  double housingStartK = 295.0;
  double housingRiseK = 5.0;
  double warmUpSeconds = 420.0;
};

// Telemetry at a camera time. A pure function: the same life and time give the same telemetry.
Telemetry TelemetryAt(const CameraLife& life, uint32_t timeMs);

// Writes the telemetry into a frame's footer (at least kFooterBytesUsed bytes); other bytes stay.
constexpr uint32_t kFooterBytesUsed = 420;
void WriteFooter(const Telemetry& telemetry, uint8_t revision, std::span<uint8_t> footer);

// Reads it back; needed by those who hold only the bytes of a frame.
Telemetry ReadFooter(std::span<const uint8_t> footer);

}  // namespace zosim
