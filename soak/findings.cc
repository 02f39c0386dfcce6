#include "soak/findings.h"

#include <algorithm>
#include <cstdio>

namespace soak {
namespace {

constexpr std::array<const char*, static_cast<unsigned>(Count::kEnd)> kNames = {
    "seen",
    "recorded",
    "played",
    "lostNoBuffer",
    "lostOnTheBus",
    "leftInBuffers",
    "temperaturesSame",
    "opens",
    "sessions",
    "recordings",
    "pulls",
    "vanished",
    "reconnects",
    "callFaults",
    "commands",
    "commandsFailed",
    "seeks",
    "pauses",
    "playbacks",
    "torn",
    "repeated",
    "foreign",
    "missing",
    "recordingDiffers",
    "playbackDiffers",
    "temperaturesDiffer",
    "unexpectedStatus",
    "left"};

}  // namespace

void Findings::Found(Count count, const std::string& what) {
  Add(count);
  constexpr uint64_t kMostLines = 100;
  if (Of(count) > kMostLines) return;
  std::fprintf(stderr, "soak: %s: %s\n", kNames[static_cast<unsigned>(count)], what.c_str());
}

bool Findings::Expect(const char* call, ZoStatus status, std::initializer_list<ZoStatus> allowed) {
  if (std::ranges::find(allowed, status) != allowed.end()) return true;
  Found(Count::kUnexpectedStatus,
        std::string(call) + ": " + std::to_string(status) + " " + ZoLib_GetErrorMessage(status));
  return false;
}

uint64_t Findings::Wrong() const {
  uint64_t sum = 0;
  for (auto i = static_cast<unsigned>(kFirstFinding); i < counts_.size(); ++i) sum += counts_[i];
  return sum;
}

std::string Findings::AsJson() const {
  std::string text;
  for (unsigned i = 0; i < counts_.size(); ++i) {
    if (i > 0) text += ", ";
    text += '"' + std::string(kNames[i]) + "\": " + std::to_string(counts_[i].load());
  }
  return text;
}

}  // namespace soak
