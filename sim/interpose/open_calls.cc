// open, fopen and their relatives.
#include <fcntl.h>
#include <stdio.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <cstring>

#include "sim/interpose/covered_path.h"
#include "sim/interpose/next_call.h"
#include "sim/kernel/calls.h"
#include "sim/kernel/claims.h"

namespace zosim::interpose {
namespace {

using OpenFunction = int(const char*, int, ...);
using OpenAtFunction = int(int, const char*, int, ...);
using FopenFunction = FILE*(const char*, const char*);

constinit NextCall<OpenFunction> nextOpen("open");
constinit NextCall<OpenFunction> nextOpen64("open64");
constinit NextCall<OpenAtFunction> nextOpenAt("openat");
constinit NextCall<OpenAtFunction> nextOpenAt64("openat64");
constinit NextCall<FopenFunction> nextFopen("fopen");
constinit NextCall<FopenFunction> nextFopen64("fopen64");
constinit NextCall<int(FILE*)> nextFclose("fclose");

// A mode follows the flags only when a file may be made.
mode_t ModeOf(int flags, va_list arguments) {
  const bool makes = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the caller has started the list
  return makes ? va_arg(arguments, mode_t) : 0;
}

int OpenAt(NextCall<OpenAtFunction>& next, int directory, const char* path, int flags,
           mode_t mode) {
  const Errno error;
  if (MightBeCovered(directory, path)) {
    if (const auto covered = CoveredPath(directory, path)) {
      return error.ReturnInt(kernel::Open(*covered, flags));
    }
  }
  if (OpenAtFunction* real = next.Get()) return real(directory, path, flags, mode);
  return static_cast<int>(syscall(SYS_openat, directory, path, flags, mode));
}

int Open(NextCall<OpenFunction>& next, const char* path, int flags, mode_t mode) {
  const Errno error;
  if (MightBeCovered(AT_FDCWD, path)) {
    if (const auto covered = CoveredPath(AT_FDCWD, path)) {
      return error.ReturnInt(kernel::Open(*covered, flags));
    }
  }
  if (OpenFunction* real = next.Get()) return real(path, flags, mode);
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

FILE* Fopen(NextCall<FopenFunction>& next, const char* path, const char* mode) {
  FopenFunction* real = next.Get();
  if (!MightBeCovered(AT_FDCWD, path)) return real != nullptr ? real(path, mode) : nullptr;
  const Errno error;
  const auto covered = CoveredPath(AT_FDCWD, path);
  if (!covered) return real(path, mode);
  int flags = std::strchr(mode, '+') != nullptr ? O_RDWR : *mode == 'r' ? O_RDONLY : O_WRONLY;
  if (std::strchr(mode, 'e') != nullptr) flags |= O_CLOEXEC;
  const int fd = error.ReturnInt(kernel::Open(*covered, flags));
  if (fd < 0) return nullptr;
  FILE* file = fdopen(fd, mode);
  if (file == nullptr) close(fd);
  return file;
}

}  // namespace

// Each function is defined under its real name by an assembler label, which keeps it apart from the
// C library's own declarations and their fortified inline versions.
extern "C" {
#pragma GCC visibility push(default)

int InterposedOpen(const char* path, int flags, ...) __asm__("open");
int InterposedOpen(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeOf(flags, arguments);
  va_end(arguments);
  return Open(nextOpen, path, flags, mode);
}

int InterposedOpen64(const char* path, int flags, ...) __asm__("open64");
int InterposedOpen64(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeOf(flags, arguments);
  va_end(arguments);
  return Open(nextOpen64, path, flags, mode);
}

int InterposedOpenAt(int directory, const char* path, int flags, ...) __asm__("openat");
int InterposedOpenAt(int directory, const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeOf(flags, arguments);
  va_end(arguments);
  return OpenAt(nextOpenAt, directory, path, flags, mode);
}

int InterposedOpenAt64(int directory, const char* path, int flags, ...) __asm__("openat64");
int InterposedOpenAt64(int directory, const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeOf(flags, arguments);
  va_end(arguments);
  return OpenAt(nextOpenAt64, directory, path, flags, mode);
}

// What fortified programs call when the flags ask for no mode.
int InterposedOpen2(const char* path, int flags) __asm__("__open_2");
int InterposedOpen2(const char* path, int flags) { return Open(nextOpen, path, flags, 0); }

int InterposedOpen642(const char* path, int flags) __asm__("__open64_2");
int InterposedOpen642(const char* path, int flags) { return Open(nextOpen64, path, flags, 0); }

int InterposedOpenAt2(int directory, const char* path, int flags) __asm__("__openat_2");
int InterposedOpenAt2(int directory, const char* path, int flags) {
  return OpenAt(nextOpenAt, directory, path, flags, 0);
}

int InterposedOpenAt642(int directory, const char* path, int flags) __asm__("__openat64_2");
int InterposedOpenAt642(int directory, const char* path, int flags) {
  return OpenAt(nextOpenAt64, directory, path, flags, 0);
}

FILE* InterposedFopen(const char* path, const char* mode) __asm__("fopen");
FILE* InterposedFopen(const char* path, const char* mode) { return Fopen(nextFopen, path, mode); }

FILE* InterposedFopen64(const char* path, const char* mode) __asm__("fopen64");
FILE* InterposedFopen64(const char* path, const char* mode) {
  return Fopen(nextFopen64, path, mode);
}

// The C library closes a stream's descriptor without calling close().
int InterposedFclose(FILE* file) __asm__("fclose");
int InterposedFclose(FILE* file) {
  const int before = errno;  // fileno sets it for a stream without descriptor
  const int fd = fileno(file);
  errno = before;
  if (kernel::descriptorClaims.Of(fd) != kernel::Claim::kNone) kernel::Release(fd);
  auto* real = nextFclose.Get();
  return real != nullptr ? real(file) : EOF;
}

#pragma GCC visibility pop
}  // extern "C"

}  // namespace zosim::interpose
