#include "tools/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "tools/advice.h"

namespace {

[[noreturn]] void Fail(const std::string& path, int error) {
  throw ToolError("cannot write " + path + ": " + ErrnoText(error));
}

// The errno of the first failure, or 0.
int WriteAll(int fd, std::span<const uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(fd, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno;
    bytes = bytes.subspan(static_cast<size_t>(written));
  }
  return 0;
}

// The errno of the close, or 0.
int CloseNow(int& fd) { return close(std::exchange(fd, -1)) == 0 ? 0 : errno; }

mode_t ModeOfNewFiles() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

void WriteDirectly(const std::string& path, std::span<const uint8_t> bytes) {
  int fd = open(path.c_str(), O_WRONLY | O_CLOEXEC);
  if (fd < 0) Fail(path, errno);
  const int written = WriteAll(fd, bytes);
  const int closed = CloseNow(fd);
  if (const int error = written != 0 ? written : closed) Fail(path, error);
}

// A kernel's or a file system's ways to say that it has no files without a name.
bool NeedsName(int error) {
  return error == EOPNOTSUPP || error == EISDIR || error == ENOENT || error == EINVAL;
}

}  // namespace

OutputStream::OutputStream(const std::string& path) : path_(path) {
  struct stat existing {};
  mode_t mode = 0;
  if (stat(path.c_str(), &existing) != 0) {
    mode = ModeOfNewFiles();
  } else {
    if (S_ISDIR(existing.st_mode)) Fail(path, EISDIR);
    if (!S_ISREG(existing.st_mode)) throw ToolError("cannot write " + path + ": it is no file");
    if (access(path.c_str(), W_OK) != 0) Fail(path, errno);
    // A link keeps leading to the file that is replaced.
    std::error_code error;
    path_ = std::filesystem::canonical(path, error);
    if (error) Fail(path, error.value());
    mode = existing.st_mode & 07777;
  }
  OpenNameless();
  if (fd_ < 0) Fail(path_, errno);
  if (fchmod(fd_, mode) == 0) return;
  const int error = errno;
  close(fd_);
  if (!temporary_.empty()) unlink(temporary_.c_str());
  Fail(path_, error);
}

OutputStream::~OutputStream() {
  if (fd_ >= 0) close(fd_);
  if (!temporary_.empty()) unlink(temporary_.c_str());
}

void OutputStream::OpenNameless() {
  // The name is given through /proc.
  if (access("/proc/self/fd", X_OK) == 0) {
    const std::string folder = std::filesystem::path(path_).parent_path();
    fd_ = open(folder.empty() ? "." : folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
    if (fd_ >= 0 || !NeedsName(errno)) return;
  }
  temporary_ = path_ + ".XXXXXX";
  fd_ = mkostemp(temporary_.data(), O_CLOEXEC);
  if (fd_ < 0) temporary_.clear();
}

void OutputStream::Write(std::span<const uint8_t> bytes) {
  if (const int error = WriteAll(fd_, bytes)) Fail(path_, error);
}

void OutputStream::Write(std::string_view text) {
  Write({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
}

void OutputStream::WriteStart(std::span<const uint8_t> bytes) {
  if (lseek(fd_, 0, SEEK_SET) < 0) Fail(path_, errno);
  Write(bytes);
  if (lseek(fd_, 0, SEEK_END) < 0) Fail(path_, errno);
}

std::string OutputStream::OpenPath() const {
  if (!temporary_.empty()) return temporary_;
  return "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(fd_);
}

// Beside its place, because a link cannot replace what is there.
void OutputStream::GiveName() {
  const std::string open = "/proc/self/fd/" + std::to_string(fd_);
  for (int i = 0;; ++i) {
    temporary_ = path_ + "." + std::to_string(getpid()) + "-" + std::to_string(i);
    if (linkat(AT_FDCWD, open.c_str(), AT_FDCWD, temporary_.c_str(), AT_SYMLINK_FOLLOW) == 0)
      return;
    temporary_.clear();
    if (errno != EEXIST) Fail(path_, errno);
  }
}

void OutputStream::Commit() {
  if (temporary_.empty()) GiveName();
  if (const int error = CloseNow(fd_)) Fail(path_, error);
  if (rename(temporary_.c_str(), path_.c_str()) != 0) Fail(path_, errno);
  temporary_.clear();
}

void WriteOutputFile(const std::string& path, std::span<const uint8_t> bytes) {
  struct stat existing {};
  if (stat(path.c_str(), &existing) == 0 && !S_ISREG(existing.st_mode) &&
      !S_ISDIR(existing.st_mode))
    return WriteDirectly(path, bytes);
  OutputStream file(path);
  file.Write(bytes);
  file.Commit();
}
