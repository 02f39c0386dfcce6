#include "tools/region.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string_view>

#include "tools/advice.h"

namespace {

// As many whole numbers as there is room for, with commas between them, and nothing else.
bool ParseNumbers(std::string_view text, std::span<uint32_t> numbers) {
  const char* next = text.data();
  const char* const end = text.data() + text.size();
  for (size_t i = 0; i < numbers.size(); ++i) {
    if (i > 0 && (next == end || *next++ != ',')) return false;
    const auto [stop, error] = std::from_chars(next, end, numbers[i]);
    if (error != std::errc{}) return false;
    next = stop;
  }
  return next == end;
}

std::optional<Region> ParseSpot(const std::string& text) {
  std::array<uint32_t, 2> n{};
  if (!ParseNumbers(text, n)) return std::nullopt;
  return Region{true, n[0], n[1], 1, 1, text};
}

std::optional<Region> ParseArea(const std::string& text) {
  std::array<uint32_t, 4> n{};
  if (!ParseNumbers(text, n) || n[2] == 0 || n[3] == 0) return std::nullopt;
  return Region{false, n[0], n[1], n[2], n[3], text};
}

using Parser = std::optional<Region> (*)(const std::string&);

void AddOption(CLI::App& command, const char* name, std::vector<Region>& regions, Parser parse,
               const std::string& form, const char* what) {
  command
      .add_option_function<std::vector<std::string>>(
          name,
          [&regions, parse](const std::vector<std::string>& texts) {
            for (const std::string& text : texts) regions.push_back(*parse(text));
          },
          what)
      ->check(CLI::Validator(
          [parse, form](const std::string& text) {
            return parse(text) ? std::string() : "\"" + text + "\" is not of the form " + form;
          },
          ""))
      ->allow_extra_args(false)
      ->type_name(form);
}

}  // namespace

void AddRegionOptions(CLI::App& command, std::vector<Region>& spots, std::vector<Region>& areas) {
  AddOption(command, "--spot", spots, ParseSpot, "X,Y", "table: a pixel; may be repeated");
  AddOption(command, "--area", areas, ParseArea, "X,Y,W,H",
            "table: minimum, maximum and mean of an area; may be repeated");
}

void RequireInside(const Region& region, uint32_t width, uint32_t height) {
  if (uint64_t{region.left} + region.width <= width &&
      uint64_t{region.top} + region.height <= height)
    return;
  throw ToolError((region.isSpot ? "spot " : "area ") + region.text +
                  " is not inside the picture; its columns go from 0 to " +
                  std::to_string(width - 1) + ", its rows from 0 to " + std::to_string(height - 1));
}

RegionValues ValuesIn(const Region& region, const zocam::TemperatureImage& image,
                      Quantity quantity) {
  uint16_t low = 0xFFFF, high = 0;
  uint64_t sum = 0;
  for (uint32_t y = region.top; y < region.top + region.height; ++y) {
    const uint16_t* row = &image.values[size_t{y} * image.width];
    for (uint32_t x = region.left; x < region.left + region.width; ++x) {
      low = std::min(low, row[x]);
      high = std::max(high, row[x]);
      sum += row[x];
    }
  }
  const double mean =
      static_cast<double>(sum) / (static_cast<double>(region.width) * region.height);
  return {ValueOf(quantity, low, image.resolution), ValueOf(quantity, high, image.resolution),
          ValueOf(quantity, mean, image.resolution)};
}
