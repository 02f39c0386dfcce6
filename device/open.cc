#include "device/open.h"

#include <memory>

#include "core/device_record.h"
#include "core/life_cycle.h"
#include "core/model_profile.h"
#include "device/commands.h"

namespace {

constexpr uint16_t kProductWithClock = 0x6110;

using Handle = std::unique_ptr<_ZoDev, decltype([](_ZoDev* dev) { ZoLib_Release(dev); })>;

ZoStatus ReadIdentity(_ZoDev* dev) {
  const ZoStatus status = ZoLib_Priv_DeviceGetInfo(dev);
  if (status != ZO_STATUS_OK) return status;
  if (dev->identityBlock.firmwareVersion < ZoLib_GetSupportedFWVersion()) {
    dev->connected = 0;
    return ZO_STATUS_DEVICE_UNSUPPORTED;
  }
  return ZO_STATUS_OK;
}

}  // namespace

ZoStatus ZoLib_Priv_Create(_ZoDev** dev, openRequest* request) {
  if (dev == nullptr || request == nullptr) return ZO_STATUS_NULL_POINTER;
  _ZoDev* created = nullptr;
  ZoStatus status = ZoLib_CreateWithoutConnect(&created);
  if (status != ZO_STATUS_OK) return status;
  Handle handle(created);

  status = ZoLib_Priv_Init(&request->hostError);
  if (status != ZO_STATUS_OK) return status;
  handle->connected = 1;
  status = ZoLib_Priv_OsDepCreate(handle.get(), request);
  if (status != ZO_STATUS_OK) return status;
  if (ZoLib_Priv_OsDepIsRealDevice(handle.get()) != 0) {
    status = ReadIdentity(handle.get());
    if (status != ZO_STATUS_OK) return status;
  }
  ZoLib_Priv_SetFrameSpecByVIDPID(handle.get());
  if (!ProfileIsComplete(*handle)) return ZO_STATUS_NO_MEMORY;
  if (handle->identityBlock.productId == kProductWithClock) {
    ZoLib_Priv_SetTime(handle.get());  // a camera without its clock still streams
  }
  *dev = handle.release();
  return ZO_STATUS_OK;
}
