#include "tools/playhead.h"

#include <algorithm>
#include <utility>

#include "tools/offset_text.h"

namespace {

using std::chrono::milliseconds;

// Numbers and times come again where a recording was started again in the middle of its file.
bool IsSameFrame(const zocam::FrameStamp& a, const zocam::FrameStamp& b) {
  return a.number == b.number && a.timeOffset == b.timeOffset &&
         DateTimeText(a.dateTime) == DateTimeText(b.dateTime);
}

}  // namespace

Playhead::Playhead(zocam::Recording& film) : film_(film), here_(Read()) {
  if (here_) return;
  if (!damage_) GoToEnd();
  if (damage_) throw zocam::Error(*damage_);
  if (!here_)
    throw zocam::Error(ZO_STATUS_INVALID_FILE_FORMAT, film.Label() + ": no frame can be read");
}

std::optional<zocam::FrameCopy> Playhead::Read() {
  try {
    return film_.NextFrame();
  } catch (const zocam::Error& error) {
    damage_ = error;
    return std::nullopt;
  }
}

bool Playhead::Seek(milliseconds time) {
  if (damage_) return false;
  try {
    return film_.Seek(time);
  } catch (const zocam::Error& error) {
    damage_ = error;
    return false;
  }
}

std::optional<milliseconds> Playhead::Gap() {
  if (!next_) next_ = Read();
  if (!next_) return std::nullopt;
  return std::max(next_->Stamp()->timeOffset - Stamp().timeOffset, milliseconds(0));
}

bool Playhead::Forward() {
  if (!Gap()) return false;
  here_ = std::move(next_);
  next_.reset();
  return true;
}

bool Playhead::Back() {
  const zocam::FrameStamp here = Stamp();
  // Walks up to the frame here from a little before it, or else from the recording's beginning.
  for (milliseconds from : {here.timeOffset - milliseconds(1), milliseconds(0)}) {
    if (!Seek(from)) continue;
    std::optional<zocam::FrameCopy> before;
    while ((next_ = Read()) && !IsSameFrame(*next_->Stamp(), here)) before = std::move(next_);
    if (!next_ || !before) continue;
    here_ = std::move(before);
    return true;
  }
  // The first frame: it was read again, or the file is damaged.
  next_.reset();
  return false;
}

void Playhead::GoTo(milliseconds time) {
  if (!Seek(time)) return GoToEnd();
  next_ = Read();
  Forward();
}

void Playhead::GoToEnd() {
  // The last frame itself cannot be looked for: there the recording has ended.
  if (!damage_ && !Seek(film_.Length() - milliseconds(1))) Seek(milliseconds(0));
  for (next_.reset(); (next_ = Read());) here_ = std::move(next_);
}
