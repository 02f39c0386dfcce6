// The count cameras' detector: which raw count it gives for a temperature.
//
// The host computes a temperature from a count and the frame's telemetry by a published formula.
// Here is its inverse, worked out on its own; it shares nothing with the code that decodes.
#pragma once

#include <cstdint>

#include "sim/model/telemetry.h"

namespace zosim {

// The detector's state during one frame.
class SensorCounts {
 public:
  SensorCounts(const Telemetry& telemetry, uint8_t revision);

  // The count whose temperature is nearest to `kelvin`, limited to 0..65535.
  uint16_t CountFor(double kelvin) const;

  bool startUp() const { return startUp_; }

 private:
  void PrepareStartUp(double sensor, double sensorAtFfc, uint32_t time);
  void PrepareSteady(const Telemetry& telemetry, uint8_t revision);
  double StartUpCount(double kelvin) const;
  double SteadyCount(double kelvin) const;

  bool startUp_ = false;
  // Revision 10 reports through a window: kelvin = inner * gain + bias.
  double gain_ = 1.0;
  double bias_ = 0.0;
  // Start-up: inner = (count - zero) * slope * droop + base.
  double zero_ = 0.0;
  double slope_ = 1.0;
  double base_ = 0.0;
  // Steady: inner = radiance * scale, radiance a square-root law of (count + shift).
  double shift_ = 0.0;
  double scale_ = 1.0;
};

}  // namespace zosim
