#include "sim/model/reference_body.h"

#include <cmath>

#include "sim/model/wire.h"

namespace zosim {
namespace {

constexpr double kBodyAboveHousing = 1.5;

// The drift approaches its end exponentially.
constexpr double kDriftEnd = 0.5;
constexpr double kDriftMs = 60000.0;

// How much of the body's temperature passes the lens, and of the housing's is added to it.
constexpr double kLensPasses = 0.9859569;
constexpr double kHousingShare = 0.00162;

constexpr double kColdCompression = 1.25;
constexpr double kColdStartScale = 0.9903583480636349;

// Hot things drift less: all of it up to the first temperature as shown, nothing from the second.
constexpr double kFullDriftTo = 320.0;
constexpr double kNoDriftFrom = 370.0;

// The body of a warm camera goes ways of its own: up to `kFollowsFromMs` after an FFC it gives back
// more of its drift, declining from `kDeclinesFromMs` on; then it follows the sensor's temperature.
constexpr uint32_t kWarmAfterMs = 300000;
constexpr uint32_t kDeclinesFromMs = 9000;
constexpr uint32_t kFollowsFromMs = 30000;

double ShareGivenBack(const Telemetry& telemetry, uint32_t sinceFfc) {
  constexpr double kShare = 0.3;
  if (telemetry.time <= kWarmAfterMs || sinceFfc >= kFollowsFromMs) return 0.0;
  if (sinceFfc < kDeclinesFromMs) return kShare;
  return kShare * (kFollowsFromMs - sinceFfc) / (kFollowsFromMs - kDeclinesFromMs);
}

double BodyFollowsSensor(const Telemetry& telemetry, uint32_t sinceFfc) {
  constexpr double kFullMs = 270000.0;
  constexpr double kShare = 0.25;
  if (telemetry.time <= kWarmAfterMs || sinceFfc < kFollowsFromMs) return 0.0;
  const double warmed = telemetry.fpat / 100.0 - telemetry.fpatFfc / 100.0;
  return kShare * warmed * (sinceFfc - kFollowsFromMs) / kFullMs;
}

// The temperature that a sensor reading stands for: a cubic in its voltage that falls all along.
double SensorKelvin(uint32_t reading) {
  constexpr double kMillivoltPerStep = 1000.0 / 4096.0;
  const double z = reading * kMillivoltPerStep + (250.0 - 0.0009);
  return 478.7394 - z * (0.1814103 + z * (3.325395e-6 + z * 1.809628e-9));
}

}  // namespace

double BodyKelvin(const Telemetry& telemetry) { return telemetry.hout / 100.0 + kBodyAboveHousing; }

uint16_t BodySensorReading(double kelvin) {
  uint32_t warm = 0;  // at least as warm as `kelvin`, unless nothing is
  uint32_t cold = 65535;
  while (cold - warm > 1) {
    const uint32_t middle = (warm + cold) / 2;
    (SensorKelvin(middle) >= kelvin ? warm : cold) = middle;
  }
  const double tooWarm = std::abs(SensorKelvin(warm) - kelvin);
  const double tooCold = std::abs(SensorKelvin(cold) - kelvin);
  return static_cast<uint16_t>(tooWarm <= tooCold ? warm : cold);
}

void WriteBodyReadings(const ProductModel& model, double kelvin, std::span<uint8_t> footer) {
  const uint16_t reading = BodySensorReading(kelvin);
  for (size_t i = 0; i < 3; ++i) PutLittle16(footer, model.RowBytes() + 2 * i, reading);
}

DriftingImage::DriftingImage(const Telemetry& telemetry, const DriftingImage* beforeFfc)
    : body_(BodyKelvin(telemetry)),
      scale_(telemetry.timeFfc < 5000 && telemetry.fpatFfc < 31100 ? kColdStartScale : 1.0),
      coldIsCompressed_(telemetry.stretchFlag == 0) {
  const uint32_t sinceFfc = telemetry.time - telemetry.timeFfc;
  drift_ = kDriftEnd * (1.0 - std::exp(-(sinceFfc / kDriftMs)));
  const double seen = body_ + drift_ + BodyFollowsSensor(telemetry, sinceFfc);
  bodyShown_ = kLensPasses * (seen + kHousingShare * telemetry.hout / 100.0);
  if (beforeFfc != nullptr) {
    // What it gives back is a share of its whole change, itself included.
    const double share = kLensPasses * ShareGivenBack(telemetry, sinceFfc);
    bodyShown_ = (bodyShown_ - share * beforeFfc->bodyShown_) / (1.0 - share);
  }
}

double DriftingImage::SceneShown(double kelvin) const {
  if (coldIsCompressed_ && kelvin < body_) {
    return (body_ + (kelvin - body_) / kColdCompression) / scale_ + drift_;
  }
  const double still = kelvin / scale_;
  if (still >= kNoDriftFrom) return still;
  const double shown = still + drift_;
  if (shown <= kFullDriftTo) return shown;
  // The drift's share depends on what is shown in the end: solved for that.
  const double perKelvin = drift_ / (kNoDriftFrom - kFullDriftTo);
  return (still + perKelvin * kNoDriftFrom) / (1.0 + perKelvin);
}

}  // namespace zosim
