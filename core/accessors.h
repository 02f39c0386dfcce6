// Accessors that are not part of the public interface.
#ifndef ZOCAM_CORE_ACCESSORS_H
#define ZOCAM_CORE_ACCESSORS_H

#include "zocam/zocam.h"

extern "C" {

// A byte of the camera's identity; 0 for null.
ZO_API uint8_t ZoLib_Priv_GetInfoFlags(_ZoDev* dev);

// Copy the first count bytes (at most 128) of the block that an application keeps in recordings.
ZO_API void ZoLib_Priv_GetExtInfo(_ZoDev* dev, void* destination, uint32_t count);
ZO_API void ZoLib_Priv_SetExtInfo(_ZoDev* dev, const void* source, uint32_t count);

// Whether the model profile may use the reference body; takes effect when the profile is set.
ZO_API void ZoLib_Priv_EnableRefTemp(_ZoDev* dev, uint32_t on);
}

#endif
