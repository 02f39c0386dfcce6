#include "core/status.h"

#include <cerrno>

#include "core/device_record.h"

namespace {

struct StatusRow {
  ZoStatus code;
  const char* message;
};

constexpr StatusRow kStatusTable[] = {
    {ZO_STATUS_OK, "ok"},
    {ZO_STATUS_INTERNAL_ERROR, "internal error"},
    {ZO_STATUS_NO_MEMORY, "no memory"},
    {ZO_STATUS_DEVICE_NOT_FOUND, "device not found"},
    {ZO_STATUS_DEVICE_NOT_READY, "device not ready"},
    {ZO_STATUS_DEVICE_UNSUPPORTED, "device unsupported"},
    {ZO_STATUS_NOT_ENOUGH_SIZE, "not enough size"},
    {ZO_STATUS_NOT_YET, "not yet"},
    {ZO_STATUS_V4L2_ERROR, "V4L2 error"},
    {ZO_STATUS_FIRMWARE_ERROR, "firmware error"},
    {ZO_STATUS_SENSOR_ERROR, "sensor error"},
    {ZO_STATUS_NULL_POINTER, "null pointer"},
    {ZO_STATUS_INVALID_VALUE, "invalid value"},
    {ZO_STATUS_INVALID_STATE, "invalid state"},
    {ZO_STATUS_FILE_IO_ERROR, "file I/O error"},
    {ZO_STATUS_INVALID_FILE_FORMAT, "invalid file format"},
    {ZO_STATUS_END_OF_FILE, "end of file"},
};

}  // namespace

const char* ZoLib_GetErrorMessage(ZoStatus status) {
  for (const StatusRow& row : kStatusTable) {
    if (row.code == status) return row.message;
  }
  return "unknown";
}

uint32_t ZoLib_GetHostError(_ZoDev* dev) { return dev == nullptr ? 0 : dev->hostError.Load(); }
int32_t ZoLib_GetSensorError(_ZoDev* dev) { return dev == nullptr ? 0 : dev->sensorError.Load(); }
uint8_t ZoLib_GetFirmwareError(_ZoDev* dev) {
  return dev == nullptr ? uint8_t{0} : dev->firmwareError.Load();
}

void ZoLib_Priv_ClearError(_ZoDev* dev) {
  if (dev == nullptr) return;
  dev->hostError = 0;
  dev->sensorError = 0;
  dev->firmwareError = 0;
}

ZoStatus ZoLib_Priv_OsDepHostErrorToStatus(int32_t hostError) {
  return hostError == 0 ? ZO_STATUS_OK : ZO_STATUS_V4L2_ERROR;
}

ZoStatus ZoLib_Priv_HostErrorToStatus(_ZoDev* dev, uint32_t hostError) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  dev->hostError = hostError;
  return ZoLib_Priv_OsDepHostErrorToStatus(static_cast<int32_t>(hostError));
}

ZoStatus KeepFileError(_ZoDev& dev, ZoStatus status) {
  if (status == ZO_STATUS_FILE_IO_ERROR) {
    dev.hostError = static_cast<uint32_t>(errno != 0 ? errno : EIO);  // a short count gives none
  }
  return status;
}
