#include "tools/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "tools/advice.h"

namespace {

[[noreturn]] void Fail(const std::string& path, int error) {
  throw ToolError("cannot write " + path + ": " + ErrnoText(error));
}

class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int Get() const { return fd_; }
  // The errno of the close, or 0.
  int Close() { return close(std::exchange(fd_, -1)) == 0 ? 0 : errno; }

 private:
  int fd_;
};

// The errno of the first failure, or 0.
int WriteAll(Descriptor& file, std::span<const uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(file.Get(), bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno;
    bytes = bytes.subspan(static_cast<size_t>(written));
  }
  return file.Close();
}

mode_t ModeOfNewFiles() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

void WriteDirectly(const std::string& path, std::span<const uint8_t> bytes) {
  Descriptor file(open(path.c_str(), O_WRONLY | O_CLOEXEC));
  if (file.Get() < 0) Fail(path, errno);
  if (const int error = WriteAll(file, bytes)) Fail(path, error);
}

void WriteAndRename(const std::string& path, mode_t mode, std::span<const uint8_t> bytes) {
  std::string temporary = path + ".XXXXXX";
  Descriptor file(mkostemp(temporary.data(), O_CLOEXEC));
  if (file.Get() < 0) Fail(path, errno);
  int error = fchmod(file.Get(), mode) == 0 ? 0 : errno;
  if (error == 0) error = WriteAll(file, bytes);
  if (error == 0 && rename(temporary.c_str(), path.c_str()) != 0) error = errno;
  if (error == 0) return;
  unlink(temporary.c_str());
  Fail(path, error);
}

}  // namespace

void WriteOutputFile(const std::string& path, std::span<const uint8_t> bytes) {
  struct stat existing {};
  if (stat(path.c_str(), &existing) != 0) return WriteAndRename(path, ModeOfNewFiles(), bytes);
  if (S_ISDIR(existing.st_mode)) Fail(path, EISDIR);
  if (!S_ISREG(existing.st_mode)) return WriteDirectly(path, bytes);
  if (access(path.c_str(), W_OK) != 0) Fail(path, errno);
  // A link keeps leading to the file that is replaced.
  WriteAndRename(std::filesystem::canonical(path), existing.st_mode & 07777, bytes);
}
