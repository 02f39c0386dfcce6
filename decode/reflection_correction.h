// Reflection correction of a handle: see zocam.h. All of it takes decodeLock.
#ifndef ZOCAM_DECODE_REFLECTION_CORRECTION_H
#define ZOCAM_DECODE_REFLECTION_CORRECTION_H

#include "zocam/zocam.h"

extern "C" {

// Size in bytes of a correction image of the handle's model.
ZO_API uint32_t ZoLib_Priv_GetReflectCorrFmtSize(_ZoDev* dev);
}

#endif
