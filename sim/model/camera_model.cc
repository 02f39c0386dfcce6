#include "sim/model/camera_model.h"

#include <cmath>
#include <utility>

#include "sim/model/border_fall_off.h"
#include "sim/model/frame_stamp.h"
#include "sim/model/reflections.h"

namespace zosim {

CameraModel::CameraModel(CameraConfig config)
    : config_(std::move(config)),
      product_(ModelOf(config_.productId)),
      lens_(product_.width, product_.height),
      reflections_(ReflectionPattern(product_.width, product_.height, config_.reflectionKelvin)),
      firmware_(config_),
      scene_(Scene::Room(product_.width, product_.height)),
      footerRevision_(product_.revision),
      noiseKelvin_(config_.noiseKelvin),
      nextTimeMs_(config_.startTimeMs) {}

void CameraModel::SetScene(Scene scene) {
  std::lock_guard lock(mutex_);
  scene_ = std::move(scene);
}

void CameraModel::SetTelemetry(std::optional<Telemetry> telemetry, bool keepTime) {
  std::lock_guard lock(mutex_);
  fixedTelemetry_ = telemetry;
  keepTime_ = keepTime;
}

void CameraModel::SetFooterRevision(std::optional<uint8_t> revision) {
  std::lock_guard lock(mutex_);
  footerRevision_ = revision.value_or(product_.revision);
}

void CameraModel::SetNoise(double kelvin) {
  std::lock_guard lock(mutex_);
  noiseKelvin_ = kelvin;
}

Telemetry CameraModel::TelemetryFor(uint32_t timeMs) const {
  if (fixedTelemetry_) {
    Telemetry telemetry = *fixedTelemetry_;
    if (keepTime_) telemetry.time = timeMs;
    return telemetry;
  }
  Telemetry telemetry = TelemetryAt(config_.life, timeMs);
  telemetry.stretchFlag = config_.stretchFlag;
  telemetry.correctionFlag = config_.correctionFlag;
  telemetry.resolutionFlag = config_.fineResolution ? 1 : 0;
  return telemetry;
}

DriftingImage CameraModel::ImageDuring(const Telemetry& telemetry) const {
  constexpr uint32_t kJustBeforeMs = 600;  // the middle of the frames that the host averages
  if (fixedTelemetry_ || telemetry.timeFfc <= kJustBeforeMs) return DriftingImage(telemetry);
  const DriftingImage beforeFfc(TelemetryFor(telemetry.timeFfc - kJustBeforeMs));
  return DriftingImage(telemetry, &beforeFfc);
}

Telemetry CameraModel::RenderNext(double rate, std::span<uint8_t> frame) {
  std::lock_guard lock(mutex_);
  const Telemetry telemetry = TelemetryFor(static_cast<uint32_t>(std::llround(nextTimeMs_)));
  const Scene::Still still = scene_.At(telemetry.time / 1000.0);
  const DriftingImage drifting = ImageDuring(telemetry);
  const bool drifts = product_.referenceStrip && config_.referenceDrift;

  const auto body = [&] { return drifts ? drifting.BodyShown() : BodyKelvin(telemetry); };
  const auto view = [&](uint32_t x, uint32_t y) {
    const ScenePlace place =
        config_.barrelDistortion ? lens_.SeenBy(x, y) : ScenePlace{1.0 * x, 1.0 * y};
    double value = still(place.x, place.y);
    if (!reflections_.empty()) value += reflections_[size_t{y} * product_.width + x];
    return drifts ? drifting.SceneShown(value) : value;
  };
  const auto kelvin = [&](uint32_t x, uint32_t y) {
    double value = ShowsBody(x) ? body() : view(x, y);
    if (noiseKelvin_ > 0.0) {
      value += noiseKelvin_ * NoiseAt(config_.noiseSeed, nextNumber_, x, y);
    }
    return value;
  };
  EncodeFrame(product_, telemetry, footerRevision_, kelvin, frame);
  if (product_.revision == 9 && config_.borderFallOff) {
    TakeBorderFallOff(product_, telemetry, frame.first(product_.ImageBytes()));
  }
  if (product_.referenceStrip) {
    WriteBodyReadings(product_, BodyKelvin(telemetry), frame.subspan(product_.ImageBytes()));
  }
  if (config_.stampsFrames) WriteStamp(config_.serialNumber, nextNumber_, frame);
  ++nextNumber_;
  nextTimeMs_ += 1000.0 / rate;
  return telemetry;
}

void CameraModel::SkipNext(double rate) {
  std::lock_guard lock(mutex_);
  ++nextNumber_;
  nextTimeMs_ += 1000.0 / rate;
}

uint64_t CameraModel::NextFrameNumber() const {
  std::lock_guard lock(mutex_);
  return nextNumber_;
}

void CameraModel::Restart() {
  {
    std::lock_guard lock(mutex_);
    nextTimeMs_ = config_.startTimeMs;
  }
  firmware_.Restart();
}

double CameraModel::KelvinAt(uint32_t timeMs, uint32_t x, uint32_t y) const {
  std::lock_guard lock(mutex_);
  if (ShowsBody(x)) return BodyKelvin(TelemetryFor(timeMs));
  return scene_.KelvinAt(timeMs / 1000.0, x, y);
}

}  // namespace zosim
