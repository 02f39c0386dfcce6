// The times of recordings as people write them.
#ifndef ZOCAM_TOOLS_OFFSET_TEXT_H
#define ZOCAM_TOOLS_OFFSET_TEXT_H

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "zocam/zocam.hpp"

#include "tools/cli_fwd.h"

// "90", "90.5", "1:30.5" or "1:02:03": seconds, minutes and seconds, or hours as well.
std::optional<std::chrono::milliseconds> ParseOffset(std::string_view text);

// "1:30.500"; hours only where there are any.
std::string OffsetText(std::chrono::milliseconds offset);

// "2026-11-22T23:52:15.921", local time.
std::string DateTimeText(const DateTime16& time);

// Adds an option that takes such a time.
CLI::Option* AddOffsetOption(CLI::App& command, const std::string& name,
                             std::optional<std::chrono::milliseconds>& value,
                             const std::string& what);

#endif
