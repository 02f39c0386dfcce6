// stat, access and links.
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>

#include "sim/interpose/covered_path.h"
#include "sim/interpose/next_call.h"
#include "sim/kernel/calls.h"
#include "sim/kernel/claims.h"

namespace zosim::interpose {
namespace {

using Status = struct stat;  // the same as struct stat64 where off_t has 64 bits
using StatxResult = struct statx;

constinit NextCall<int(const char*, Status*)> nextStat("stat");
constinit NextCall<int(const char*, Status*)> nextLstat("lstat");
constinit NextCall<int(int, Status*)> nextFstat("fstat");
constinit NextCall<int(int, const char*, Status*, int)> nextFstatAt("fstatat");
constinit NextCall<int(int, const char*, int, unsigned, StatxResult*)> nextStatx("statx");
constinit NextCall<int(const char*, int)> nextAccess("access");
constinit NextCall<int(const char*, int)> nextEaccess("eaccess");
constinit NextCall<int(int, const char*, int, int)> nextFaccessAt("faccessat");
constinit NextCall<ssize_t(const char*, char*, size_t)> nextReadLink("readlink");
constinit NextCall<ssize_t(int, const char*, char*, size_t)> nextReadLinkAt("readlinkat");
constinit NextCall<char*(const char*, char*)> nextRealPath("realpath");

static_assert(sizeof(off_t) == 8, "the 64-bit variants share one implementation");

int StatAt(int directory, const char* path, Status* result, int flags) {
  const Errno error;
  if (MightBeCovered(directory, path)) {
    if (const auto covered = CoveredPath(directory, path)) {
      const bool follow = (flags & AT_SYMLINK_NOFOLLOW) == 0;
      return error.ReturnInt(kernel::Stat(*covered, follow, result));
    }
  }
  if (auto* real = nextFstatAt.Get()) return real(directory, path, result, flags);
  return static_cast<int>(syscall(SYS_newfstatat, directory, path, result, flags));
}

int Stat(const char* path, Status* result) {
  const Errno error;
  if (MightBeCovered(AT_FDCWD, path)) {
    if (const auto covered = CoveredPath(AT_FDCWD, path)) {
      return error.ReturnInt(kernel::Stat(*covered, true, result));
    }
  }
  if (auto* real = nextStat.Get()) return real(path, result);
  return static_cast<int>(syscall(SYS_newfstatat, AT_FDCWD, path, result, 0));
}

int Lstat(const char* path, Status* result) {
  const Errno error;
  if (MightBeCovered(AT_FDCWD, path)) {
    if (const auto covered = CoveredPath(AT_FDCWD, path)) {
      return error.ReturnInt(kernel::Stat(*covered, false, result));
    }
  }
  if (auto* real = nextLstat.Get()) return real(path, result);
  return static_cast<int>(syscall(SYS_newfstatat, AT_FDCWD, path, result, AT_SYMLINK_NOFOLLOW));
}

int Fstat(int fd, Status* result) {
  const Errno error;
  if (kernel::descriptorClaims.Of(fd) != kernel::Claim::kNone) {
    return error.ReturnInt(kernel::StatDescriptor(fd, result));
  }
  if (auto* real = nextFstat.Get()) return real(fd, result);
  return static_cast<int>(syscall(SYS_fstat, fd, result));
}

void Convert(const Status& from, StatxResult* to) {
  *to = {};
  to->stx_mask = STATX_BASIC_STATS;
  to->stx_blksize = static_cast<uint32_t>(from.st_blksize);
  to->stx_nlink = static_cast<uint32_t>(from.st_nlink);
  to->stx_mode = static_cast<uint16_t>(from.st_mode);
  to->stx_ino = from.st_ino;
  to->stx_size = static_cast<uint64_t>(from.st_size);
  to->stx_rdev_major = major(from.st_rdev);
  to->stx_rdev_minor = minor(from.st_rdev);
}

int AccessAt(int directory, const char* path, int mode, int flags) {
  const Errno error;
  if (MightBeCovered(directory, path)) {
    if (const auto covered = CoveredPath(directory, path)) {
      return error.ReturnInt(kernel::Access(*covered, mode));
    }
  }
  if (auto* real = nextFaccessAt.Get()) return real(directory, path, mode, flags);
  return static_cast<int>(syscall(SYS_faccessat, directory, path, mode));
}

ssize_t ReadLinkAt(int directory, const char* path, char* buffer, size_t size) {
  const Errno error;
  if (MightBeCovered(directory, path)) {
    if (const auto covered = CoveredPath(directory, path)) {
      std::string target;
      const int result = kernel::ReadLink(*covered, &target);
      if (result < 0) return error.Return(result);
      const size_t count = std::min(size, target.size());
      std::copy_n(target.begin(), count, buffer);
      return error.Return(static_cast<long>(count));
    }
  }
  if (auto* real = nextReadLinkAt.Get()) return real(directory, path, buffer, size);
  return syscall(SYS_readlinkat, directory, path, buffer, size);
}

char* RealPath(const char* path, char* resolved) {
  auto* real = nextRealPath.Get();
  if (!MightBeCovered(AT_FDCWD, path)) return real != nullptr ? real(path, resolved) : nullptr;
  const Errno error;
  const auto covered = CoveredPath(AT_FDCWD, path);
  if (!covered) return real(path, resolved);
  std::string result;
  if (error.Return(kernel::RealPath(*covered, &result)) < 0) return nullptr;
  if (resolved == nullptr) return strdup(result.c_str());
  result.resize(std::min<size_t>(result.size(), PATH_MAX - 1));
  std::copy_n(result.c_str(), result.size() + 1, resolved);
  return resolved;
}

}  // namespace

extern "C" {
#pragma GCC visibility push(default)

int InterposedStat(const char* path, Status* result) __asm__("stat");
int InterposedStat(const char* path, Status* result) { return Stat(path, result); }
int InterposedStat64(const char* path, Status* result) __asm__("stat64");
int InterposedStat64(const char* path, Status* result) { return Stat(path, result); }

int InterposedLstat(const char* path, Status* result) __asm__("lstat");
int InterposedLstat(const char* path, Status* result) { return Lstat(path, result); }
int InterposedLstat64(const char* path, Status* result) __asm__("lstat64");
int InterposedLstat64(const char* path, Status* result) { return Lstat(path, result); }

int InterposedFstat(int fd, Status* result) __asm__("fstat");
int InterposedFstat(int fd, Status* result) { return Fstat(fd, result); }
int InterposedFstat64(int fd, Status* result) __asm__("fstat64");
int InterposedFstat64(int fd, Status* result) { return Fstat(fd, result); }

int InterposedFstatAt(int directory, const char* path, Status* result,
                      int flags) __asm__("fstatat");
int InterposedFstatAt(int directory, const char* path, Status* result, int flags) {
  return StatAt(directory, path, result, flags);
}
int InterposedFstatAt64(int directory, const char* path, Status* result,
                        int flags) __asm__("fstatat64");
int InterposedFstatAt64(int directory, const char* path, Status* result, int flags) {
  return StatAt(directory, path, result, flags);
}

int InterposedStatx(int directory, const char* path, int flags, unsigned mask,
                    StatxResult* result) __asm__("statx");
int InterposedStatx(int directory, const char* path, int flags, unsigned mask,
                    StatxResult* result) {
  const Errno error;
  if (MightBeCovered(directory, path)) {
    if (const auto covered = CoveredPath(directory, path)) {
      Status status = {};
      const int done = kernel::Stat(*covered, (flags & AT_SYMLINK_NOFOLLOW) == 0, &status);
      if (done == 0) Convert(status, result);
      return error.ReturnInt(done);
    }
  }
  if (auto* real = nextStatx.Get()) return real(directory, path, flags, mask, result);
  return static_cast<int>(syscall(SYS_statx, directory, path, flags, mask, result));
}

int InterposedAccess(const char* path, int mode) __asm__("access");
int InterposedAccess(const char* path, int mode) {
  const Errno error;
  if (MightBeCovered(AT_FDCWD, path)) {
    if (const auto covered = CoveredPath(AT_FDCWD, path)) {
      return error.ReturnInt(kernel::Access(*covered, mode));
    }
  }
  if (auto* real = nextAccess.Get()) return real(path, mode);
  return static_cast<int>(syscall(SYS_faccessat, AT_FDCWD, path, mode));
}

int InterposedEaccess(const char* path, int mode) __asm__("eaccess");
int InterposedEaccess(const char* path, int mode) {
  const Errno error;
  if (MightBeCovered(AT_FDCWD, path)) {
    if (const auto covered = CoveredPath(AT_FDCWD, path)) {
      return error.ReturnInt(kernel::Access(*covered, mode));
    }
  }
  if (auto* real = nextEaccess.Get()) return real(path, mode);
  return static_cast<int>(syscall(SYS_faccessat, AT_FDCWD, path, mode));
}

int InterposedFaccessAt(int directory, const char* path, int mode, int flags) __asm__("faccessat");
int InterposedFaccessAt(int directory, const char* path, int mode, int flags) {
  return AccessAt(directory, path, mode, flags);
}

ssize_t InterposedReadLink(const char* path, char* buffer, size_t size) __asm__("readlink");
ssize_t InterposedReadLink(const char* path, char* buffer, size_t size) {
  if (!MightBeCovered(AT_FDCWD, path)) {
    if (auto* real = nextReadLink.Get()) return real(path, buffer, size);
  }
  return ReadLinkAt(AT_FDCWD, path, buffer, size);
}
ssize_t InterposedReadLinkChk(const char* path, char* buffer, size_t size,
                              size_t room) __asm__("__readlink_chk");
ssize_t InterposedReadLinkChk(const char* path, char* buffer, size_t size, size_t room) {
  return InterposedReadLink(path, buffer, std::min(size, room));
}
ssize_t InterposedReadLinkAt(int directory, const char* path, char* buffer,
                             size_t size) __asm__("readlinkat");
ssize_t InterposedReadLinkAt(int directory, const char* path, char* buffer, size_t size) {
  return ReadLinkAt(directory, path, buffer, size);
}
ssize_t InterposedReadLinkAtChk(int directory, const char* path, char* buffer, size_t size,
                                size_t room) __asm__("__readlinkat_chk");
ssize_t InterposedReadLinkAtChk(int directory, const char* path, char* buffer, size_t size,
                                size_t room) {
  return ReadLinkAt(directory, path, buffer, std::min(size, room));
}

char* InterposedRealPath(const char* path, char* resolved) __asm__("realpath");
char* InterposedRealPath(const char* path, char* resolved) { return RealPath(path, resolved); }
char* InterposedRealPathChk(const char* path, char* resolved,
                            size_t room) __asm__("__realpath_chk");
char* InterposedRealPathChk(const char* path, char* resolved, size_t) {
  return RealPath(path, resolved);
}
char* InterposedCanonicalize(const char* path) __asm__("canonicalize_file_name");
char* InterposedCanonicalize(const char* path) { return RealPath(path, nullptr); }

#pragma GCC visibility pop
}  // extern "C"

}  // namespace zosim::interpose
