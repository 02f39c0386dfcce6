// soak/: several cameras, recordings and players at once, for hours, while a meddler pulls cables
// and breaks calls. Every frame proves what it is (sim/model/frame_stamp.h), so that each one that
// is lost, repeated, torn or wrong is found, live and in recordings. Threads: an owner and a
// commander per camera, players, a meddler, and the main thread, which samples the process.
//
// This file: what all of them count.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <string>

#include "zocam/zocam.h"

namespace soak {

enum class Count : unsigned {
  // Frames.
  kSeen,              // by a live callback
  kRecorded,          // read back from a recording and equal to what was seen
  kPlayed,            // by a callback of playback
  kLostNoBuffer,      // came while no buffer was free: the callback was slow
  kLostOnTheBus,      // spoiled, as the meddler wished
  kLeftInBuffers,     // delivered, but the stream ended before the callback
  kTemperaturesSame,  // images of live frames that a quiet handle decoded to the same values
  // Events.
  kOpens,
  kSessions,
  kRecordings,
  kPulls,
  kVanished,  // streams that found their camera gone
  kReconnects,
  kCallFaults,
  kCommands,
  kCommandsFailed,
  kSeeks,
  kPauses,
  kPlaybacks,
  // Findings: each of them fails the run.
  kTorn,
  kRepeated,
  kForeign,
  kMissing,
  kRecordingDiffers,
  kPlaybackDiffers,
  kTemperaturesDiffer,
  kUnexpectedStatus,
  kLeft,  // something held after the end
  kEnd
};

constexpr Count kFirstFinding = Count::kTorn;

class Findings {
 public:
  void Add(Count count, uint64_t howMany = 1) {
    counts_[static_cast<unsigned>(count)].fetch_add(howMany, std::memory_order_relaxed);
  }
  // Counts it and says what happened.
  void Found(Count count, const std::string& what);
  // Whether a status is among those that the call may answer in this situation.
  bool Expect(const char* call, ZoStatus status, std::initializer_list<ZoStatus> allowed);

  uint64_t Of(Count count) const {
    return counts_[static_cast<unsigned>(count)].load(std::memory_order_relaxed);
  }
  uint64_t Wrong() const;
  std::string AsJson() const;  // the members of an object

 private:
  std::array<std::atomic<uint64_t>, static_cast<unsigned>(Count::kEnd)> counts_ = {};
};

}  // namespace soak
