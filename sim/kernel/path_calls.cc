// Looking at paths: stat, access, links, listings.
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>

#include "sim/kernel/calls.h"
#include "sim/kernel/host_state.h"

namespace zosim::kernel {
namespace {

constexpr unsigned kVideoMajor = 81;

std::optional<PathTree::Found> Find(HostState& host, const std::string& path, bool followLast) {
  Lock lock(host.mutex);
  Advance(host);
  UpdateWakeups(host);
  return host.paths.Find(path, followLast);
}

void Describe(const PathEntry& entry, struct stat* result) {
  *result = {};
  result->st_nlink = 1;
  result->st_blksize = 4096;
  switch (entry.kind) {
    case PathEntry::Kind::kDirectory:
      result->st_mode = S_IFDIR | 0755;
      break;
    case PathEntry::Kind::kFile:
      result->st_mode = S_IFREG | 0444;
      result->st_size = 4096;  // as every sysfs file claims
      break;
    case PathEntry::Kind::kLink:
      result->st_mode = S_IFLNK | 0777;
      result->st_size = static_cast<off_t>(entry.text.size());
      break;
    case PathEntry::Kind::kVideoNode:
      result->st_mode = S_IFCHR | 0660;
      result->st_rdev = makedev(kVideoMajor, static_cast<unsigned>(entry.number));
      result->st_ino = 1000 + static_cast<ino_t>(entry.number);
      break;
  }
}

}  // namespace

int Stat(const std::string& path, bool followLast, struct stat* result) {
  const auto found = Find(State(), path, followLast);
  if (!found) return -ENOENT;
  Describe(found->entry, result);
  return 0;
}

int StatDescriptor(int fd, struct stat* result) {
  HostState& host = State();
  Lock lock(host.mutex);
  PathEntry entry;
  const auto file = host.files.find(fd);
  if (file != host.files.end()) {
    entry.kind = PathEntry::Kind::kVideoNode;
    entry.number = file->second->node->number;
  } else if (!host.directories.contains(fd)) {
    return -EBADF;
  }
  Describe(entry, result);
  return 0;
}

int Access(const std::string& path, int mode) {
  HostState& host = State();
  const auto found = Find(host, path, true);
  if (!found) return -ENOENT;
  if (found->entry.kind == PathEntry::Kind::kVideoNode) {
    Lock lock(host.mutex);
    const auto node = host.numbers[found->entry.number].lock();
    const auto attachment = node ? node->attachment.lock() : nullptr;
    const bool denied =
        attachment != nullptr && attachment->camera != nullptr && attachment->camera->accessDenied;
    return denied && (mode & (R_OK | W_OK)) != 0 ? -EACCES : 0;
  }
  return (mode & W_OK) != 0 ? -EACCES : 0;
}

int ReadLink(const std::string& path, std::string* target) {
  const auto found = Find(State(), path, false);
  if (!found) return -ENOENT;
  if (found->entry.kind != PathEntry::Kind::kLink) return -EINVAL;
  *target = found->entry.text;
  return 0;
}

int RealPath(const std::string& path, std::string* result) {
  const auto found = Find(State(), path, true);
  if (!found) return -ENOENT;
  *result = found->path;
  return 0;
}

int ListDirectory(const std::string& path, std::vector<std::string>* names) {
  HostState& host = State();
  const auto found = Find(host, path, true);
  if (!found) return -ENOENT;
  if (found->entry.kind != PathEntry::Kind::kDirectory) return -ENOTDIR;
  Lock lock(host.mutex);
  *names = host.paths.NamesIn(found->path);
  return 0;
}

std::vector<std::string> VideoNodeNames() {
  HostState& host = State();
  Lock lock(host.mutex);
  Advance(host);
  UpdateWakeups(host);
  return host.paths.NamesIn("/dev");
}

std::string DirectoryPath(int fd) {
  HostState& host = State();
  Lock lock(host.mutex);
  const auto found = host.directories.find(fd);
  return found == host.directories.end() ? std::string() : found->second;
}

}  // namespace zosim::kernel
