#include "decode/decoder_a.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "decode/window_correction.h"

// Intermediate results are doubles, never wider.
static_assert(FLT_EVAL_METHOD == 0);

namespace {

constexpr uint32_t kStartupFfcUntil = 4999;
constexpr double kStartupSensorBelow = 311.0;
constexpr uint8_t kScaledRevision = 10;

struct OutputScale {
  double factor;
  double offset;
};

OutputScale ScaleOf(uint8_t revision) {
  return revision == kScaledRevision ? OutputScale{0.88428, 36.96} : OutputScale{1.0, 0.0};
}

// How far the camera is from its thermal equilibrium: negative, rising to 0 at 300000.
double WarmUp(uint32_t time) {
  const double u = time;
  if (time <= 29999) {
    return (u / 30000 - 1) + 3 * (u / 60000 - 1) + 3 * (u / 300000 - 1);
  }
  if (time <= 59999) return 3 * (u / 60000 - 1) + 3 * (u / 300000 - 1);
  if (time <= 299999) return 3 * (u / 300000 - 1);
  return 0;
}

// Drift of the counts with the time since the last flat-field correction. A time before it wraps
// to a huge difference, which has no drift.
double CountDrift(uint32_t sinceFfc) {
  const double d = sinceFfc;
  const double d2 = d * d;
  if (sinceFfc <= 17999) {
    return -(-1.830881e-7 * d2 + 0.006914365 * d - 19.01978 - 25.62);
  }
  if (sinceFfc <= 65000) {
    return -(-1.628652e-18 * (d2 * d2) + 4.428822e-13 * (d2 * d) - 3.778912e-8 * d2 +
             0.0008034826 * d + 40.49744 - 25.62);
  }
  return 0;
}

uint16_t ToCentikelvin(double kelvin) {
  if (kelvin > kMaxKelvin) return 65535;
  if (!(kelvin >= 0)) return 0;
  return static_cast<uint16_t>(kelvin * 100.0);
}

}  // namespace

SensorTelemetry::SensorTelemetry(const Footer& footer, uint8_t modelRevision)
    : revision(modelRevision),
      time(footer.Time()),
      ffcTime(footer.FfcTime()),
      sensor(footer.SensorKelvin()),
      ffcSensor(footer.FfcSensorKelvin()),
      ffcHousing(footer.FfcHousingKelvin()) {}

bool IsStartup(const SensorTelemetry& telemetry) {
  return telemetry.ffcTime <= kStartupFfcUntil && telemetry.ffcSensor < kStartupSensorBelow;
}

SensorParameters StartupParameters(const SensorTelemetry& telemetry) {
  const double t = telemetry.sensor;
  const double tf = telemetry.ffcSensor;
  const OutputScale scale = ScaleOf(telemetry.revision);
  const double k = 0.011 * std::sqrt(325.0 - tf) + 0.3;
  const double m = (1.5 * (tf - 325.0) - 630.0) * k;
  const double q = std::max(0.0, -0.00045 * (tf * tf) + 0.252 * tf - 34.28);
  return {tf,
          k * (t * t) + m * t + (m * m) / (4 * k) + 42.0 * (tf - 274.0) + 6200.0,
          -5.216779e-6 * (t * t) + 0.003545329 * t - 0.5625453,
          WarmUp(telemetry.time) * q,
          scale.factor,
          scale.offset};
}

SensorParameters SteadyParameters(const SensorTelemetry& telemetry) {
  const double t = telemetry.sensor;
  const double tf = telemetry.ffcSensor;
  const OutputScale scale = ScaleOf(telemetry.revision);
  const double ambient =
      telemetry.revision == kScaledRevision ? 0.999378 * tf : 0.8 * tf + 0.2 * telemetry.ffcHousing;
  return {(t - tf) / 3.0 + ambient,
          CountDrift(telemetry.time - telemetry.ffcTime),
          0,
          0,
          scale.factor,
          scale.offset};
}

SensorModel::SensorModel(const SensorTelemetry& telemetry)
    : startup(IsStartup(telemetry)),
      parameters(startup ? StartupParameters(telemetry) : SteadyParameters(telemetry)) {}

double ZoLib_Priv_PixelTempStartup(const double p[6], double x) {
  const double v = x - p[1];
  const double magnitude = std::fabs(v);
  const double s = 1 - 2.4425e-11 * (magnitude * magnitude * magnitude);
  return (v * p[2] * std::max(0.6, s) + p[0] + p[3]) * p[4] + p[5];
}

double ZoLib_Priv_PixelTempSteady(const double p[6], double x) {
  const double s = x + p[1];
  const SteadyBranch& branch = s < kHighCountsFrom ? kLowCounts : kHighCounts;
  const double r = std::sqrt(std::max(0.0, (s - branch.o) * branch.b + branch.c));
  return ((r - branch.e) * (0.002635 * p[0] + 0.1909443) / branch.a * 0.9915) * p[4] + p[5];
}

void scalar::ConvertCounts(const SensorModel& model, std::span<const uint8_t> counts,
                           std::span<uint16_t> out, bool upsideDown) {
  const auto pixelTemp = model.startup ? ZoLib_Priv_PixelTempStartup : ZoLib_Priv_PixelTempSteady;
  MapImageWords(counts, out, upsideDown, [&](uint16_t count) {
    return ToCentikelvin(pixelTemp(model.parameters.data(), count));
  });
}

void scalar::CorrectWindowOfCounts(std::span<const uint16_t> image, std::span<uint16_t> out,
                                   double sensorKelvin) {
  for (std::size_t k = 0; k < image.size(); ++k) {
    out[k] = TruncateToLow16(ZoLib_Priv_WindowCorrectTemp(image[k] / 100.0, sensorKelvin) * 100.0);
  }
}
