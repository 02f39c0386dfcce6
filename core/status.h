// The error block of a handle, and the platform's mapping of error numbers to statuses.
#ifndef ZOCAM_CORE_STATUS_H
#define ZOCAM_CORE_STATUS_H

#include "zocam/zocam.h"

extern "C" {

// Zeroes the three fields of the error block.
ZO_API void ZoLib_Priv_ClearError(_ZoDev* dev);

// 0 for 0, else 13: no error number is told apart from another.
ZO_API ZoStatus ZoLib_Priv_OsDepHostErrorToStatus(int32_t hostError);

// Keeps the number in the handle's hostError, also when it is 0, and maps it.
ZO_API ZoStatus ZoLib_Priv_HostErrorToStatus(_ZoDev* dev, uint32_t hostError);
}

// Keeps errno in the handle's hostError when the status says that a file failed. Gives the status
// back.
ZoStatus KeepFileError(_ZoDev& dev, ZoStatus status);

#endif
