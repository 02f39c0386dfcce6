#include "python/src/recording.h"

#include <cmath>

namespace zopy {
namespace {

// What does not fit is far beyond any recording.
std::chrono::milliseconds Milliseconds(double seconds) {
  constexpr double kMost = 100.0 * 366 * 24 * 3600;
  return std::chrono::milliseconds(std::llround(std::clamp(seconds, 0.0, kMost) * 1000.0));
}

}  // namespace

std::shared_ptr<Recording> Recording::Open(const std::string& path) {
  auto film = std::make_shared<zocam::Recording>(zocam::Recording::OpenPassive(path));
  auto painter = Painter::OfRecording(path);
  std::shared_ptr<Recording> recording(new Recording(std::move(film), std::move(painter), path));
  recording->Register();
  return recording;
}

Recording::Recording(std::shared_ptr<zocam::Recording> film, std::shared_ptr<Painter> painter,
                     const std::string& path)
    : Source(std::move(film), std::move(painter)), file_(path, FrameGeometry()) {}

Recording::~Recording() {
  try {
    Close();
  } catch (...) {  // reading has nothing to lose
  }
}

std::unique_ptr<FrameData> Recording::Fetch(zocam::Device& device, uint64_t record) {
  std::unique_ptr<FrameData> frame = file_.Read(record);
  Decode(device, *frame);
  return frame;
}

std::unique_ptr<FrameData> Recording::Next(std::chrono::milliseconds) {
  return Use([&](zocam::Device& device) -> std::unique_ptr<FrameData> {
    const std::lock_guard lock(order_);
    if (next_ >= file_.Count()) file_.Refresh();
    if (next_ >= file_.Count()) {
      reachedEnd_ = true;
      return nullptr;
    }
    std::unique_ptr<FrameData> frame = Fetch(device, next_);
    ++next_;
    return frame;
  });
}

void Recording::BeginLoop() {
  Use([this](zocam::Device&) {
    const std::lock_guard lock(order_);
    if (reachedEnd_) next_ = 0;
    reachedEnd_ = false;
  });
}

bool Recording::AtEnd() {
  const std::lock_guard lock(order_);
  return next_ >= file_.Count();
}

std::unique_ptr<FrameData> Recording::At(uint64_t place) {
  return Use([&](zocam::Device& device) {
    const std::lock_guard lock(order_);
    return Fetch(device, place - 1);
  });
}

void Recording::Seek(double seconds) {
  Use([&](zocam::Device&) {
    const std::lock_guard lock(order_);
    const uint64_t count = file_.Count();
    next_ = file_.SecondsOf(count - 1) < seconds ? count : file_.LastAtOrBefore(seconds);
    reachedEnd_ = false;
  });
}

void Recording::ScanGain(bool nonlinear, uint32_t step, double from, std::optional<double> to) {
  Use([&](zocam::Device& device) {
    PainterOfFrames()->ScanGain(SettingsForScan(device), nonlinear, step, Milliseconds(from),
                                to ? Milliseconds(*to) : zocam::Recording::kToTheEnd);
  });
}

}  // namespace zopy
