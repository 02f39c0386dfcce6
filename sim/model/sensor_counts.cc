#include "sim/model/sensor_counts.h"

#include <algorithm>
#include <cmath>

namespace zosim {
namespace {

// Start-up regime: far from the zero count the response droops with the cube of the distance, down
// to 0.6 of its slope.
constexpr double kDroop = 2.4425e-11;
constexpr double kLeastSlope = 0.6;

// The drooping response v * (1 - kDroop * v^3) rises up to here.
const double kDroopPeakAt = std::cbrt(1.0 / (4.0 * kDroop));
const double kDroopPeak = kDroopPeakAt * 0.75;

// Steady regime: two square-root laws that meet at one count.
struct RootLaw {
  double divisor;
  double slope;
  double constant;
  double origin;
  double offset;
};
constexpr RootLaw kColdLaw = {0.3759742, 0.7519484, 7005.281549953599, 16221.82, -83.69756};
constexpr RootLaw kWarmLaw = {0.2773114, 0.5546228, 3153.3975022143995, 12381.07, -56.15512};
constexpr double kLawsMeetAt = 7327.0;

// The shifted count at which a law gives this radiance.
double ShiftedCount(const RootLaw& law, double radiance) {
  const double root = std::max(0.0, radiance * law.divisor + law.offset);
  return (root * root - law.constant) / law.slope + law.origin;
}

// How far the start-up offset still is from its end, in the three time constants of warming.
double WarmUpRest(uint32_t time) {
  const double t = time;
  double rest = 0.0;
  if (time < 30000) rest += t / 30000.0 - 1.0;
  if (time < 60000) rest += 3.0 * (t / 60000.0 - 1.0);
  if (time < 300000) rest += 3.0 * (t / 300000.0 - 1.0);
  return rest;
}

// The count shift since the last FFC: a parabola for 18 s, then a quartic that ends at 65 s.
double ShiftSinceFfc(uint32_t elapsed) {
  constexpr double kRest = 25.62;
  const double d = elapsed;
  if (elapsed < 18000) {
    return kRest + 19.01978 - d * (0.006914365 - 1.830881e-7 * d);
  }
  if (elapsed <= 65000) {
    const double quartic =
        40.49744 + d * (0.0008034826 + d * (-3.778912e-8 + d * (4.428822e-13 - 1.628652e-18 * d)));
    return kRest - quartic;
  }
  return 0.0;
}

}  // namespace

SensorCounts::SensorCounts(const Telemetry& telemetry, uint8_t revision) {
  if (revision == 10) {
    gain_ = 0.88428;
    bias_ = 36.96;
  }
  const double sensor = telemetry.fpat / 100.0;
  const double sensorAtFfc = telemetry.fpatFfc / 100.0;
  startUp_ = telemetry.timeFfc < 5000 && sensorAtFfc < 311.0;
  if (startUp_) {
    PrepareStartUp(sensor, sensorAtFfc, telemetry.time);
  } else {
    PrepareSteady(telemetry, revision);
  }
}

void SensorCounts::PrepareStartUp(double sensor, double sensorAtFfc, uint32_t time) {
  // The zero count is a parabola of the sensor temperature whose shape the FFC fixed.
  const double curve = 0.3 + 0.011 * std::sqrt(325.0 - sensorAtFfc);
  const double tilt = (1.5 * (sensorAtFfc - 325.0) - 630.0) * curve;
  const double vertex = sensor + tilt / (2.0 * curve);
  zero_ = curve * vertex * vertex + 42.0 * (sensorAtFfc - 274.0) + 6200.0;
  slope_ = -0.5625453 + sensor * (0.003545329 - 5.216779e-6 * sensor);
  const double warmUp =
      std::max(0.0, -34.28 + sensorAtFfc * (0.252 - 0.00045 * sensorAtFfc)) * WarmUpRest(time);
  base_ = sensorAtFfc + warmUp;
}

void SensorCounts::PrepareSteady(const Telemetry& telemetry, uint8_t revision) {
  const double sensor = telemetry.fpat / 100.0;
  const double sensorAtFfc = telemetry.fpatFfc / 100.0;
  const double housingAtFfc = telemetry.houtFfc / 100.0;
  const double ambient =
      revision == 10 ? 0.999378 * sensorAtFfc : 0.8 * sensorAtFfc + 0.2 * housingAtFfc;
  const double effective = ambient + (sensor - sensorAtFfc) / 3.0;
  scale_ = (0.1909443 + 0.002635 * effective) * 0.9915;
  shift_ = ShiftSinceFfc(telemetry.time - telemetry.timeFfc);
}

double SensorCounts::StartUpCount(double kelvin) const {
  const double response = (kelvin - base_) / slope_;
  const double size = std::abs(response);
  double distance = 0.0;
  if (size >= kDroopPeak) {
    distance = size / kLeastSlope;
  } else {
    // Newton from below the peak; the curve is concave there, so every step from the left of the
    // solution stays left of the peak. Starting at the response itself is starting at the left.
    distance = size;
    for (int step = 0; step < 30; ++step) {
      const double cube = kDroop * distance * distance * distance;
      const double miss = size - distance * (1.0 - cube);
      if (std::abs(miss) < 1e-3) break;
      const double rise = std::max(1e-3, 1.0 - 4.0 * cube);
      distance = std::min(distance + miss / rise, kDroopPeakAt);
    }
  }
  return zero_ + std::copysign(distance, response);
}

double SensorCounts::SteadyCount(double kelvin) const {
  const double radiance = kelvin / scale_;
  const double cold = ShiftedCount(kColdLaw, radiance);
  if (cold < kLawsMeetAt) return cold - shift_;
  return std::max(kLawsMeetAt, ShiftedCount(kWarmLaw, radiance)) - shift_;
}

uint16_t SensorCounts::CountFor(double kelvin) const {
  const double inner = (kelvin - bias_) / gain_;
  const double count = startUp_ ? StartUpCount(inner) : SteadyCount(inner);
  if (!(count > 0.0)) return 0;
  return static_cast<uint16_t>(std::min(count + 0.5, 65535.0));
}

}  // namespace zosim
