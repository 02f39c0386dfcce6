#include "tools/recording_walk.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "tools/interruption.h"
#include "tools/offset_text.h"
#include "tools/progress_bar.h"

namespace {

using std::chrono::milliseconds;
using zocam::FrameStamp;

constexpr int64_t kMebi = int64_t{1} << 20;
constexpr int64_t kLongWork = 256 * kMebi;  // from here on, progress is shown

enum class Step { kOn, kRestart, kBack };

Step StepBetween(const FrameStamp& a, const FrameStamp& b) {
  if (b.number > a.number && b.timeOffset >= a.timeOffset) return Step::kOn;
  const bool beginsAnew = b.timeOffset.count() == 0 || b.timeOffset < a.timeOffset;
  return b.number == 1 && beginsAnew ? Step::kRestart : Step::kBack;
}

std::string BackText(const FrameStamp& from, const FrameStamp& to) {
  if (to.number == 1 && to.timeOffset >= from.timeOffset)
    return "the recording was started again, but its time does not begin anew";
  if (to.timeOffset < from.timeOffset)
    return "time goes back by " + OffsetText(from.timeOffset - to.timeOffset);
  return "the frame number goes back from " + std::to_string(from.number) + " to " +
         std::to_string(to.number);
}

class Progress {
 public:
  explicit Progress(int64_t size) {
    if (size >= kLongWork) bar_.emplace(static_cast<uint32_t>(size / kMebi), "MiB");
  }
  void Show(int64_t place) {
    ThrowIfInterrupted();
    const auto done = static_cast<uint32_t>(place / kMebi);
    // One by one, because lines of plain text are drawn at certain numbers.
    while (bar_ && shown_ < done) bar_->Show(++shown_);
  }

 private:
  std::optional<ProgressBar> bar_;
  uint32_t shown_ = 0;
};

class Walk {
 public:
  Walk(RecordingFile& file, const TakeRecord& take)
      : file_(file), take_(take), progress_(file.Size()) {}

  WalkResult Run() {
    int64_t at = file_.FirstRecord();
    while (file_.Size() - at >= file_.RecordBytes()) {
      at = Visit(at);
      progress_.Show(at);
    }
    if (waiting_) Settle(nullptr);
    if (at < file_.Size()) {
      ++record_;
      Report(FindingKind::kTornTail, Here(at, file_.Size() - at),
             "only the first " + std::to_string(file_.Size() - at) + " bytes of a record");
    }
    result_.length += last_.timeOffset;
    return std::move(result_);
  }

 private:
  // An intact record that is judged when the next one is known.
  struct Record {
    Finding place;
    FrameStamp stamp;
    std::vector<uint8_t> bytes;
  };

  Finding Here(int64_t at, int64_t bytes) const { return {record_, at, bytes, {}, {}}; }

  // Returns the place behind what is here.
  int64_t Visit(int64_t at) {
    ++record_;
    const int64_t behind = at + file_.RecordBytes();
    const RecordState state = file_.StateOf(at);
    if (state == RecordState::kIntact) {
      Take(at);
      return behind;
    }
    if (state == RecordState::kOtherFrame) {
      ReportBehind(FindingKind::kOtherFrame, at, behind,
                   "the frame is of another telemetry revision than this camera's");
      return behind;
    }
    // Where the next record is in its place, nothing was put in or left out.
    const bool isInPlace = file_.RecordMayBegin(behind);
    const int64_t next =
        isInPlace ? behind
                  : file_.FindRecord(at + 1, [&](int64_t place) { progress_.Show(place); });
    const std::string bytes = std::to_string(next - at);
    if (isInPlace && state == RecordState::kBadTrailer) {
      ReportBehind(FindingKind::kBadTrailer, at, next, "its number, time or date cannot be");
    } else {
      ReportBehind(FindingKind::kLostBytes, at, next, bytes + " bytes that hold no whole record");
    }
    return next;
  }

  void Take(int64_t at) {
    const FrameStamp stamp = file_.StampOf(at);
    if (waiting_) Settle(&stamp);
    const std::span<const uint8_t> bytes = file_.Bytes(at, file_.RecordBytes());
    if (!waiting_) waiting_.emplace();
    waiting_->place = Here(at, file_.RecordBytes());
    waiting_->stamp = stamp;
    waiting_->bytes.assign(bytes.begin(), bytes.end());
  }

  // A single record out of line between two that fit together has a damaged trailer.
  bool IsOutOfLine(const FrameStamp& stamp, const FrameStamp* next) const {
    const bool isBack = StepBetween(last_, stamp) == Step::kBack;
    if (next == nullptr) return isBack;
    return (isBack || StepBetween(stamp, *next) == Step::kBack) &&
           StepBetween(last_, *next) == Step::kOn;
  }

  void Settle(const FrameStamp* next) {
    const FrameStamp& stamp = waiting_->stamp;
    if (IsOutOfLine(stamp, next)) {
      Report(FindingKind::kBadTrailer, waiting_->place,
             "its number and time do not fit those of the records around it");
    } else {
      Accept(stamp);
    }
    if (std::exchange(foundBehind_, false)) TellTimeBehind();
  }

  void Accept(const FrameStamp& stamp) {
    const Step step = StepBetween(last_, stamp);
    if (step == Step::kBack)
      Report(FindingKind::kOutOfOrder, waiting_->place, BackText(last_, stamp));
    if (step == Step::kRestart) {
      Report(FindingKind::kRestart, waiting_->place, "the recording was started again");
      result_.length += last_.timeOffset;
    }
    if (step == Step::kOn && stamp.number - last_.number > 1)
      Report(FindingKind::kMissingFrames, waiting_->place, MissingText(stamp.number));
    take_({waiting_->place.record, stamp, waiting_->bytes});
    ++result_.records;
    last_ = stamp;
  }

  std::string MissingText(uint32_t number) const {
    const uint32_t from = last_.number + 1, to = number - 1;
    if (from == to) return "frame " + std::to_string(from) + " is missing before it";
    return "frames " + std::to_string(from) + " to " + std::to_string(to) +
           " are missing before it";
  }

  // What is found behind the waiting record: whether that one's time is good is not known yet.
  void ReportBehind(FindingKind kind, int64_t from, int64_t to, std::string text) {
    foundBehind_ = waiting_.has_value();
    Report(kind, Here(from, to - from), std::move(text));
  }

  void TellTimeBehind() {
    for (Findings& findings : result_.findings)
      for (Finding& finding : findings.first)
        if (finding.record > waiting_->place.record) finding.after = last_.timeOffset;
  }

  void Report(FindingKind kind, Finding finding, std::string text) {
    Findings& findings = result_.findings[static_cast<size_t>(kind)];
    if (++findings.count > Findings::kMost) return;
    finding.after = last_.timeOffset;
    finding.text = std::move(text);
    findings.first.push_back(std::move(finding));
  }

  RecordingFile& file_;
  const TakeRecord& take_;
  Progress progress_;
  uint64_t record_ = 0;
  std::optional<Record> waiting_;
  bool foundBehind_ = false;  // something behind the waiting record was reported
  FrameStamp last_;           // of the last good record; before the first one, all zero
  WalkResult result_;
};

}  // namespace

const char* FindingName(FindingKind kind) {
  constexpr const char* kNames[kFindingKinds] = {"lost-bytes",    "bad-trailer", "other-frame",
                                                 "out-of-order",  "torn-tail",   "restart",
                                                 "missing-frames"};
  return kNames[static_cast<size_t>(kind)];
}

bool WalkResult::IsDamaged() const {
  for (size_t kind = 0; kind < kFindingKinds; ++kind)
    if (IsDamage(static_cast<FindingKind>(kind)) && findings[kind].count != 0) return true;
  return records == 0;
}

WalkResult WalkRecording(RecordingFile& file, const TakeRecord& take) {
  return Walk(file, take).Run();
}
