#include "fuzz/scripted_camera.h"

#include <fcntl.h>
#include <linux/usb/video.h>
#include <linux/uvcvideo.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdarg>
#include <ctime>

namespace {

ScriptedCamera* current = nullptr;

bool IsScripted(const char* path) {
  return current != nullptr && path != nullptr &&
         (std::strncmp(path, "/dev/video", 10) == 0 || std::strncmp(path, "/sys/", 5) == 0);
}

}  // namespace

ScriptedCamera::ScriptedCamera(Input& answers) : answers_(answers) { current = this; }

ScriptedCamera::~ScriptedCamera() {
  current = nullptr;
  Expect(openNodes_ == 0, "every node that was opened is closed");
}

int ScriptedCamera::Outcome() {
  constexpr int kErrors[] = {EINTR, EIO, ENODEV, ENOENT, EACCES, EBUSY, EMFILE, EBADF};
  const uint8_t choice = answers_.Byte();
  return choice < 0xE0 ? 0 : kErrors[choice % std::size(kErrors)];
}

bool ScriptedCamera::NodeExists() { return Outcome() == 0; }

int ScriptedCamera::Open() {
  errno = Outcome();
  if (errno != 0) return -1;
  return kScriptedFd + openNodes_++;
}

int ScriptedCamera::Query(uint8_t* data, std::size_t size) {
  errno = Outcome();
  if (errno != 0) return -1;
  // A short answer leaves the rest as it was, as a driver may.
  const std::size_t answered = (answers_.Byte() & 15) == 15 ? answers_.Byte() % (size + 1) : size;
  for (std::size_t i = 0; i < answered; ++i) data[i] = answers_.Byte();
  if (victim_ != nullptr && !answers_.empty() && answers_.Byte() == 0xFF) {
    ZoLib_Invalidate(victim_);
  }
  return 0;
}

std::FILE* ScriptedCamera::OpenAttribute() {
  errno = Outcome();
  if (errno != 0) return nullptr;
  const auto text = answers_.Piece();
  if (text.empty()) return std::fopen("/dev/null", "re");
  // Read only, and the input outlives every file.
  return fmemopen(const_cast<uint8_t*>(text.data()), text.size(), "r");
}

// The linker's names for the functions that stand in front of libc's.
extern "C" {

int __real_open(const char* path, int flags, ...);
int __real_close(int fd);
int __real_ioctl(int fd, unsigned long request, void* argument);
int __real_stat(const char* path, struct stat* info);
std::FILE* __real_fopen(const char* path, const char* mode);
int __real_nanosleep(const timespec* time, timespec* remaining);

int __wrap_open(const char* path, int flags, ...) {
  if (IsScripted(path)) return current->Open();
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  return __real_open(path, flags, mode);
}

int __wrap_close(int fd) {
  if (fd < kScriptedFd) return __real_close(fd);
  if (current != nullptr) current->CloseNode();
  return 0;
}

int __wrap_ioctl(int fd, unsigned long request, void* argument) {
  if (fd < kScriptedFd || current == nullptr) return __real_ioctl(fd, request, argument);
  Expect(request == UVCIOC_CTRL_QUERY, "commands talk to the extension unit only");
  const auto* query = static_cast<const uvc_xu_control_query*>(argument);
  if (query->query == UVC_GET_CUR) return current->Query(query->data, query->size);
  Bytes sent(query->data, query->data + query->size);  // reads all that the driver would
  return current->Query(sent.data(), 0);
}

int __wrap_stat(const char* path, struct stat* info) {
  if (!IsScripted(path)) return __real_stat(path, info);
  return current->NodeExists() ? 0 : -1;
}

std::FILE* __wrap_fopen(const char* path, const char* mode) {
  return IsScripted(path) ? current->OpenAttribute() : __real_fopen(path, mode);
}

int __wrap_nanosleep(const timespec* time, timespec* remaining) {
  return current != nullptr ? 0 : __real_nanosleep(time, remaining);
}
}
