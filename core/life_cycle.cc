#include "core/life_cycle.h"

#include <memory>
#include <new>

#include "capture/capture_control.h"
#include "core/callback_thread.h"
#include "core/device_record.h"
#include "device/connection.h"

namespace {

int32_t libraryRefCount = 0;

bool MakeLocks(_ZoDev& dev) {
  dev.commandLock.reset(new (std::nothrow) PInProcMutex);
  dev.decodeLock.reset(new (std::nothrow) PInProcMutex);
  dev.fileLock.reset(new (std::nothrow) PInProcMutex);
  dev.readerStateCond.reset(new (std::nothrow) PInProcCond);
  dev.readerWakeCond.reset(new (std::nothrow) PInProcCond);
  return dev.commandLock && dev.decodeLock && dev.fileLock && dev.readerStateCond &&
         dev.readerWakeCond;
}

void FreeRecord(_ZoDev* dev) {
  std::destroy_at(dev);
  std::free(dev);
}

// A new record in malloc memory with its locks; null when there is no memory.
_ZoDev* MakeRecord() {
  void* memory = std::malloc(sizeof(_ZoDev));
  if (memory == nullptr) return nullptr;
  auto* dev = new (memory) _ZoDev;
  if (MakeLocks(*dev)) return dev;
  FreeRecord(dev);
  return nullptr;
}

}  // namespace

int32_t* LibraryRefCount() { return &libraryRefCount; }

ZoStatus ZoLib_CreateWithoutConnect(_ZoDev** dev) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  _ZoDev* record = MakeRecord();
  if (record == nullptr) return ZO_STATUS_NO_MEMORY;
  ZoLib_Priv_OsDepCreateWithoutConnect(record);
  *dev = record;
  return ZO_STATUS_OK;
}

ZoStatus ZoLib_Priv_Init(uint32_t* hostError) {
  if (libraryRefCount >= 1) {
    ++libraryRefCount;
    return ZO_STATUS_OK;
  }
  const ZoStatus status = ZoLib_Priv_OsDepInit(&libraryRefCount, hostError);
  if (status == ZO_STATUS_OK) libraryRefCount = 1;
  return status;
}

void ZoLib_Priv_UnInit(void) {
  if (libraryRefCount <= 0) return;
  --libraryRefCount;
  if (libraryRefCount == 0) ZoLib_Priv_OsDepUnInit();
}

void ZoLib_Release(_ZoDev* dev) {
  if (dev == nullptr || RunsCallbacksOf(dev)) return;
  // The handle's thread ends first: it uses the node, the locks and the buffers.
  ZoLib_CaptureRelease(dev);
  ZoLib_Priv_OsDepRelease(dev);
  FreeRecord(dev);
}

void ZoLib_ReleaseArray(void* array) { std::free(array); }

void ZoLib_Invalidate(_ZoDev* dev) {
  if (dev != nullptr) dev->connected = 0;
}

uint32_t ZoLib_IsRealDevice(_ZoDev* dev) {
  return dev == nullptr ? 0 : ZoLib_Priv_OsDepIsRealDevice(dev);
}

ZoStatus ZoLib_Reconnect(_ZoDev* dev) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  return ZoLib_Priv_OsDepReconnect(dev);
}
