#include "tools/playhead.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "tools/end_signal.h"
#include "tools/source.h"

namespace {

using std::chrono::milliseconds;

auto FieldsOf(const DateTime16& time) {
  return std::tie(time.year, time.month, time.day, time.hour, time.minute, time.second,
                  time.millisecond);
}

// Numbers and times come again where a recording was started again in the middle of its file.
bool IsSameFrame(const zocam::FrameStamp& a, const zocam::FrameStamp& b) {
  return a.number == b.number && a.timeOffset == b.timeOffset &&
         FieldsOf(a.dateTime) == FieldsOf(b.dateTime);
}

}  // namespace

Playhead::Playhead(zocam::Recording& film) : film_(film) {
  here_ = Read();
  if (here_) return;
  if (!damage_) GoToEnd();
  if (here_) return;
  if (damage_) throw zocam::Error(*damage_);
  throw zocam::Error(ZO_STATUS_INVALID_FILE_FORMAT, film.Label() + ": no frame can be read");
}

std::optional<Playhead::Place> Playhead::Read() {
  try {
    const auto frame = Reader().NextFrame();
    if (!frame) return std::nullopt;
    return Place{{frame->Bytes().begin(), frame->Bytes().end()}, *frame->Stamp()};
  } catch (const zocam::Error& error) {
    damage_ = error;
    return std::nullopt;
  }
}

bool Playhead::Seek(milliseconds time) {
  next_.reset();
  try {
    // What has met damage reads nothing more.
    if (damage_) reopened_.emplace(OpenRecording(film_.Label()));
    damage_.reset();
    return Reader().Seek(time);
  } catch (const zocam::Error& error) {
    damage_ = error;
    return false;
  }
}

std::optional<milliseconds> Playhead::Gap() {
  if (!next_ && !damage_) next_ = Read();
  if (!next_) return std::nullopt;
  return std::max(next_->stamp.timeOffset - Stamp().timeOffset, milliseconds(0));
}

bool Playhead::Forward() {
  if (!Gap()) return false;
  here_ = std::exchange(next_, std::nullopt);
  return true;
}

bool Playhead::Back() {
  const zocam::FrameStamp here = Stamp();
  // Walks up to the frame here from a little before it, or else from the recording's beginning.
  for (milliseconds from : {here.timeOffset - milliseconds(1), milliseconds(0)}) {
    if (!Seek(from)) continue;
    std::optional<Place> before;
    while (EndSignal() == 0 && (next_ = Read()) && !IsSameFrame(next_->stamp, here))
      before = std::exchange(next_, std::nullopt);
    if (!next_ || !before) continue;
    here_ = std::move(before);
    return true;
  }
  // The first frame was read again, or the first one behind damage has to be: on from there.
  if (damage_ && Seek(here.timeOffset)) next_ = Read();
  if (next_ && IsSameFrame(next_->stamp, here)) next_.reset();
  return false;
}

void Playhead::GoTo(milliseconds time) {
  if (Seek(time)) {
    Forward();
  } else if (damage_) {
    WalkTo(time);
  } else {
    GoToEnd();
  }
}

void Playhead::GoToEnd() {
  // The last frame itself cannot be looked for: there the recording has ended.
  if (Seek(film_.Length() - milliseconds(1))) {
    ReadOn(milliseconds::max());
  } else {
    WalkTo(milliseconds::max());
  }
}

// Reads frame by frame, which leads up to the damage where a search fails on it.
void Playhead::WalkTo(milliseconds time) {
  Seek(milliseconds(0));
  ReadOn(time);
}

void Playhead::ReadOn(milliseconds time) {
  while (EndSignal() == 0 && !damage_ && (next_ = Read()) && next_->stamp.timeOffset <= time)
    here_ = std::exchange(next_, std::nullopt);
}
