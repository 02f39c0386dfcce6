#include "tools/serve/film_player.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <utility>

#include "tools/advice.h"
#include "tools/measurement.h"
#include "tools/recording_file.h"
#include "tools/source.h"

namespace serve {
namespace {

using namespace std::chrono_literals;

constexpr double kSlowest = 0.1;
constexpr double kFastest = 16.0;
constexpr auto kTellEvery = 100ms;
constexpr auto kLongestGap =
    2s;  // a recording that was started again hours later is no reason to wait

double CameraTimeOf(const zocam::Frame& frame) { return frame.Telemetry().time.count(); }

}  // namespace

FilmPlayer::FilmPlayer(const boost::asio::any_io_executor& executor, const std::string& path)
    : timer_(executor), film_(OpenRecording(path)), path_(path) {}

void FilmPlayer::Start(OnFrame onFrame, OnState onState) {
  onFrame_ = std::move(onFrame);
  onState_ = std::move(onState);
  ShowNext();
}

void FilmPlayer::Stop() {
  timer_.cancel();
  onFrame_ = nullptr;
  onState_ = nullptr;
}

Json FilmPlayer::Describe() const {
  Json text = IdentityOf(film_);
  text.update({{"kind", "recording"},
               {"name", std::filesystem::path(path_).filename().string()},
               {"length", SecondsOf(film_.Length())},
               {"frameCount", film_.LastFrameNumber()},
               {"settings", SettingsOf(film_)}});
  return text;
}

void FilmPlayer::Tell() {
  if (!onState_) return;
  toldAt_ = Clock::now();
  onState_({{"type", "playback"},
            {"position", SecondsOf(shown_.timeOffset)},
            {"length", SecondsOf(film_.Length())},
            {"frame", shown_.number},
            {"frameCount", film_.LastFrameNumber()},
            {"paused", paused_},
            {"speed", speed_},
            {"atEnd", atEnd_},
            {"error", error_}});
}

void FilmPlayer::Fail(const std::string& message) {
  error_ = message;
  paused_ = true;
  next_.reset();
  Tell();
}

bool FilmPlayer::ShowOne() {
  std::optional<zocam::FrameCopy> frame = std::exchange(next_, std::nullopt);
  if (!frame) frame = film_.NextFrame(0ms);
  atEnd_ = !frame;
  if (!frame) return false;
  shown_ = frame->Stamp().value_or(zocam::FrameStamp{});
  shownAt_ = Clock::now();
  if (DecodeTemperatures(*frame, image_)) {
    auto served = std::make_shared<ServedFrame>();
    served->number = shown_.number;
    served->timeMs = static_cast<double>(shown_.timeOffset.count());
    served->cameraTimeMs = CameraTimeOf(*frame);
    served->width = image_.width;
    served->height = image_.height;
    served->resolution = static_cast<uint32_t>(image_.resolution);
    served->values = image_.values;
    if (onFrame_) onFrame_(std::move(served));
  }
  if (Clock::now() - toldAt_ >= kTellEvery) Tell();
  return true;
}

void FilmPlayer::ShowNext() {
  try {
    if (ShowOne()) return Play();
    Tell();
  } catch (const std::exception& error) {
    Fail(error.what());
  }
}

void FilmPlayer::Play() {
  if (paused_ || !onFrame_) return;
  if (!next_) next_ = film_.NextFrame(0ms);
  atEnd_ = !next_;
  if (!next_) return Tell();
  const Milliseconds offset = next_->Stamp().value_or(zocam::FrameStamp{}).timeOffset;
  const Milliseconds gap = std::clamp<Milliseconds>(offset - shown_.timeOffset, 1ms, kLongestGap);
  const std::chrono::duration<double, std::milli> wait(static_cast<double>(gap.count()) / speed_);
  timer_.expires_at(shownAt_ + std::chrono::duration_cast<Clock::duration>(wait));
  timer_.async_wait([self = shared_from_this()](const boost::system::error_code& error) {
    if (!error && !self->paused_) self->ShowNext();
  });
}

void FilmPlayer::SeekTo(Milliseconds time) {
  next_.reset();
  // A seek to the last frame's time or later finds the end; the frame itself is before it.
  const Milliseconds last = film_.Length() - 1ms;
  if (!film_.Seek(std::clamp<Milliseconds>(time, 0ms, std::max<Milliseconds>(last, 0ms))))
    throw ToolError("cannot go to that time of the recording");
  if (time >= film_.Length() && film_.LastFrameNumber() > 1) film_.NextFrame(0ms);
}

void FilmPlayer::Obey(const Json& wish) {
  if (!wish.is_object() || !onFrame_) return;
  timer_.cancel();
  try {
    if (wish.contains("speed") && wish["speed"].is_number()) {
      const double speed = wish["speed"].get<double>();
      if (std::isfinite(speed)) speed_ = std::clamp(speed, kSlowest, kFastest);
    }
    if (wish.contains("pause") && wish["pause"].is_boolean()) {
      paused_ = wish["pause"].get<bool>();
      if (!paused_ && atEnd_) SeekTo(0ms);
      shownAt_ = Clock::now();
    }
    if (wish.contains("seek") && wish["seek"].is_number()) {
      const double seconds = std::clamp(wish["seek"].get<double>(), 0.0, SecondsOf(film_.Length()));
      SeekTo(Milliseconds(std::llround(seconds * 1000)));
      ShowOne();
    }
    if (wish.contains("step") && wish["step"].is_number_integer()) {
      paused_ = true;
      if (wish["step"].get<int64_t>() < 0) SeekTo(shown_.timeOffset - 1ms);
      ShowOne();
    }
    error_.clear();
    Tell();
    Play();
  } catch (const std::exception& error) {
    Fail(error.what());
  }
}

}  // namespace serve
