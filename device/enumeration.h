// Walking the V4L2 nodes for cameras of the family.
#ifndef ZOCAM_DEVICE_ENUMERATION_H
#define ZOCAM_DEVICE_ENUMERATION_H

#include <map>
#include <string>

#include "zocam/zocam.h"

// Handles that the application holds, by device path.
using KnownHandles = std::map<std::string, _ZoDev*>;

extern "C" {

// Opens every camera that is not known and removes from known what it met. 20, 2, 3, 13: see
// ZoLib_GetDevices.
ZO_API ZoStatus ZoLib_Priv_OsDepGetDevices(int32_t* refCount, _ZoDev*** devices, uint32_t* count,
                                           KnownHandles* known, uint32_t* hostError);
}

#endif
