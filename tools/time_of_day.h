// Times of day as people write them.
#ifndef ZOCAM_TOOLS_TIME_OF_DAY_H
#define ZOCAM_TOOLS_TIME_OF_DAY_H

#include <ctime>
#include <optional>
#include <string_view>

struct TimeOfDay {
  int hour;
  int minute;
};

// "7:30" or "23:05".
std::optional<TimeOfDay> ParseTimeOfDay(std::string_view text);

// When it is that time next, later than now, in local time.
std::time_t NextTime(TimeOfDay time, std::time_t now);

#endif
