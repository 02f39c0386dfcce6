// The records of a recording, by their place in the file (docs/recording-format.md). The library
// opens and checks the file; reading records by number needs no more than their size.
#ifndef ZOCAM_PYTHON_RECORD_FILE_H
#define ZOCAM_PYTHON_RECORD_FILE_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "python/src/frame.h"

namespace zopy {

// Any thread may read; the file keeps no position.
class RecordFile {
 public:
  RecordFile(const std::string& path, const Geometry& geometry);
  ~RecordFile();
  RecordFile(const RecordFile&) = delete;
  RecordFile& operator=(const RecordFile&) = delete;

  uint64_t Count() const { return count_; }
  // Looks whether the file has grown, as one does that is being written.
  void Refresh();
  // Reads a record, counted from 0. Throws zocam::Error 23 or 24.
  std::unique_ptr<FrameData> Read(uint64_t record) const;
  // The last record at or before a time, of times that only grow; 0 when there is none.
  uint64_t LastAtOrBefore(double seconds) const;
  double SecondsOf(uint64_t record) const;

 private:
  void ReadAt(int64_t offset, void* out, size_t count) const;
  int64_t Place(uint64_t record) const {
    return firstRecord_ + static_cast<int64_t>(record) * recordBytes_;
  }

  const std::string path_;
  const Geometry geometry_;
  const int64_t recordBytes_;
  int descriptor_;
  int64_t firstRecord_ = 0;
  std::atomic<uint64_t> count_ = 0;
};

}  // namespace zopy

#endif
