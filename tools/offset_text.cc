#include "tools/offset_text.h"

#include <charconv>
#include <cmath>
#include <cstdio>

#include "tools/parsed_option.h"

namespace {

using std::chrono::milliseconds;

constexpr double kMostSeconds = 1e9;  // some thirty years
constexpr double kSixty = 60.0;

std::optional<double> ParsePlain(std::string_view text) {
  double value = 0.0;
  const auto [end, error] =
      std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  if (text.starts_with('-') || !(value >= 0.0 && value <= kMostSeconds)) return std::nullopt;
  return value;
}

}  // namespace

std::optional<milliseconds> ParseOffset(std::string_view text) {
  double seconds = 0.0;
  for (int field = 1;; ++field) {
    const size_t colon = text.find(':');
    const bool isLast = colon == std::string_view::npos;
    const std::string_view digits = text.substr(0, colon);
    const std::optional<double> value = ParsePlain(digits);
    if (!value || field > 3) return std::nullopt;
    // Minutes and hours are whole, and what follows them stays below sixty.
    if (!isLast && digits.find('.') != std::string_view::npos) return std::nullopt;
    if (field > 1 && *value >= kSixty) return std::nullopt;
    seconds = seconds * kSixty + *value;
    if (isLast) break;
    text.remove_prefix(colon + 1);
  }
  if (seconds > kMostSeconds) return std::nullopt;
  return milliseconds(std::llround(seconds * 1000.0));
}

std::string OffsetText(milliseconds offset) {
  const auto total = offset.count();
  const auto hours = total / 3600000, minutes = total / 60000 % 60;
  const auto seconds = total / 1000 % 60, rest = total % 1000;
  char text[64];
  if (hours > 0) {
    std::snprintf(text, sizeof text, "%lld:%02lld:%02lld.%03lld", static_cast<long long>(hours),
                  static_cast<long long>(minutes), static_cast<long long>(seconds),
                  static_cast<long long>(rest));
  } else {
    std::snprintf(text, sizeof text, "%lld:%02lld.%03lld", static_cast<long long>(minutes),
                  static_cast<long long>(seconds), static_cast<long long>(rest));
  }
  return text;
}

std::string DateTimeText(const DateTime16& time) {
  char text[64];
  std::snprintf(text, sizeof text, "%04u-%02u-%02uT%02u:%02u:%02u.%03u", unsigned{time.year},
                unsigned{time.month}, unsigned{time.day}, unsigned{time.hour},
                unsigned{time.minute}, unsigned{time.second}, unsigned{time.millisecond});
  return text;
}

CLI::Option* AddOffsetOption(CLI::App& command, const std::string& name,
                             std::optional<milliseconds>& value, const std::string& what) {
  return AddParsed(command, name, value, ParseOffset, what,
                   "seconds or minutes:seconds, as 90.5 or 1:30.5")
      ->type_name("TIME");
}
