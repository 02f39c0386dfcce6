// Output files that are there whole or not at all.
#ifndef ZOCAM_TOOLS_OUTPUT_FILE_H
#define ZOCAM_TOOLS_OUTPUT_FILE_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

// Writes the file under a temporary name beside its place and renames it when all of it is written.
// What is no regular file (a pipe, a device) is written directly. Throws ToolError.
void WriteOutputFile(const std::string& path, std::span<const uint8_t> bytes);

// A regular file that is written piece by piece and appears under its name with Commit(). Until
// then it has no name where the file system allows that, so that not even a killed program leaves a
// part of it; elsewhere it has a temporary one, which the destructor removes. What is there already
// and is no regular file is refused. Members throw ToolError.
class OutputStream {
 public:
  explicit OutputStream(const std::string& path);
  ~OutputStream();
  OutputStream(const OutputStream&) = delete;
  OutputStream& operator=(const OutputStream&) = delete;

  void Write(std::span<const uint8_t> bytes);
  void Write(std::string_view text);
  // Writes the first bytes again.
  void WriteStart(std::span<const uint8_t> bytes);
  void Commit();

  // A path to the file while this object lives, for another program to write it.
  std::string OpenPath() const;

 private:
  void OpenNameless();
  void GiveName();

  std::string path_;       // the file itself, where a link leads
  std::string temporary_;  // its name until Commit(), if it has one
  int fd_ = -1;
};

#endif
