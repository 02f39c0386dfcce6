// The reference body of product 0x6120: a strip of its view whose true temperature the camera
// measures with sensors of its own and reports in every footer, so that the host can take the drift
// of the image away.
#pragma once

#include <cstdint>
#include <span>

#include "sim/model/product.h"
#include "sim/model/telemetry.h"

namespace zosim {

constexpr uint32_t kBodyColumns = 20;  // from the left edge

// The body's true temperature: it is as warm as the housing, with its electronics' heat on top.
double BodyKelvin(const Telemetry& telemetry);

// The sensor reading that stands for a temperature most nearly.
uint16_t BodySensorReading(double kelvin);

// Writes the three readings into the footer of a frame.
void WriteBodyReadings(const ProductModel& model, double kelvin, std::span<uint8_t> footer);

// What the camera makes of a temperature during one frame. All it sees drifts by up to half a
// kelvin until the next FFC; things colder than the body are shown too little cold unless the
// telemetry's stretch flag says otherwise; after a cold start everything is shown too warm. The
// body, seen past the lens, is dimmed and gets a little of the housing's warmth.
//
// From 300 s after power-on the body differs from the rest in two ways: for half a minute after an
// FFC it has given back more of its drift than the scene, and later it follows the sensor's
// warming.
class DriftingImage {
 public:
  // `beforeFfc` is the image just before the last FFC; without it the first of the two is left out.
  explicit DriftingImage(const Telemetry& telemetry, const DriftingImage* beforeFfc = nullptr);

  double SceneShown(double kelvin) const;
  double BodyShown() const { return bodyShown_; }

 private:
  double body_;
  double drift_;
  double scale_;
  bool coldIsCompressed_;
  double bodyShown_;
};

}  // namespace zosim
