// Camera models: what follows from a handle's USB identifiers.
#ifndef ZOCAM_CORE_MODEL_PROFILE_H
#define ZOCAM_CORE_MODEL_PROFILE_H

#include "zocam/zocam.h"

extern "C" {

// 1 when the identifiers belong to the family.
ZO_API uint32_t ZoLib_Priv_CheckID(uint32_t vendorId, uint32_t productId);

// Writes the model's profile into the handle, whose identifiers are set, and allocates its gain
// image (zeroed) and gain mask (all 1). Call once per handle. When memory was short,
// ProfileIsComplete tells.
ZO_API void ZoLib_Priv_SetFrameSpecByVIDPID(_ZoDev* dev);
}

bool ProfileIsComplete(const _ZoDev& dev);

#endif
