// open and close of nodes and sysfs files.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

#include "sim/kernel/calls.h"
#include "sim/kernel/claims.h"
#include "sim/kernel/host_state.h"

namespace zosim::kernel {
namespace {

using std::chrono::milliseconds;

constexpr auto kSuspendsAfter = std::chrono::seconds(2);

int OpenSysfsFile(const std::string& content, int flags) {
  if ((flags & O_ACCMODE) != O_RDONLY) return -EACCES;
  if ((flags & O_DIRECTORY) != 0) return -ENOTDIR;
  const int fd = memfd_create("zosim-sysfs", (flags & O_CLOEXEC) != 0 ? MFD_CLOEXEC : 0);
  if (fd < 0) return -errno;
  const bool written =
      write(fd, content.data(), content.size()) == static_cast<ssize_t>(content.size());
  lseek(fd, 0, SEEK_SET);
  if (written) return fd;
  close(fd);
  return -EIO;
}

int OpenSysfsDirectory(HostState& host, const std::string& path, int flags) {
  if ((flags & O_ACCMODE) != O_RDONLY) return -EISDIR;
  // A place holder that keeps the number; what is in the directory comes from the tree.
  const int fd = open("/", O_PATH | O_DIRECTORY | (flags & O_CLOEXEC));
  if (fd < 0) return -errno;
  if (fd >= DescriptorClaims::kMost) {
    close(fd);
    return -EMFILE;
  }
  host.directories[fd] = path;
  descriptorClaims.Set(fd, Claim::kDirectory);
  return fd;
}

// What the camera has to say about an open: errno, or 0 after it woke up.
int AskCamera(Lock& lock, CameraState& camera) {
  RunHooks(lock, camera, Moment::kBeforeOpen);
  if (const int error = camera.faults.Take(Step::kOpen)) return error;
  if (camera.accessDenied) return EACCES;
  const bool asleep = camera.openFiles == 0 &&
                      std::chrono::steady_clock::now() - camera.lastClosed > kSuspendsAfter;
  if (asleep && camera.timings.wakeUpMs > 0) {
    const milliseconds wakeUp(camera.timings.wakeUpMs);
    lock.unlock();
    std::this_thread::sleep_for(wakeUp);
    lock.lock();
  }
  return 0;
}

int OpenNode(Lock& lock, HostState& host, int number, int flags) {
  std::shared_ptr<VideoNode> node = host.numbers[number].lock();
  std::shared_ptr<Attachment> attachment = node ? node->attachment.lock() : nullptr;
  if (attachment == nullptr) return -ENXIO;
  if ((flags & O_DIRECTORY) != 0) return -ENOTDIR;
  LogEntry entry;
  entry.call = Call::kOpen;
  entry.name = "open";
  entry.node = number;
  if (attachment->camera != nullptr) entry.error = AskCamera(lock, *attachment->camera);
  if (entry.error == 0 && !attachment->registered) entry.error = ENODEV;
  int fd = -1;
  if (entry.error == 0) {
    int timerFlags = 0;
    if ((flags & O_NONBLOCK) != 0) timerFlags |= TFD_NONBLOCK;
    if ((flags & O_CLOEXEC) != 0) timerFlags |= TFD_CLOEXEC;
    fd = timerfd_create(CLOCK_MONOTONIC, timerFlags);
    if (fd < 0) entry.error = errno;
    if (fd >= DescriptorClaims::kMost) {
      close(fd);
      entry.error = EMFILE;
    }
  }
  entry.fd = entry.error == 0 ? fd : -1;
  host.log.Add(entry);
  if (entry.error != 0) return -entry.error;
  host.files[fd] = std::make_shared<OpenFile>(std::move(node), std::move(attachment), fd);
  descriptorClaims.Set(fd, Claim::kVideoNode);
  return fd;
}

}  // namespace

int Open(const std::string& path, int flags) {
  HostState& host = State();
  Lock lock(host.mutex);
  Advance(host);
  const auto found = host.paths.Find(path);
  if (!found) return (flags & O_CREAT) != 0 ? -EACCES : -ENOENT;
  int result = 0;
  switch (found->entry.kind) {
    case PathEntry::Kind::kVideoNode:
      result = OpenNode(lock, host, found->entry.number, flags);
      break;
    case PathEntry::Kind::kFile:
      return OpenSysfsFile(found->entry.text, flags);
    default:
      return OpenSysfsDirectory(host, found->path, flags);
  }
  UpdateWakeups(host);
  return result;
}

void Release(int fd) {
  HostState& host = State();
  Lock lock(host.mutex);
  Advance(host);
  descriptorClaims.Set(fd, Claim::kNone);
  host.directories.erase(fd);
  const auto found = host.files.find(fd);
  if (found != host.files.end()) {
    LogEntry entry;
    entry.call = Call::kClose;
    entry.name = "close";
    entry.node = found->second->node->number;
    entry.fd = fd;
    host.log.Add(entry);
    host.files.erase(found);
  }
  UpdateWakeups(host);
}

}  // namespace zosim::kernel
