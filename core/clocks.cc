#include "core/clocks.h"

#include <sys/select.h>
#include <sys/time.h>

#include <cerrno>
#include <ctime>

namespace {

constexpr uint32_t kUntilSignal = 0xFFFFFFFF;

DateTime16 FromCalendar(const tm& calendar, uint16_t millisecond) {
  return DateTime16{.year = static_cast<uint16_t>(calendar.tm_year + 1900),
                    .month = static_cast<uint16_t>(calendar.tm_mon + 1),
                    .dayOfWeek = static_cast<uint16_t>(calendar.tm_wday),
                    .day = static_cast<uint16_t>(calendar.tm_mday),
                    .hour = static_cast<uint16_t>(calendar.tm_hour),
                    .minute = static_cast<uint16_t>(calendar.tm_min),
                    .second = static_cast<uint16_t>(calendar.tm_sec),
                    .millisecond = millisecond};
}

using BreakDown = tm* (*)(const time_t*, tm*);

void ReadClock(BreakDown breakDown, DateTime16* time) {
  if (time == nullptr) return;
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm calendar{};
  breakDown(&now.tv_sec, &calendar);
  *time = FromCalendar(calendar, static_cast<uint16_t>(now.tv_nsec / 1'000'000));
}

uint64_t MillisecondsOf(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1'000'000;
}

}  // namespace

void ZoLib_Priv_Sleep(uint32_t ms) {
  if (ms == kUntilSignal) {
    pselect(0, nullptr, nullptr, nullptr, nullptr, nullptr);
    return;
  }
  timespec remaining{static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1'000'000};
  while (nanosleep(&remaining, &remaining) != 0 && errno == EINTR) {
  }
}

uint64_t ZoLib_Priv_GetSysTime(void) {
  timeval now{};
  gettimeofday(&now, nullptr);
  return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_usec) / 1000;
}

uint64_t SteadyTimeMs() { return MillisecondsOf(CLOCK_MONOTONIC); }
uint64_t SteadyTimeWithSleepMs() { return MillisecondsOf(CLOCK_BOOTTIME); }

void ZoLib_Priv_GetLocalDateTime(DateTime16* time) { ReadClock(localtime_r, time); }
void ZoLib_Priv_GetSysDateTime(DateTime16* time) { ReadClock(gmtime_r, time); }

void ZoLib_Priv_SysTimeToLocalTime(const DateTime16* utc, DateTime16* local) {
  if (utc == nullptr || local == nullptr) return;
  tm calendar{};
  calendar.tm_year = utc->year - 1900;
  calendar.tm_mon = utc->month - 1;
  calendar.tm_mday = utc->day;
  calendar.tm_wday = utc->dayOfWeek;
  calendar.tm_hour = utc->hour;
  calendar.tm_min = utc->minute;
  calendar.tm_sec = utc->second;
  calendar.tm_isdst = -1;
  const time_t seconds = timegm(&calendar);
  tm broken{};
  localtime_r(&seconds, &broken);
  *local = FromCalendar(broken, utc->millisecond);
}
