// Listings of /dev, where the virtual nodes take the place of real video nodes, and of sysfs
// directories.
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "sim/interpose/covered_path.h"
#include "sim/interpose/next_call.h"
#include "sim/kernel/calls.h"
#include "sim/kernel/claims.h"

namespace zosim::interpose {
namespace {

using Entry = struct dirent;  // the same as struct dirent64 where off_t has 64 bits

constinit NextCall<DIR*(const char*)> nextOpenDir("opendir");
constinit NextCall<DIR*(int)> nextFdOpenDir("fdopendir");
constinit NextCall<Entry*(DIR*)> nextReadDir("readdir");
constinit NextCall<int(DIR*)> nextCloseDir("closedir");
constinit NextCall<void(DIR*)> nextRewindDir("rewinddir");
constinit NextCall<int(DIR*)> nextDirFd("dirfd");

// What a program gets for a DIR* of one of our directories.
struct Listing {
  DIR* real = nullptr;  // the real /dev; null for sysfs directories
  int fd = -1;          // of a sysfs directory
  std::vector<std::string> names;
  size_t next = 0;
  Entry entry = {};
};

std::mutex listingsMutex;  // guards `listings`
std::set<const void*>& Listings() {
  static auto* const listings = new std::set<const void*>;
  return *listings;
}
constinit std::atomic<int> listingCount = 0;

// Null for the C library's own directory streams.
Listing* ListingOf(DIR* directory) {
  if (listingCount.load(std::memory_order_acquire) == 0) return nullptr;
  std::lock_guard lock(listingsMutex);
  return Listings().contains(directory) ? reinterpret_cast<Listing*>(directory) : nullptr;
}

DIR* Register(std::unique_ptr<Listing> listing) {
  std::lock_guard lock(listingsMutex);
  Listings().insert(listing.get());
  listingCount.fetch_add(1, std::memory_order_release);
  return reinterpret_cast<DIR*>(listing.release());
}

DIR* ListDevices(DIR* real) {
  if (real == nullptr) return nullptr;
  auto listing = std::make_unique<Listing>();
  listing->real = real;
  listing->names = kernel::VideoNodeNames();
  return Register(std::move(listing));
}

DIR* ListSysfs(int fd) {
  auto listing = std::make_unique<Listing>();
  listing->fd = fd;
  const Errno error;
  const int result = kernel::ListDirectory(kernel::DirectoryPath(fd), &listing->names);
  if (error.ReturnInt(result) < 0) return nullptr;
  listing->names.insert(listing->names.begin(), {".", ".."});
  return Register(std::move(listing));
}

DIR* OpenDirectory(const char* path) {
  auto* real = nextOpenDir.Get();
  if (IsDeviceDirectory(path)) return ListDevices(real(path));
  if (!MightBeCovered(AT_FDCWD, path)) return real != nullptr ? real(path) : nullptr;
  const auto covered = CoveredPath(AT_FDCWD, path);
  if (!covered) return real(path);
  const Errno error;
  const int fd = error.ReturnInt(kernel::Open(*covered, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return fd < 0 ? nullptr : ListSysfs(fd);
}

DIR* OpenDirectory(int fd) {
  if (kernel::descriptorClaims.Of(fd) == kernel::Claim::kDirectory) return ListSysfs(fd);
  auto* real = nextFdOpenDir.Get();
  DIR* directory = real != nullptr ? real(fd) : nullptr;
  return IsDeviceDirectory(fd) ? ListDevices(directory) : directory;
}

Entry* Read(Listing& listing) {
  if (listing.real != nullptr) {
    while (Entry* entry = nextReadDir.Get()(listing.real)) {
      if (std::strncmp(entry->d_name, "video", 5) != 0) return entry;
    }
  }
  if (listing.next == listing.names.size()) return nullptr;
  const std::string& name = listing.names[listing.next++];
  listing.entry.d_ino = 1000 + listing.next;
  listing.entry.d_reclen = sizeof listing.entry;
  listing.entry.d_type = listing.real != nullptr ? DT_CHR : DT_UNKNOWN;
  std::strncpy(listing.entry.d_name, name.c_str(), sizeof listing.entry.d_name - 1);
  return &listing.entry;
}

Entry* ReadDirectory(DIR* directory) {
  if (Listing* listing = ListingOf(directory)) return Read(*listing);
  auto* real = nextReadDir.Get();
  return real != nullptr ? real(directory) : nullptr;
}

}  // namespace

extern "C" {
#pragma GCC visibility push(default)

DIR* InterposedOpenDir(const char* path) __asm__("opendir");
DIR* InterposedOpenDir(const char* path) { return OpenDirectory(path); }

DIR* InterposedFdOpenDir(int fd) __asm__("fdopendir");
DIR* InterposedFdOpenDir(int fd) { return OpenDirectory(fd); }

Entry* InterposedReadDir(DIR* directory) __asm__("readdir");
Entry* InterposedReadDir(DIR* directory) { return ReadDirectory(directory); }
Entry* InterposedReadDir64(DIR* directory) __asm__("readdir64");
Entry* InterposedReadDir64(DIR* directory) { return ReadDirectory(directory); }

int InterposedCloseDir(DIR* directory) __asm__("closedir");
int InterposedCloseDir(DIR* directory) {
  Listing* listing = ListingOf(directory);
  if (listing == nullptr) return nextCloseDir.Get()(directory);
  {
    std::lock_guard lock(listingsMutex);
    Listings().erase(listing);
    listingCount.fetch_sub(1, std::memory_order_release);
  }
  const std::unique_ptr<Listing> owned(listing);
  return owned->real != nullptr ? nextCloseDir.Get()(owned->real) : close(owned->fd);
}

void InterposedRewindDir(DIR* directory) __asm__("rewinddir");
void InterposedRewindDir(DIR* directory) {
  Listing* listing = ListingOf(directory);
  if (listing != nullptr) listing->next = 0;
  DIR* real = listing != nullptr ? listing->real : directory;
  if (real != nullptr) nextRewindDir.Get()(real);
}

int InterposedDirFd(DIR* directory) __asm__("dirfd");
int InterposedDirFd(DIR* directory) {
  Listing* listing = ListingOf(directory);
  if (listing == nullptr) return nextDirFd.Get()(directory);
  return listing->real != nullptr ? nextDirFd.Get()(listing->real) : listing->fd;
}

#pragma GCC visibility pop
}  // extern "C"

}  // namespace zosim::interpose
