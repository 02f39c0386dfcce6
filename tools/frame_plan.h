// Which frames of a recording are in a range of times: found out before the work begins, because
// times and numbers may begin anew in the middle, and single ones may be damaged.
#ifndef ZOCAM_TOOLS_FRAME_PLAN_H
#define ZOCAM_TOOLS_FRAME_PLAN_H

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/steady_pictures.h"

enum class PlannedFrame : uint8_t {
  kLeave,
  kTake,
  kTakeMisfit,  // its number and time cannot be; it is placed with the frame before
};

struct FramePlan {
  std::vector<PlannedFrame> frames;  // up to the last one to take
  uint32_t count = 0;                // of those to take
  // Numbers and times rise from frame to frame; otherwise numbers may repeat.
  bool isOrdered = true;
  std::chrono::milliseconds first{}, last{};  // times of those to take, where all is in order
  std::chrono::milliseconds start{}, end{};   // of the recording
};

// Reads the recording once. Throws ToolError.
FramePlan PlanFrames(const std::string& path, TimeRange range);

#endif
