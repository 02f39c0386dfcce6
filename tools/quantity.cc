#include "tools/quantity.h"

#include <cstdio>

namespace {

constexpr double kCelsiusZero = 273.15;  // kelvin
// The sample of "no difference", whatever the resolution.
constexpr double kNoDifference = 27315.0;

}  // namespace

Quantity QuantityOf(const zocam::Device& device) {
  // Raw counts are never subtracted from.
  if (device.ColorizeByRaw()) return Quantity::kCounts;
  return device.Subtraction() ? Quantity::kDifference : Quantity::kTemperature;
}

double ValueOf(Quantity quantity, double sample, int32_t resolution) {
  if (quantity == Quantity::kCounts) return sample;
  if (quantity == Quantity::kDifference) return (sample - kNoDifference) / resolution;
  return zocam::Celsius(sample, resolution);
}

double SampleOf(Quantity quantity, double value, int32_t resolution) {
  if (quantity == Quantity::kCounts) return value;
  if (quantity == Quantity::kDifference) return value * resolution + kNoDifference;
  return (value + kCelsiusZero) * resolution;
}

const char* UnitOf(Quantity quantity) {
  if (quantity == Quantity::kCounts) return "";
  return quantity == Quantity::kDifference ? "K" : "°C";
}

std::string ValueText(Quantity quantity, double value, int decimals) {
  char text[48];
  if (quantity == Quantity::kCounts) {
    std::snprintf(text, sizeof text, "%.0f", value);
  } else {
    std::snprintf(text, sizeof text, "%.*f %s", decimals, value, UnitOf(quantity));
  }
  return text;
}
