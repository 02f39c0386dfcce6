#include "python/src/painter.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <new>

namespace zopy {
namespace {

// A file that is gone when its last descriptor is.
class MemoryFile {
 public:
  MemoryFile() : descriptor_(memfd_create("zocam", MFD_CLOEXEC)) {
    if (descriptor_ < 0) throw zocam::Error(ZO_STATUS_FILE_IO_ERROR, "no file in memory", errno);
  }
  ~MemoryFile() { close(descriptor_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  std::string Path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};

// Lets a range hold for one call.
class TemporaryRange {
 public:
  using Getter = Range (zocam::Device::*)() const noexcept;
  using Setter = void (zocam::Device::*)(Range);
  TemporaryRange(zocam::Device& device, Getter get, Setter set, Range range)
      : device_(device), set_(set), before_((device.*get)()) {
    (device_.*set_)(range);
  }
  ~TemporaryRange() { (device_.*set_)(before_); }
  TemporaryRange(const TemporaryRange&) = delete;
  TemporaryRange& operator=(const TemporaryRange&) = delete;

 private:
  zocam::Device& device_;
  Setter set_;
  Range before_;
};

}  // namespace

std::shared_ptr<Painter> Painter::OfRecording(const std::string& path) {
  return std::shared_ptr<Painter>(new Painter(zocam::Recording::OpenPassive(path)));
}

std::shared_ptr<Painter> Painter::OfCamera(zocam::Device& camera) {
  const MemoryFile file;
  {
    const Geometry geometry(camera);
    std::vector<uint8_t> frame(geometry.rawBytes);
    frame[geometry.ImageBytes() + 1] = camera.TelemetryRevision();
    zocam::Writer writer(camera, file.Path(), 0, 0);  // keeps the camera without a rate
    writer.Add(frame);
    writer.Finish();
  }
  return OfRecording(file.Path());
}

Painter::Painter(zocam::Recording film) : film_(std::move(film)), words_(film_.RawFrameBytes()) {
  film_.SetBgrOrder(false);
  film_.StartQueue();
  PrepareForPainting();
}

Painter::~Painter() {
  // A thread that only the parent has may have been painting at the fork: left alone.
  if (!process_.IsThisOne())
    static_cast<void>(new (std::nothrow) zocam::Recording(std::move(film_)));
}

std::unique_lock<std::mutex> Painter::Turn() const {
  process_.Require("the source of this frame");
  return std::unique_lock(mutex_);
}

void Painter::PrepareForPainting() {
  film_.SetColorizeByRaw(true);
  film_.SetNoiseFilter(false);
  film_.SetUndistortion(false);
  film_.SetCircumferenceCorrection(false);
  film_.SetUpsideDown(false);
  film_.SetSubtraction(false);
  film_.ClearReflectionCorrection();
}

void Painter::PrepareForDecoding(const DecodeSettings& settings) {
  film_.SetColorizeByRaw(settings.colorizeByRaw);
  film_.SetNoiseFilter(settings.noiseFilter);
  film_.SetNoiseFilterThreshold(settings.noiseFilterThreshold);
  film_.SetUndistortion(settings.undistortion);
  film_.SetCircumferenceCorrection(settings.circumferenceCorrection);
  film_.SetUpsideDown(settings.upsideDown);
  if (!settings.reference.empty()) film_.SetSubtractionTable(settings.reference);
  film_.SetSubtraction(settings.subtraction);
  if (!settings.reflections.empty()) film_.SetReflectionCorrection(settings.reflections);
}

void Painter::Render(const FrameData& frame, uint32_t format, std::optional<Range> range,
                     std::span<uint8_t> out) {
  const auto turn = Turn();
  const std::span<const uint16_t> counts = frame.Counts();
  for (size_t i = 0; i < counts.size(); ++i) {
    words_[2 * i] = static_cast<uint8_t>(counts[i] >> 8);
    words_[2 * i + 1] = static_cast<uint8_t>(counts[i]);
  }
  const std::span<const uint8_t> footer = frame.Footer();
  std::copy(footer.begin(), footer.end(),
            words_.begin() + static_cast<ptrdiff_t>(2 * counts.size()));
  std::optional<TemporaryRange> during;
  using zocam::Device;
  if (range && format % 10 == ZO_GAIN_MANUAL)
    during.emplace(film_, &Device::DecodeRange, &Device::SetDecodeRange, *range);
  else if (range)
    during.emplace(film_, &Device::AgcRange, &Device::SetAgcRange, *range);
  film_.ViewFrame(words_).Render(format, out);
}

Range Painter::ManualRange() {
  const auto turn = Turn();
  return film_.DecodeRange();
}

void Painter::SetManualRange(Range range) {
  const auto turn = Turn();
  film_.SetDecodeRange(range);
}

Range Painter::AutoRange() {
  const auto turn = Turn();
  return film_.AgcRange();
}

void Painter::SetAutoRange(Range range) {
  const auto turn = Turn();
  film_.SetAgcRange(range);
}

void Painter::SetMask(std::span<const uint32_t> mask) {
  const auto turn = Turn();
  film_.SetAgcMask(mask);
}

void Painter::SetWindowCorrection(uint32_t value) {
  const auto turn = Turn();
  film_.SetWindowCorrection(value);
}

void Painter::ScanGain(const DecodeSettings& settings, bool nonlinear, uint32_t step,
                       std::chrono::milliseconds from, std::chrono::milliseconds to) {
  const auto turn = Turn();
  const auto paintAgain = [this](void*) { PrepareForPainting(); };
  const std::unique_ptr<void, decltype(paintAgain)> after(this, paintAgain);
  PrepareForDecoding(settings);
  film_.ScanGain(nonlinear, step, from, to);
  film_.SetSteadyGain(true);
}

bool Painter::SteadyGain() {
  const auto turn = Turn();
  return film_.SteadyGain();
}

void Painter::SetSteadyGain(bool on) {
  const auto turn = Turn();
  film_.SetSteadyGain(on);
}

}  // namespace zopy
