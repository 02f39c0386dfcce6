#include "device/enumeration.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>

#include "core/device_record.h"
#include "core/entry_guard.h"
#include "core/life_cycle.h"
#include "core/model_profile.h"
#include "core/status.h"
#include "device/open.h"
#include "device/sysfs.h"

namespace {

constexpr int32_t kNodeCount = 32;
constexpr std::string_view kNodePrefix = "/dev/video";

// The null-terminated array of opened handles. Releases them unless they are handed out.
class OpenedHandles {
 public:
  OpenedHandles() = default;
  OpenedHandles(const OpenedHandles&) = delete;
  OpenedHandles& operator=(const OpenedHandles&) = delete;
  ~OpenedHandles() {
    for (uint32_t i = 0; i < count_; ++i) ZoLib_Release(array_[i]);
    std::free(array_);
  }

  // False when there is no memory; the handle is then still the caller's.
  bool Append(_ZoDev* dev) {
    void* grown = std::realloc(array_, (std::size_t{count_} + 2) * sizeof(_ZoDev*));
    if (grown == nullptr) return false;
    array_ = static_cast<_ZoDev**>(grown);
    array_[count_++] = dev;
    array_[count_] = nullptr;
    return true;
  }

  uint32_t count() const { return count_; }

  _ZoDev** HandOut() {
    count_ = 0;
    return std::exchange(array_, nullptr);
  }

 private:
  _ZoDev** array_ = nullptr;
  uint32_t count_ = 0;
};

struct NodeIdentity {
  uint32_t vendorId = 0;
  uint32_t productId = 0;
  char name[kSysfsLineMax + 1] = {};

  bool Read(int32_t node) {
    return ZoLib_Priv_OsDepReadSysfsIdentity(node, &vendorId, &productId, name) != 0;
  }
  bool IsFamily() const { return ZoLib_Priv_CheckID(vendorId, productId) != 0; }
};

// Opens the request's node and gives the handle the name that sysfs shows.
ZoStatus OpenNamed(openRequest& request, const NodeIdentity& identity, _ZoDev** dev) {
  const ZoStatus status = ZoLib_Priv_Create(dev, &request);
  if (status != ZO_STATUS_OK) return status;
  static_assert(sizeof identity.name <= sizeof(_ZoDev::productName));
  std::memcpy((*dev)->productName, identity.name, sizeof identity.name);
  return ZO_STATUS_OK;
}

ZoStatus ScanNodes(KnownHandles& known, OpenedHandles& opened, uint32_t& lastHostError) {
  for (int32_t node = 0; node < kNodeCount; ++node) {
    openRequest request{};
    std::snprintf(request.path, sizeof request.path, "/dev/video%d", node);
    if (known.erase(request.path) != 0) continue;  // the application's handle is left alone
    NodeIdentity identity;
    if (!identity.Read(node)) break;  // nodes are taken to be numbered without gaps
    if (!identity.IsFamily()) continue;
    _ZoDev* dev = nullptr;
    if (OpenNamed(request, identity, &dev) != ZO_STATUS_OK) {
      lastHostError = request.hostError;
    } else if (!opened.Append(dev)) {
      ZoLib_Release(dev);
      return ZO_STATUS_NO_MEMORY;
    }
  }
  return ZO_STATUS_OK;
}

KnownHandles MapByPath(std::span<_ZoDev* const> handles) {
  KnownHandles known;
  for (_ZoDev* dev : handles) {
    if (dev != nullptr) known[dev->devicePath] = dev;
  }
  return known;
}

// An array of exactly the map's handles, in path order; null for none.
ZoStatus ListRemoved(const KnownHandles& gone, MallocPtr<_ZoDev*[]>& removed) {
  if (gone.empty()) return ZO_STATUS_OK;
  removed = AllocateZeroed<_ZoDev*>(gone.size());
  if (!removed) return ZO_STATUS_NO_MEMORY;
  std::size_t next = 0;
  for (const auto& [path, dev] : gone) removed[next++] = dev;
  return ZO_STATUS_OK;
}

void ReleaseHandles(_ZoDev** devices) {
  for (_ZoDev** dev = devices; dev != nullptr && *dev != nullptr; ++dev) ZoLib_Release(*dev);
  ZoLib_ReleaseArray(devices);
}

// The number in "/dev/videoN", or -1.
int32_t NodeNumber(std::string_view path) {
  if (!path.starts_with(kNodePrefix)) return -1;
  path.remove_prefix(kNodePrefix.size());
  int32_t number = -1;
  const auto [end, error] = std::from_chars(path.data(), path.data() + path.size(), number);
  return error == std::errc{} ? number : -1;
}

}  // namespace

ZoStatus ZoLib_Priv_OsDepGetDevices(int32_t* /*refCount*/, _ZoDev*** devices, uint32_t* count,
                                    KnownHandles* known, uint32_t* hostError) {
  if (devices == nullptr || count == nullptr || known == nullptr || hostError == nullptr) {
    return ZO_STATUS_NULL_POINTER;
  }
  OpenedHandles opened;
  uint32_t lastHostError = 0;
  const ZoStatus status = ScanNodes(*known, opened, lastHostError);
  if (status != ZO_STATUS_OK) return status;
  *count = opened.count();
  if (*count != 0) {
    *devices = opened.HandOut();
    return ZO_STATUS_OK;
  }
  if (lastHostError == 0) return ZO_STATUS_DEVICE_NOT_FOUND;
  *hostError = lastHostError;
  return ZoLib_Priv_OsDepHostErrorToStatus(static_cast<int32_t>(lastHostError));
}

ZoStatus ZoLib_GetDevicesDiff(_ZoDev*** devices, uint32_t* count, _ZoDev*** removed,
                              uint32_t* removedCount, _ZoDev** known, int32_t knownCount,
                              uint32_t* hostError) {
  if (devices == nullptr || count == nullptr || hostError == nullptr) {
    return ZO_STATUS_NULL_POINTER;
  }
  return GuardedEntry([&]() -> ZoStatus {
    ZoStatus status = ZoLib_Priv_Init(hostError);
    if (status != ZO_STATUS_OK) return status;
    struct GiveBackUser {
      ~GiveBackUser() { ZoLib_Priv_UnInit(); }
    } giveBack;

    KnownHandles remaining;
    if (known != nullptr && knownCount >= 1) {
      remaining = MapByPath({known, static_cast<std::size_t>(knownCount)});
    }
    _ZoDev** opened = nullptr;
    uint32_t openedCount = 0;
    status =
        ZoLib_Priv_OsDepGetDevices(LibraryRefCount(), &opened, &openedCount, &remaining, hostError);
    if (status != ZO_STATUS_OK && status != ZO_STATUS_DEVICE_NOT_FOUND) return status;

    if (removed != nullptr) {
      MallocPtr<_ZoDev*[]> list;
      if (ListRemoved(remaining, list) != ZO_STATUS_OK) {
        ReleaseHandles(opened);
        return ZO_STATUS_NO_MEMORY;
      }
      *removed = list.release();
    }
    if (removedCount != nullptr) *removedCount = static_cast<uint32_t>(remaining.size());
    *devices = opened;
    *count = openedCount;
    return status;
  });
}

ZoStatus ZoLib_GetDevices(_ZoDev*** devices, uint32_t* count, uint32_t* hostError) {
  return ZoLib_GetDevicesDiff(devices, count, nullptr, nullptr, nullptr, 0, hostError);
}

ZoStatus ZoLib_GetDeviceByDeviceFile(const char* path, _ZoDev** dev, uint32_t* hostError) {
  if (path == nullptr || dev == nullptr || hostError == nullptr) return ZO_STATUS_NULL_POINTER;
  openRequest request{};
  const std::size_t length = strnlen(path, sizeof request.path);
  if (length == sizeof request.path) return ZO_STATUS_INVALID_VALUE;
  const int32_t node = NodeNumber(path);
  if (node < 0 || !NodeExists(path)) return ZO_STATUS_DEVICE_NOT_FOUND;
  NodeIdentity identity;
  if (!identity.Read(node) || !identity.IsFamily()) return ZO_STATUS_DEVICE_NOT_FOUND;

  std::memcpy(request.path, path, length);
  _ZoDev* opened = nullptr;
  const ZoStatus status = OpenNamed(request, identity, &opened);
  if (status != ZO_STATUS_OK) {
    *hostError = request.hostError;
    return status;
  }
  *dev = opened;
  return ZO_STATUS_OK;
}
