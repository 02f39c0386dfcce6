#include "decode/circumference.h"

#include <algorithm>

#include "core/byte_order.h"

namespace {

constexpr double kTermPerSquaredPixel = 0.005;
constexpr double kFixedFactor = -0.3;  // of cameras that flag their frames
constexpr double kColdFactor = 5.0;    // falls to 0 as the sensor warms up
constexpr double kColdKelvin = 270.0;
constexpr double kWarmKelvin = 315.0;
constexpr double kWarmKelvinAtFirst = 500.0;  // until an FFC after the first minute
constexpr uint32_t kFirstMinuteMs = 60000;

}  // namespace

void FillCircumferenceTable(std::span<double> table, uint32_t width, uint32_t height) {
  const auto centreX = static_cast<int32_t>(width / 2);
  const auto centreY = static_cast<int32_t>(height / 2);
  for (std::size_t i = 0; i < table.size(); ++i) {
    const double dx = static_cast<int32_t>(i % width) - centreX;
    const double dy = static_cast<int32_t>(i / width) - centreY;
    table[i] = (dx * dx + dy * dy) * kTermPerSquaredPixel;
  }
}

double CircumferenceFactor(const Footer& footer, uint8_t revision, uint32_t correctionFlag) {
  if (revision == 14 && correctionFlag != 0) return kFixedFactor;
  const double t = footer.SensorKelvin();
  const double warm = footer.FfcTime() < kFirstMinuteMs ? kWarmKelvinAtFirst : kWarmKelvin;
  if (t < kColdKelvin) return kColdFactor;
  if (t > warm) return 0.0;
  return (1 - (t - kColdKelvin) / (warm - kColdKelvin)) * kColdFactor;
}

void scalar::CorrectCircumference(std::span<const uint8_t> words, std::span<const double> table,
                                  uint32_t, double factor, std::span<uint8_t> out) {
  for (std::size_t i = 0; i < table.size(); ++i) {
    const double value = ReadBe16(&words[2 * i]) + table[i] * factor;
    WriteBe16(&out[2 * i], static_cast<uint16_t>(std::clamp(value, 0.0, 65535.0)));
  }
}
