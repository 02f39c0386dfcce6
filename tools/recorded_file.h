// The file of a recording in the making: it replaces what was there once a frame is in it, and
// leaves nothing before.
#ifndef ZOCAM_TOOLS_RECORDED_FILE_H
#define ZOCAM_TOOLS_RECORDED_FILE_H

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "tools/output_file.h"

// Device and inode.
using FileIdentity = std::pair<dev_t, ino_t>;

// "cannot write PATH: reason; what to do"
std::string WriteFailureText(const std::string& path, const std::string& reason, int error);

// A name that no other program can take meanwhile: an empty file, removed again unless it was
// replaced or filled.
class ReservedName {
 public:
  // Throws ToolError, also when the name is in use.
  explicit ReservedName(const std::string& path);
  ~ReservedName();
  ReservedName(const ReservedName&) = delete;
  ReservedName& operator=(const ReservedName&) = delete;

  // Whether another program has put something else there.
  bool IsTaken() const;

 private:
  const std::string path_;
  std::optional<FileIdentity> identity_;
};

class RecordedFile {
 public:
  // With overwrite, a file that exists stays until Keep(). Throws ToolError.
  RecordedFile(const std::string& path, bool overwrite);

  // Where it is now, and its size there; 0 when it is gone.
  std::string Path() const { return IsKept() ? path_ : file_.OpenPath(); }
  uint64_t Bytes() const;

  // Gives it its name, for good. Throws ToolError.
  void Keep();
  bool IsKept() const { return identity_.has_value(); }
  // Whether the name still leads to it.
  bool IsInPlace() const;

 private:
  const std::string path_;
  const std::unique_ptr<ReservedName> name_;  // without overwrite
  OutputStream file_;
  std::optional<FileIdentity> identity_;  // once it is kept
};

#endif
