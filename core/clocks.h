// Sleeping, clocks in milliseconds, and calendar times.
#ifndef ZOCAM_CORE_CLOCKS_H
#define ZOCAM_CORE_CLOCKS_H

#include "zocam/zocam.h"

extern "C" {

// Sleeps ms milliseconds, signals notwithstanding; 0xFFFFFFFF sleeps until a signal arrives.
ZO_API void ZoLib_Priv_Sleep(uint32_t ms);

// Milliseconds since 1970-01-01 00:00 UTC.
ZO_API uint64_t ZoLib_Priv_GetSysTime(void);

// Now, in the local time zone and in UTC.
ZO_API void ZoLib_Priv_GetLocalDateTime(DateTime16* time);
ZO_API void ZoLib_Priv_GetSysDateTime(DateTime16* time);

// Turns a UTC time (its day of week is not looked at) into the local time zone.
ZO_API void ZoLib_Priv_SysTimeToLocalTime(const DateTime16* utc, DateTime16* local);
}

// Milliseconds of clocks that nobody sets, for intervals: one that stands still while the machine
// sleeps, and one that does not.
uint64_t SteadyTimeMs();
uint64_t SteadyTimeWithSleepMs();

#endif
