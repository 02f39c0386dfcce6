#include "sim/interpose/covered_path.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstring>

#include "sim/kernel/calls.h"
#include "sim/kernel/claims.h"
#include "sim/kernel/path_tree.h"

namespace zosim::interpose {
namespace {

using kernel::Claim;
using kernel::descriptorClaims;

bool Identity(int fd, const char* path, struct statx* result) {
  return syscall(SYS_statx, fd, path, *path == '\0' ? AT_EMPTY_PATH : 0, STATX_INO, result) == 0;
}

}  // namespace

std::optional<std::string> CoveredPath(int directory, const char* path) {
  if (path == nullptr || *path == '\0') return std::nullopt;
  if (*path == '/') {
    if (!kernel::PathTree::Covers(path)) return std::nullopt;
    return std::string(path);
  }
  if (directory == AT_FDCWD) return std::nullopt;
  if (descriptorClaims.Of(directory) == Claim::kDirectory) {
    return kernel::DirectoryPath(directory) + "/" + path;
  }
  if (std::strncmp(path, "video", 5) == 0 && IsDeviceDirectory(directory)) {
    return std::string("/dev/") + path;
  }
  return std::nullopt;
}

bool IsDeviceDirectory(int fd) {
  struct statx asked = {};
  struct statx devices = {};
  return Identity(fd, "", &asked) && Identity(AT_FDCWD, "/dev", &devices) &&
         asked.stx_ino == devices.stx_ino && asked.stx_dev_major == devices.stx_dev_major &&
         asked.stx_dev_minor == devices.stx_dev_minor;
}

bool IsDeviceDirectory(const char* path) {
  return path != nullptr && (std::strcmp(path, "/dev") == 0 || std::strcmp(path, "/dev/") == 0);
}

}  // namespace zosim::interpose
