// What the values of a decoded image mean. The library's image holds 16-bit samples; what they
// stand for depends on how the device is set to decode.
#ifndef ZOCAM_TOOLS_QUANTITY_H
#define ZOCAM_TOOLS_QUANTITY_H

#include <cstdint>
#include <string>

#include "zocam/zocam.hpp"

enum class Quantity {
  kTemperature,  // degrees Celsius
  kDifference,   // kelvin from a reference image
  kCounts,       // the sensor's own words, without a unit
};

// What the device decodes frames to, as it is set now.
Quantity QuantityOf(const zocam::Device& device);

// The value of a sample, and the sample (not rounded) of a value.
double ValueOf(Quantity quantity, double sample, int32_t resolution);
double SampleOf(Quantity quantity, double value, int32_t resolution);

// "°C", "K" or "".
const char* UnitOf(Quantity quantity);

// "21.50 °C", "-0.52 K" or "30210". Decimals are left away where values have none.
std::string ValueText(Quantity quantity, double value, int decimals);

#endif
