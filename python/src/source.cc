#include "python/src/source.h"

#include <algorithm>
#include <thread>

namespace zopy {
namespace {

struct OpenSources;
std::mutex& RegistryMutex() { return ProcessMutex<OpenSources>::Get(); }

// Guarded by RegistryMutex(); never destroyed.
std::vector<std::weak_ptr<Source>>& Registry() {
  static auto* const sources = new std::vector<std::weak_ptr<Source>>;
  return *sources;
}

}  // namespace

Source::Source(std::shared_ptr<zocam::Device> device, std::shared_ptr<Painter> painter)
    : device_(std::move(device)),
      label_(device_->Label()),
      geometry_(*device_),
      painter_(std::move(painter)) {}

void Source::Register() {
  const std::lock_guard lock(RegistryMutex());
  std::erase_if(Registry(), [](const auto& source) { return source.expired(); });
  Registry().push_back(weak_from_this());
}

void Source::CloseAll() noexcept {
  std::vector<std::weak_ptr<Source>> open;
  {
    const std::lock_guard lock(RegistryMutex());
    open.swap(Registry());
  }
  for (const auto& weak : open) {
    const std::shared_ptr<Source> source = weak.lock();
    if (!source) continue;
    try {
      source->Close();
    } catch (...) {  // nobody is left to be told
    }
  }
}

void Source::RequireOpen() const {
  process_.Require(label_);
  if (closing_) throw zocam::Error(ZO_STATUS_DEVICE_NOT_READY, label_ + ": it has been closed");
}

void Source::BeginLoop() {
  Use([](zocam::Device&) {});
}

void Source::Close() {
  CloseBy([this](zocam::Device& device) { EndWaits(device); });
}

void Source::CloseBy(const std::function<void(zocam::Device&)>& endWaits) {
  if (!process_.IsThisOne()) {
    // Its threads and its stream are the parent's: left alone, and never freed here.
    closing_ = true;
    static_cast<void>(new std::shared_ptr<zocam::Device>(device_));
    return;
  }
  const std::lock_guard one(closeMutex_);
  if (!device_) return;
  closing_ = true;
  std::exception_ptr failure;
  try {
    endWaits(*device_);
  } catch (...) {
    failure = std::current_exception();
  }
  {
    const std::unique_lock lock(life_);
    device_.reset();
  }
  if (failure) std::rethrow_exception(failure);
}

void Source::AwaitOthers() {
  constexpr auto kStep = std::chrono::milliseconds(10);
  for (int i = 0; i < 100; ++i) {
    const std::unique_lock alone(life_, std::try_to_lock);
    if (alone) return;
    std::this_thread::sleep_for(kStep);
  }
}

void Source::Decode(zocam::Device& device, FrameData& frame) {
  if (!decoding_) return;
  const std::lock_guard lock(decodeMutex_);
  auto counts = std::make_unique_for_overwrite<uint16_t[]>(geometry_.PixelCount());
  try {
    frame.resolution =
        device.ViewFrame(frame.Raw()).Temperatures(std::span(counts.get(), geometry_.PixelCount()));
    frame.counts = std::move(counts);
  } catch (const zocam::Error& error) {
    frame.failure = error;  // told to who asks for the image
  }
  if (device.ColorizeByRaw())
    frame.meaning = Meaning::kRawCounts;
  else if (!reference_.empty())
    frame.meaning = Meaning::kDifference;
}

void Source::SetRawCounts(bool on) {
  Use([&](zocam::Device& device) {
    const std::lock_guard lock(decodeMutex_);  // between frames
    device.SetColorizeByRaw(on);
  });
}

void Source::SetWindowCorrection(uint32_t value) {
  Use([&](zocam::Device& device) {
    device.SetWindowCorrection(value);
    painter_->SetWindowCorrection(value);  // the non-linear gain looks at it
  });
}

void Source::SetReference(std::vector<uint16_t> image) {
  Use([&](zocam::Device& device) {
    const std::lock_guard lock(decodeMutex_);
    if (!image.empty()) device.SetSubtractionTable(image);
    device.SetSubtraction(!image.empty());
    reference_ = std::move(image);
  });
}

bool Source::ShowsDifferences() {
  const std::lock_guard lock(decodeMutex_);
  return !reference_.empty();
}

void Source::StartReflectionLearning() {
  Use([&](zocam::Device& device) {
    const std::lock_guard lock(decodeMutex_);
    device.StartReflectionLearning();
    isLearning_ = true;
  });
}

std::vector<uint8_t> Source::StopReflectionLearning() {
  return Use([&](zocam::Device& device) {
    const std::lock_guard lock(decodeMutex_);
    isLearning_ = false;
    return device.StopReflectionLearning();
  });
}

void Source::SetReflectionCorrection(std::vector<uint8_t> image) {
  Use([&](zocam::Device& device) {
    const std::lock_guard lock(decodeMutex_);
    if (image.empty())
      device.ClearReflectionCorrection();
    else
      device.SetReflectionCorrection(image);
    reflections_ = std::move(image);
  });
}

bool Source::IsStateful() {
  constexpr uint16_t kWithReferenceBody = 0x6120;
  return Use([&](zocam::Device& device) {
    const std::lock_guard lock(decodeMutex_);
    return device.ProductId() == kWithReferenceBody || device.WindowCorrection() != 0 ||
           isLearning_;
  });
}

DecodeSettings Source::SettingsForScan(zocam::Device& device) {
  const std::lock_guard lock(decodeMutex_);
  return {device.NoiseFilter(),  device.NoiseFilterThreshold(),
          device.Undistortion(), device.CircumferenceCorrection(),
          device.UpsideDown(),   device.ColorizeByRaw(),
          !reference_.empty(),   reference_,
          reflections_};
}

}  // namespace zopy
