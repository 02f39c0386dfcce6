// A recording looked through from its first byte to its last: what is intact, and what is not.
#ifndef ZOCAM_TOOLS_RECORDING_WALK_H
#define ZOCAM_TOOLS_RECORDING_WALK_H

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "tools/recording_file.h"

enum class FindingKind {
  kLostBytes,   // no record begins where one should
  kBadTrailer,  // a record whose number, time or date cannot be
  kOtherFrame,  // a frame of another telemetry revision
  kOutOfOrder,  // an intact record that does not follow the one before
  kTornTail,    // the beginning of a record at the end
  // Notes: nothing that is there is damaged.
  kRestart,
  kMissingFrames,
};
inline constexpr size_t kFindingKinds = 7;
constexpr bool IsDamage(FindingKind kind) { return kind < FindingKind::kRestart; }

// "lost-bytes" and so on.
const char* FindingName(FindingKind kind);

struct Finding {
  uint64_t record;                  // which one in the file, from 1
  int64_t offset;                   // of its first byte
  int64_t bytes;                    // how many it is about
  std::chrono::milliseconds after;  // time of the last good record before
  std::string text;
};

// Of a kind, the first ones and how many there are.
struct Findings {
  static constexpr size_t kMost = 20;
  uint64_t count = 0;
  std::vector<Finding> first;
};

struct WalkResult {
  uint64_t records = 0;                // intact ones
  std::chrono::milliseconds length{};  // all parts of a recording that was started again
  std::array<Findings, kFindingKinds> findings;

  const Findings& Of(FindingKind kind) const { return findings[static_cast<size_t>(kind)]; }
  // A recording without any record is one, too: nothing can play it.
  bool IsDamaged() const;
};

// An intact record, as it is.
struct IntactRecord {
  uint64_t record;  // which one in the file, from 1
  zocam::FrameStamp stamp;
  std::span<const uint8_t> bytes;
};

// Hands on every intact record. Throws ToolError when the file cannot be read, and Interruption.
using TakeRecord = std::function<void(const IntactRecord&)>;
WalkResult WalkRecording(RecordingFile& file, const TakeRecord& take);

#endif
