// Making and ending handles, and the process-wide count of library users.
#ifndef ZOCAM_CORE_LIFE_CYCLE_H
#define ZOCAM_CORE_LIFE_CYCLE_H

#include "zocam/zocam.h"

extern "C" {

// Takes and gives back one library user. The count has no lock: one thread at a time.
ZO_API ZoStatus ZoLib_Priv_Init(uint32_t* hostError);
ZO_API void ZoLib_Priv_UnInit(void);
}

// The count itself, which the platform scan is handed.
int32_t* LibraryRefCount();

#endif
