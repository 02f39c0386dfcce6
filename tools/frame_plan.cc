#include "tools/frame_plan.h"

#include <algorithm>

#include "tools/recording_walk.h"

namespace {

class Planner {
 public:
  explicit Planner(TimeRange range) : range_(range), isInRange_(range.from.count() == 0) {}

  void Add(const IntactRecord& one) {
    AddMisfits(one.record - 1);
    const auto time = one.stamp.timeOffset;
    isInRange_ = time >= range_.from && time <= range_.to;
    plan_.frames.push_back(isInRange_ ? PlannedFrame::kTake : PlannedFrame::kLeave);
    plan_.start = isFirst_ ? time : std::min(plan_.start, time);
    plan_.end = isFirst_ ? time : std::max(plan_.end, time);
    isFirst_ = false;
    if (!isInRange_) return;
    if (plan_.count++ == 0) plan_.first = time;
    plan_.last = time;
  }
  // Whatever is not intact before this record.
  void AddMisfits(uint64_t records) {
    while (plan_.frames.size() < records) {
      plan_.frames.push_back(isInRange_ ? PlannedFrame::kTakeMisfit : PlannedFrame::kLeave);
      if (isInRange_) ++plan_.count;
    }
  }
  FramePlan Finish(bool isOrdered) {
    while (!plan_.frames.empty() && plan_.frames.back() == PlannedFrame::kLeave)
      plan_.frames.pop_back();
    plan_.isOrdered = isOrdered;
    return std::move(plan_);
  }

 private:
  const TimeRange range_;
  bool isInRange_;  // the last frame that told its time
  bool isFirst_ = true;
  FramePlan plan_;
};

}  // namespace

FramePlan PlanFrames(const std::string& path, TimeRange range) {
  const std::unique_ptr<RecordingFile> file = OpenRecordingFile(path);
  Planner planner(range);
  const WalkResult result =
      WalkRecording(*file, [&](const IntactRecord& one) { planner.Add(one); });
  planner.AddMisfits(file->Capacity());
  const bool isOrdered = result.records == file->Capacity() &&
                         result.Of(FindingKind::kRestart).count == 0 &&
                         result.Of(FindingKind::kOutOfOrder).count == 0;
  return planner.Finish(isOrdered);
}
