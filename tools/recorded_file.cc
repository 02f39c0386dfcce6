#include "tools/recorded_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "tools/advice.h"

namespace {

std::string AdviceOnWriting(int error) {
  switch (error) {
    case ENOSPC:
      return "make room, or record to another disk";
    case EDQUOT:
      return "your share of the disk is used up: make room, or record to another disk";
    case EFBIG:
      return "files may not become larger here: ulimit -f shows the limit, --max-size ends before "
             "it";
    default:
      return "record to another place";
  }
}

std::optional<FileIdentity> IdentityOf(const std::string& path) {
  struct stat file {};
  if (stat(path.c_str(), &file) != 0) return std::nullopt;
  return FileIdentity{file.st_dev, file.st_ino};
}

[[noreturn]] void RefuseExisting(const std::string& path) {
  struct stat file {};
  if (stat(path.c_str(), &file) == 0 && !S_ISREG(file.st_mode))
    throw ToolError("cannot record to " + path + ": it is no file");
  throw ToolError(path + " exists; choose another name, or replace it with --overwrite");
}

}  // namespace

std::string WriteFailureText(const std::string& path, const std::string& reason, int error) {
  return "cannot write " + path + ": " + reason + "; " + AdviceOnWriting(error);
}

ReservedName::ReservedName(const std::string& path) : path_(path) {
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (fd < 0 && errno == EEXIST) RefuseExisting(path);
  if (fd < 0) throw ToolError(WriteFailureText(path, ErrnoText(errno), errno));
  close(fd);
  identity_ = IdentityOf(path);
}

ReservedName::~ReservedName() {
  std::error_code error;
  if (!IsTaken() && std::filesystem::file_size(path_, error) == 0) unlink(path_.c_str());
}

bool ReservedName::IsTaken() const {
  const std::optional<FileIdentity> there = IdentityOf(path_);
  return there && there != identity_;
}

RecordedFile::RecordedFile(const std::string& path, bool overwrite)
    : path_(path), name_(overwrite ? nullptr : std::make_unique<ReservedName>(path)), file_(path) {}

uint64_t RecordedFile::Bytes() const {
  std::error_code error;
  const uint64_t bytes = std::filesystem::file_size(Path(), error);
  return error ? 0 : bytes;
}

void RecordedFile::Keep() {
  if (name_ && name_->IsTaken())
    throw ToolError("another program has put its own file at " + path_ +
                    " meanwhile; nothing was recorded");
  const std::optional<FileIdentity> identity = IdentityOf(file_.OpenPath());
  file_.Commit();
  identity_ = identity;
}

bool RecordedFile::IsInPlace() const { return IdentityOf(path_) == identity_; }
