#include "device/connection.h"

#include <fcntl.h>
#include <linux/usb/video.h>
#include <linux/uvcvideo.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "core/device_record.h"
#include "core/status.h"

namespace {

constexpr uint8_t kVendorExtensionUnit = 4;

int OpenNode(const char* path) {
  int fd = -1;
  do {
    errno = 0;
    fd = open(path, O_RDWR | O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

int QueryExtensionUnit(const _ZoDev& dev, uint8_t query, uint8_t selector, uint16_t size,
                       void* data) {
  uvc_xu_control_query transfer{};
  transfer.unit = kVendorExtensionUnit;
  transfer.selector = selector;
  transfer.query = query;
  transfer.size = size;
  transfer.data = static_cast<uint8_t*>(data);
  return ZoLib_Priv_ioctl(dev.deviceFd, UVCIOC_CTRL_QUERY, &transfer);
}

}  // namespace

ZoStatus ZoLib_Priv_OsDepInit(int32_t* /*refCount*/, uint32_t* /*hostError*/) {
  return ZO_STATUS_OK;
}

void ZoLib_Priv_OsDepUnInit(void) {}

void ZoLib_Priv_OsDepCreateWithoutConnect(_ZoDev* dev) {
  if (dev != nullptr) dev->deviceFd = -1;
}

uint32_t ZoLib_Priv_OsDepIsRealDevice(_ZoDev* dev) {
  return dev != nullptr && dev->deviceFd >= 0 ? 1 : 0;
}

ZoStatus ZoLib_Priv_OsDepCreate(_ZoDev* dev, openRequest* request) {
  if (dev == nullptr || request == nullptr) return ZO_STATUS_NULL_POINTER;
  dev->deviceFd = OpenNode(request->path);
  if (dev->deviceFd < 0) {
    const int error = errno;
    dev->deviceFd = -1;
    request->hostError = static_cast<uint32_t>(error);
    return ZoLib_Priv_OsDepHostErrorToStatus(error);
  }
  static_assert(sizeof dev->devicePath == sizeof request->path);
  std::memcpy(dev->devicePath, request->path, sizeof dev->devicePath);
  return ZO_STATUS_OK;
}

void ZoLib_Priv_OsDepRelease(_ZoDev* dev) {
  if (dev == nullptr || dev->deviceFd < 0) return;
  close(dev->deviceFd);
  dev->deviceFd = -1;
}

int ZoLib_Priv_ioctl(int fd, unsigned long request, void* argument) {
  int result = -1;
  do {
    errno = 0;
    result = ioctl(fd, request, argument);
  } while (result < 0 && errno == EINTR);
  return result < 0 ? errno : 0;
}

int ZoLib_Priv_OsDepXuSetProp(_ZoDev* dev, uint8_t selector, uint16_t size, void* data) {
  return dev == nullptr ? EINVAL : QueryExtensionUnit(*dev, UVC_SET_CUR, selector, size, data);
}

int ZoLib_Priv_OsDepXuGetProp(_ZoDev* dev, uint8_t selector, uint16_t size, void* data) {
  return dev == nullptr ? EINVAL : QueryExtensionUnit(*dev, UVC_GET_CUR, selector, size, data);
}

ZoStatus ZoLib_Priv_XuSetProp(_ZoDev* dev, uint8_t selector, uint16_t size, void* data) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  const int error = ZoLib_Priv_OsDepXuSetProp(dev, selector, size, data);
  return ZoLib_Priv_HostErrorToStatus(dev, static_cast<uint32_t>(error));
}

ZoStatus ZoLib_Priv_XuGetProp(_ZoDev* dev, uint8_t selector, uint16_t size, void* data) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  const int error = ZoLib_Priv_OsDepXuGetProp(dev, selector, size, data);
  return ZoLib_Priv_HostErrorToStatus(dev, static_cast<uint32_t>(error));
}

bool NodeExists(const char* path) {
  struct stat info {};
  return stat(path, &info) == 0;
}
