// Output files that are there whole or not at all.
#ifndef ZOCAM_TOOLS_OUTPUT_FILE_H
#define ZOCAM_TOOLS_OUTPUT_FILE_H

#include <cstdint>
#include <span>
#include <string>

// Writes the file under a temporary name beside its place and renames it when all of it is on the
// disk. What is no regular file (a pipe, a device) is written directly. Throws ToolError.
void WriteOutputFile(const std::string& path, std::span<const uint8_t> bytes);

#endif
