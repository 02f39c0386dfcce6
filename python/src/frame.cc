#include "python/src/frame.h"

#include "python/src/celsius.h"

namespace zopy {

void FrameData::RequireCounts() const {
  if (failure) throw zocam::Error(*failure);
  if (!counts)
    throw zocam::Error(ZO_STATUS_NOT_YET, "this frame was fetched while decoding was switched off");
}

void FrameData::RequireTemperatures() const {
  RequireCounts();
  if (meaning == Meaning::kRawCounts)
    throw zocam::Error(ZO_STATUS_INVALID_STATE, "this frame shows raw counts, not temperatures");
}

void FrameData::WriteTemperatures(std::span<float> out) const {
  if (meaning == Meaning::kDifference)
    WriteDifferences(Counts(), resolution, out);
  else
    WriteCelsius(Counts(), resolution, out);
}

}  // namespace zopy
