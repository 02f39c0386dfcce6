// A recording's file as it is, also where it is damaged: its header line and its records. What the
// library opens and does not stumble over is better read with it.
#ifndef ZOCAM_TOOLS_RECORDING_FILE_H
#define ZOCAM_TOOLS_RECORDING_FILE_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "zocam/zocam.hpp"

#include "tools/advice.h"

// What is wrong with a header line. Without one, nothing tells how long the records are.
class HeaderDamage : public ToolError {
 public:
  using ToolError::ToolError;
};

// Of a time, as programs want it.
constexpr double SecondsOf(std::chrono::milliseconds time) {
  return static_cast<double>(time.count()) / 1000.0;
}

enum class RecordState {
  kIntact,
  kNoMarker,    // no record begins here
  kBadTrailer,  // its number, time or date cannot be, or something stands behind them
  kOtherFrame,  // the frame is of another telemetry revision than the camera's
};

class RecordingFile {
 public:
  // Throws ToolError when the file cannot be read, HeaderDamage when its header line is damaged.
  explicit RecordingFile(const std::string& path);
  ~RecordingFile();
  RecordingFile(const RecordingFile&) = delete;
  RecordingFile& operator=(const RecordingFile&) = delete;

  int64_t Size() const { return size_; }
  int64_t RecordBytes() const { return recordBytes_; }
  int64_t FirstRecord() const { return firstRecord_; }
  // How many records there is room for, and what is left then.
  uint64_t Capacity() const { return static_cast<uint64_t>((size_ - firstRecord_) / recordBytes_); }
  int64_t TailBytes() const { return (size_ - firstRecord_) % recordBytes_; }

  // Bytes that the file has; they stay until the next call. Throws ToolError.
  std::span<const uint8_t> Bytes(int64_t offset, int64_t count);
  std::span<const uint8_t> Header() { return Bytes(0, firstRecord_); }

  // These look at a record that has room before the file's end.
  RecordState StateOf(int64_t record);
  zocam::FrameStamp StampOf(int64_t record);
  // Whether a marker, or as much of one as there is room for, stands at a place or the file ends.
  bool RecordMayBegin(int64_t place);

  // The next record from there that has a marker and a good trailer; Size() when there is none.
  int64_t FindRecord(int64_t from, const std::function<void(int64_t)>& onProgress);

 private:
  void ReadHeader();
  // Finds out why the library refused the file; returns when it is not for the header.
  void ExplainRefusal(const std::string& line);
  std::span<const uint8_t> TrailerOf(int64_t record);
  bool HasRoom(int64_t record) const { return record <= size_ - recordBytes_; }

  const std::string path_;
  int fd_;
  int64_t size_ = 0;
  int64_t firstRecord_ = 0;
  int64_t recordBytes_ = 0;
  int64_t footer_ = 0;        // where it begins in a record
  int64_t trailerBytes_ = 0;  // of the line at a record's end
  uint8_t revision_ = 0;
  std::vector<uint8_t> window_;  // of the file, from windowStart_
  int64_t windowStart_ = 0;
};

// A file that has at least one record and whose header is good. Throws ToolError, in full.
std::unique_ptr<RecordingFile> OpenRecordingFile(const std::string& path);

#endif
