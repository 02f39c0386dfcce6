#include <algorithm>
#include <atomic>
#include <utility>

#include "gstreamer/frame_source.h"
#include "tools/file_checks.h"

namespace zogst {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kRestartGap(100);

class RecordingSource : public FrameSource {
 public:
  explicit RecordingSource(zocam::Recording film) : film_(std::move(film)) { film_.StartQueue(); }

  SourceEvent Next() override {
    if (isInterrupted_) return SourceEvent::kInterrupted;
    std::optional<zocam::FrameCopy> next = std::exchange(held_, std::nullopt);
    if (!next) next = film_.NextFrame(milliseconds(0));
    if (!next) return SourceEvent::kEnd;
    frame_.emplace(std::move(*next));
    const milliseconds offset = frame_->Stamp()->timeOffset;
    // A recording that was started again in the middle begins anew; what is shown goes on.
    if (previous_ && offset < *previous_) origin_ += *previous_ - offset + kRestartGap;
    previous_ = offset;
    return SourceEvent::kFrame;
  }

  SourceFrame Current() const override {
    return {*frame_, frame_->Stamp()->number, std::nullopt, origin_ + frame_->Stamp()->timeOffset};
  }
  zocam::Device& Device() override { return film_; }
  void Interrupt(bool on) override { isInterrupted_ = on; }
  std::optional<milliseconds> Length() const override { return film_.Length(); }

  void SeekTo(milliseconds time) override {
    held_.reset();
    previous_.reset();
    origin_ = milliseconds(0);
    if (film_.Seek(time) || time > film_.Length()) return;
    // A seek to the last frame's time ends behind it: come from before.
    film_.Seek(std::max(film_.Length() - milliseconds(1), milliseconds(0)));
    while (auto frame = film_.NextFrame(milliseconds(0))) {
      const bool isLast = frame->Stamp()->timeOffset >= film_.Length();
      held_.emplace(std::move(*frame));
      if (isLast) break;
    }
  }

 private:
  zocam::Recording film_;
  std::optional<zocam::FrameCopy> held_;  // comes before the file's next one
  std::optional<zocam::FrameCopy> frame_;
  std::optional<milliseconds> previous_;
  milliseconds origin_{0};
  std::atomic<bool> isInterrupted_ = false;
};

}  // namespace

std::unique_ptr<FrameSource> OpenRecordingSource(const SourceChoice& choice) {
  RequireFile(choice.location);
  auto source = std::make_unique<RecordingSource>(zocam::Recording::OpenPassive(choice.location));
  choice.decoding.Apply(source->Device());
  return source;
}

std::unique_ptr<FrameSource> FrameSource::Open(const SourceChoice& choice) {
  return choice.location.empty() ? OpenCameraSource(choice) : OpenRecordingSource(choice);
}

}  // namespace zogst
