// Input files, read whole.
#ifndef ZOCAM_TOOLS_INPUT_FILE_H
#define ZOCAM_TOOLS_INPUT_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

constexpr uint32_t kMostPixelsPerSide = 4096;  // of an image that is read

// Throws ToolError when the file cannot be read or has more bytes than most.
std::vector<uint8_t> ReadInputFile(const std::string& path, size_t most);

#endif
