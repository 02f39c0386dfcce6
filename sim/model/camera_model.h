// One camera without any transport: identity, firmware, and the frames it sees. It makes no
// operating-system calls, so it serves the virtual V4L2 node and any other transport alike.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "sim/model/camera_config.h"
#include "sim/model/firmware.h"
#include "sim/model/frame_encoder.h"
#include "sim/model/lens.h"
#include "sim/model/reference_body.h"
#include "sim/model/scene.h"

namespace zosim {

constexpr double kNormalRate = 259.0 / 30.0;  // frames per second
constexpr double kHighRate = 259.0 / 10.0;

// Safe to call from any thread.
class CameraModel {
 public:
  explicit CameraModel(CameraConfig config);

  const CameraConfig& config() const { return config_; }
  const ProductModel& product() const { return product_; }
  Firmware& firmware() { return firmware_; }

  void SetScene(Scene scene);
  // Replaces the telemetry of all following frames, TIME excepted when `keepTime`; none: the
  // camera's own life again.
  void SetTelemetry(std::optional<Telemetry> telemetry, bool keepTime = false);
  // Footer revision of all following frames; none: the product's own.
  void SetFooterRevision(std::optional<uint8_t> revision);
  void SetNoise(double kelvin);

  // Renders the next frame (product().FrameBytes() bytes) and advances the camera's time by one
  // frame at `rate` frames per second. Returns its telemetry.
  Telemetry RenderNext(double rate, std::span<uint8_t> frame);
  // Advances time and number without rendering: a frame that nobody takes.
  void SkipNext(double rate);
  uint64_t NextFrameNumber() const;
  // The camera's time starts anew, as after power-on; frame numbers go on.
  void Restart();

  // What is at place (x, y) of the scene, or of the reference body, at this TIME: what the frame
  // would show there without noise, lens, reflections and drift. A frame's scene time is exactly
  // TIME / 1000 seconds.
  double KelvinAt(uint32_t timeMs, uint32_t x, uint32_t y) const;

 private:
  Telemetry TelemetryFor(uint32_t timeMs) const;
  DriftingImage ImageDuring(const Telemetry& telemetry) const;
  bool ShowsBody(uint32_t x) const { return product_.referenceStrip && x < kBodyColumns; }

  const CameraConfig config_;
  const ProductModel product_;
  const BarrelLens lens_;
  const std::vector<double> reflections_;  // empty, or kelvin by pixel
  Firmware firmware_;

  mutable std::mutex mutex_;  // guards everything below
  Scene scene_;
  std::optional<Telemetry> fixedTelemetry_;
  bool keepTime_ = false;
  uint8_t footerRevision_;
  double noiseKelvin_;
  uint64_t nextNumber_ = 0;
  double nextTimeMs_;
};

}  // namespace zosim
