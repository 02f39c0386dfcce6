// Handles for tests.
#ifndef ZOCAM_TESTS_HANDLE_H
#define ZOCAM_TESTS_HANDLE_H

#include <memory>

#include "zocam/zocam.h"

struct ReleaseHandle {
  void operator()(_ZoDev* dev) const { ZoLib_Release(dev); }
};
using Handle = std::unique_ptr<_ZoDev, ReleaseHandle>;

// A handle that is bound to nothing.
inline Handle MakeHandle() {
  _ZoDev* dev = nullptr;
  ZoLib_CreateWithoutConnect(&dev);
  return Handle(dev);
}

// The handle of a camera at a node; null with the status when it cannot be opened.
inline Handle OpenNode(const char* path, ZoStatus* status = nullptr) {
  _ZoDev* dev = nullptr;
  uint32_t hostError = 0;
  const ZoStatus result = ZoLib_GetDeviceByDeviceFile(path, &dev, &hostError);
  if (status != nullptr) *status = result;
  return Handle(dev);
}

#endif
