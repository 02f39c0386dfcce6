// A finished recording of the soak and what must be in it.
#pragma once

#include <string>
#include <vector>

#include "soak/received_frames.h"

namespace soak {

struct StoredRecording {
  StoredRecording() = default;
  ~StoredRecording() { unlink(path.c_str()); }
  StoredRecording(const StoredRecording&) = delete;
  StoredRecording& operator=(const StoredRecording&) = delete;

  std::string path;
  uint16_t product = 0;
  uint32_t frameBytes = 0;
  DecodeSettings settings;
  bool whole = false;        // it began with the stream
  bool startsFresh = false;  // with the stream's handle, too
  std::vector<ReceivedFrame> frames;
};

// Reads the file frame by frame with a handle of its own. What it holds must be the frames that the
// stream's callback saw, from some first to some last one, and decode to the same temperatures.
// Keeps those frames in the recording. False when it is empty or wrong.
bool CompareWithStream(SharedState& shared, StoredRecording& recording,
                       const std::vector<ReceivedFrame>& seen);

}  // namespace soak
