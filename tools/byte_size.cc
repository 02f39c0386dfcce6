#include "tools/byte_size.h"

#include <charconv>
#include <cstdio>
#include <iterator>

namespace {

constexpr double kMostBytes = 1e18;

double FactorOf(char letter) {
  switch (letter) {
    case 'k':
    case 'K':
      return 1e3;
    case 'M':
      return 1e6;
    case 'G':
      return 1e9;
    case 'T':
      return 1e12;
    default:
      return 0.0;
  }
}

}  // namespace

std::optional<uint64_t> ParseByteSize(std::string_view text) {
  double value = 0.0;
  const char* const last = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), last, value, std::chars_format::fixed);
  if (error != std::errc{} || last - end > 1) return std::nullopt;
  const double bytes = value * (end == last ? 1.0 : FactorOf(*end));
  if (!(bytes >= 1.0 && bytes <= kMostBytes)) return std::nullopt;
  return static_cast<uint64_t>(bytes);
}

std::string ByteSizeText(uint64_t bytes) {
  constexpr const char* kUnits[] = {"kB", "MB", "GB", "TB"};
  size_t unit = 0;
  double value = static_cast<double>(bytes) / 1e3;
  for (; value >= 999.95 && unit + 1 < std::size(kUnits); ++unit) value /= 1e3;
  char text[32];
  std::snprintf(text, sizeof text, "%.1f %s", value, kUnits[unit]);
  return text;
}
