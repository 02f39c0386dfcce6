// Decoder A: raw detector counts to kelvin, by a closed-form sensor model. The model has two
// regimes, one while the camera warms up after its first flat-field correction and a steady one;
// each turns a frame's telemetry into parameters p0 to p5 once and evaluates a function per pixel.
// The coefficients are fits to the sensor.
#ifndef ZOCAM_DECODE_DECODER_A_H
#define ZOCAM_DECODE_DECODER_A_H

#include <array>
#include <cstdint>
#include <span>

#include "zocam/zocam.h"

#include "decode/raw_frame.h"

using SensorParameters = std::array<double, 6>;

// Telemetry that the sensor model needs; temperatures in kelvin, times in ms.
struct SensorTelemetry {
  uint8_t revision;
  uint32_t time;
  uint32_t ffcTime;
  double sensor;
  double ffcSensor;
  double ffcHousing;

  explicit SensorTelemetry(const Footer& footer, uint8_t modelRevision);
};

// The steady regime's fit has two branches, for shifted counts below and from kHighCountsFrom on.
struct SteadyBranch {
  double a, b, c, o, e;
};
inline constexpr SteadyBranch kLowCounts = {0.3759742, 0.7519484, 7005.281549953599, 16221.82,
                                            -83.69756};
inline constexpr SteadyBranch kHighCounts = {0.2773114, 0.5546228, 3153.3975022143995, 12381.07,
                                             -56.15512};
inline constexpr double kHighCountsFrom = 7327.0;

inline constexpr double kMaxKelvin = 655.35;  // what 16 bits of 1/100 K hold

bool IsStartup(const SensorTelemetry& telemetry);
SensorParameters StartupParameters(const SensorTelemetry& telemetry);
SensorParameters SteadyParameters(const SensorTelemetry& telemetry);

// Which of the two functions of the sensor model, and its parameters.
struct SensorModel {
  bool startup;
  SensorParameters parameters;

  explicit SensorModel(const SensorTelemetry& telemetry);
};

namespace scalar {
// Converts the big-endian counts of an image to 1/100 K, at most 65535.
void ConvertCounts(const SensorModel& model, std::span<const uint8_t> counts,
                   std::span<uint16_t> out, bool upsideDown);

// Corrects each temperature of an image in 1/100 K for a protective window, given the sensor
// temperature in kelvin. image and out lie apart.
void CorrectWindowOfCounts(std::span<const uint16_t> image, std::span<uint16_t> out,
                           double sensorKelvin);
}  // namespace scalar

extern "C" {

// Kelvin of raw count x.
ZO_API double ZoLib_Priv_PixelTempStartup(const double p[6], double x);
ZO_API double ZoLib_Priv_PixelTempSteady(const double p[6], double x);
}

#endif
