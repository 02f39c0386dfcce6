#include <cerrno>

#include "capture/capture_control.h"
#include "core/callback_thread.h"
#include "core/clocks.h"
#include "core/device_record.h"
#include "device/connection.h"

namespace {

constexpr uint16_t kReconnectRequest = 0x8000;
constexpr int kNodeChecks = 5;
constexpr uint32_t kNodeCheckMs = 1000;

// Marks the handle unconnected and waits until no command is under way: one that polls would
// otherwise find the handle connected again, or its node closed.
void EndCommands(_ZoDev* dev) {
  dev->connected = 0;
  const ScopedLock lock(*dev->commandLock);
}

}  // namespace

ZoStatus ZoLib_Priv_OsDepReconnect(_ZoDev* dev) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  if (RunsCallbacksOf(dev)) return ZO_STATUS_INVALID_STATE;
  if (dev->isFileHandle) return ZO_STATUS_INVALID_STATE;
  EndStream(dev);
  EndCommands(dev);

  dev->connected = 1;
  dev->capturing = 1;
  uint16_t config = 0;
  const ZoStatus status = ZoLib_GetConfig(dev, &config);
  if (status == ZO_STATUS_OK) ZoLib_SetConfig(dev, config | kReconnectRequest);
  const bool vanished = dev->disconnected != 0 || dev->hostError == ENODEV;
  // A camera that cannot be asked keeps its node open, but the node of one that has vanished is
  // dead: holding it would keep its number from the camera that is plugged in next.
  const bool closes = status == ZO_STATUS_OK || vanished;
  EndCommands(dev);
  if (closes) ZoLib_Priv_OsDepRelease(dev);
  dev->capturing = 0;
  if (status != ZO_STATUS_OK) return status;

  for (int check = 0; check < kNodeChecks; ++check) {
    ZoLib_Priv_Sleep(kNodeCheckMs);
    if (NodeExists(dev->devicePath)) return ZO_STATUS_OK;
  }
  return ZO_STATUS_DEVICE_NOT_FOUND;
}
