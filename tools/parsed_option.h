// Options whose text the tool reads itself, strictly and with short words on what is wrong.
#ifndef ZOCAM_TOOLS_PARSED_OPTION_H
#define ZOCAM_TOOLS_PARSED_OPTION_H

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Adds an option that is read by parse, which gives nothing for what is wrong.
template <typename Value, typename Parse>
CLI::Option* AddParsed(CLI::App& command, const std::string& name, Value& value, Parse parse,
                       const std::string& what, const std::string& example) {
  const auto read = [&value, parse](const std::string& text) {
    if (const auto parsed = parse(text)) value = *parsed;
  };
  return command.add_option_function<std::string>(name, read, what)
      ->check(CLI::Validator(
          [parse, example](const std::string& text) {
            return parse(text) ? "" : "\"" + text + "\" cannot be read; write " + example;
          },
          ""));
}

// A number of things, at least one.
inline std::optional<uint64_t> ParseCount(std::string_view text) {
  uint64_t count = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
  if (error != std::errc{} || end != text.data() + text.size() || count == 0) return std::nullopt;
  return count;
}

// Adds an option that takes such a number.
template <typename Value>
CLI::Option* AddCountOption(CLI::App& command, const std::string& name, Value& value,
                            const std::string& what) {
  return AddParsed(command, name, value, ParseCount, what, "a whole number above 0")
      ->type_name("N");
}

#endif
