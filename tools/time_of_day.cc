#include "tools/time_of_day.h"

#include <charconv>

namespace {

// One or two digits; nothing for what is not below the limit.
std::optional<int> ParseField(std::string_view digits, int limit) {
  if (digits.starts_with('-')) return std::nullopt;
  int value = 0;
  const char* const last = digits.data() + digits.size();
  const auto [end, error] = std::from_chars(digits.data(), last, value);
  if (error != std::errc{} || end != last || digits.size() > 2) return std::nullopt;
  if (value >= limit) return std::nullopt;
  return value;
}

std::time_t TimeOnDay(TimeOfDay time, std::time_t now, int daysAhead) {
  std::tm local{};
  localtime_r(&now, &local);
  local.tm_mday += daysAhead;
  local.tm_hour = time.hour;
  local.tm_min = time.minute;
  local.tm_sec = 0;
  local.tm_isdst = -1;  // as the clocks go on that day
  return std::mktime(&local);
}

}  // namespace

std::optional<TimeOfDay> ParseTimeOfDay(std::string_view text) {
  const size_t colon = text.find(':');
  if (colon == std::string_view::npos) return std::nullopt;
  const std::optional<int> hour = ParseField(text.substr(0, colon), 24);
  const std::optional<int> minute = ParseField(text.substr(colon + 1), 60);
  if (!hour || !minute || text.size() != colon + 3) return std::nullopt;
  return TimeOfDay{*hour, *minute};
}

std::time_t NextTime(TimeOfDay time, std::time_t now) {
  const std::time_t today = TimeOnDay(time, now, 0);
  return today > now ? today : TimeOnDay(time, now, 1);
}
