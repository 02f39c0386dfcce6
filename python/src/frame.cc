#include "python/src/frame.h"

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
  // (value - offset) / scale with integers below 2^24: exact until the one division, which rounds.
  constexpr int32_t kZeroCelsius = 27315;  // in 1/100 K; also what differences are shown above
  const bool isDifference = meaning == Meaning::kDifference;
  const int32_t factor = isDifference || resolution == 100 ? 1 : 10;
  const auto scale = static_cast<float>(isDifference ? resolution : 100);
  const uint16_t* const values = counts.get();
  float* const celsiusOut = out.data();
  const size_t count = out.size();
  for (size_t i = 0; i < count; ++i)
    celsiusOut[i] = static_cast<float>(values[i] * factor - kZeroCelsius) / scale;
}

}  // namespace zopy
