// What the program under test asked of the virtual kernel, in order.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace zosim {

enum class Call { kOpen, kClose, kIoctl, kTransfer, kMap, kUnmap };

struct LogEntry {
  Call call = Call::kIoctl;
  std::string name;  // "open", "VIDIOC_S_FMT", "SET_CUR", "mmap", ...
  int node = -1;     // number of the video node
  int fd = -1;
  int error = 0;  // 0 or the errno the call ended with
  // Transfers only. `bytes` are those sent by a set or delivered by a get.
  uint8_t unit = 0;
  uint8_t selector = 0;
  uint8_t query = 0;
  std::vector<uint8_t> bytes;
  // Ioctls and mappings, as the caller gave them: S_FMT width, height; S_PARM numerator,
  // denominator; REQBUFS count; QUERYBUF, QBUF index; DQBUF index it got; mmap offset, length.
  std::array<uint32_t, 2> arguments = {};
  std::chrono::steady_clock::time_point at;

  std::string Describe() const;  // one line for a person
};

// Keeps the newest entries; a program that streams for hours does not fill the memory.
class CallLog {
 public:
  void Add(LogEntry entry);
  void Clear() { entries_.clear(); }
  std::vector<LogEntry> Entries() const { return {entries_.begin(), entries_.end()}; }

 private:
  static constexpr size_t kMostEntries = 100000;
  std::deque<LogEntry> entries_;
};

}  // namespace zosim
