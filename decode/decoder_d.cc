#include "decode/decoder_d.h"

#include "core/byte_order.h"

namespace {

constexpr uint32_t kHoldUntilMs = 8999;     // since the last FFC
constexpr uint32_t kHoldFromTimeMs = 9000;  // camera time, exclusive
constexpr uint32_t kDriftFromTimeMs = 300000;
constexpr uint32_t kBaselineUntilMs = 29999;  // since the last FFC

double ScaleOf(const Footer& footer) {
  constexpr double kStartupScale = 0.9903583480636349;
  return footer.FfcTime() <= 4999 && footer.FfcSensorKelvin() < 311.0 ? kStartupScale : 1.0;
}

void CaptureBaseline(DriftState& state) {
  auto& measured = state.averages.measured;
  state.baseline = (measured[0].Get() + measured[1].Get() + measured[2].Get()) / 3.0;
  for (MovingAvg& average : measured) average.Restart();
  state.baselineCaptured = true;
}

double DriftTerm(const Footer& footer, double measured, double baseline) {
  const uint32_t sinceFfc = footer.Time() - footer.FfcTime();
  const double d = sinceFfc;
  if (footer.Time() <= kDriftFromTimeMs) return 0.0;
  if (sinceFfc > kBaselineUntilMs) {
    return (d - 30000) / 270000.0 * (footer.SensorKelvin() - footer.FfcSensorKelvin()) * 0.25;
  }
  if (baseline == 0.0) return 0.0;
  const double term = 0.3 * (measured - baseline);
  return sinceFfc > kHoldUntilMs ? term * ((9000.0 - d) / 21000.0 + 1.0) : term;
}

}  // namespace

std::size_t RefPointOffset(const RefPoint& point, uint32_t width) {
  return std::size_t{width} * point.row + std::size_t{2} * point.column;
}

double RefSensorKelvin(uint16_t reading) {
  const double u = reading * 0.000244140625;
  const double z = (2 * u * 1000.0 + 500.0) * 0.5 - 0.0009;
  return -1.809628e-9 * (z * z * z) - 3.325395e-6 * (z * z) - 0.1814103 * z + 205.5894 + 273.15;
}

ReferenceReadings ReadReference(std::span<const uint8_t> frame, std::size_t imageBytes,
                                uint32_t width, std::span<const RefPoint> points,
                                int32_t resolution) {
  const std::size_t rowBytes = std::size_t{2} * width;
  ReferenceReadings readings{};
  for (std::size_t i = 0; i < kRefPointCount; ++i) {
    const uint8_t* centre = &frame[RefPointOffset(points[i], width)];
    const int sum = ReadBe16(centre) + ReadBe16(centre - 2) + ReadBe16(centre + 2) +
                    ReadBe16(centre - rowBytes) + ReadBe16(centre + rowBytes);
    readings.measured[i] = sum / 5.0 / resolution;
    readings.sensor[i] = RefSensorKelvin(ReadLe16(&frame[imageBytes + rowBytes + 2 * i]));
  }
  return readings;
}

DriftCorrection FollowDrift(const Footer& footer, const ReferenceReadings& readings,
                            DriftState state) {
  const uint32_t sinceFfc = footer.Time() - footer.FfcTime();
  const bool hold = sinceFfc <= kHoldUntilMs && footer.Time() > kHoldFromTimeMs;
  if (hold && !state.baselineCaptured) CaptureBaseline(state);
  state.baselineCaptured = hold;

  double sensorSum = 0.0;
  double measuredSum = 0.0;
  for (std::size_t i = 0; i < kRefPointCount; ++i) {
    MovingAvg& sensor = state.averages.sensor[i];
    MovingAvg& measured = state.averages.measured[i];
    if (!hold) {
      sensor.Put(readings.sensor[i]);
      measured.Put(readings.measured[i]);
    }
    sensorSum += sensor.Get();
    measuredSum += hold ? readings.measured[i] : measured.Get();
  }
  const double reference = sensorSum / 3.0;
  const double measured = measuredSum / 3.0;
  const double offset = reference - (measured / 0.9859569 - 0.00162 * footer.HousingKelvin()) +
                        DriftTerm(footer, measured, state.baseline);
  return {reference, offset, ScaleOf(footer), footer.StretchFlag() == 0};
}

uint16_t CorrectDrift(uint16_t word, const DriftCorrection& correction, int32_t resolution) {
  const double t = static_cast<double>(word) / resolution;
  const auto& [reference, offset, scale, stretchCold] = correction;
  double v = (t + offset) * scale;
  if (v < reference && stretchCold) {
    v = (v - reference) * 1.25 + reference;
  } else if (t > 320.0) {  // the offset fades out towards 370 K
    v = t < 370.0 ? (t + offset * (370.0 - t) / 50.0) * scale : t * scale;
  }
  if (!(v >= 0)) return 0;
  const double units = v * resolution;
  return units < 65536.0 ? static_cast<uint16_t>(units) : uint16_t{65535};
}

void scalar::CorrectDrifts(std::span<const uint8_t> words, std::span<uint16_t> out, bool upsideDown,
                           const DriftCorrection& correction, int32_t resolution) {
  MapImageWords(words, out, upsideDown,
                [&](uint16_t word) { return CorrectDrift(word, correction, resolution); });
}
