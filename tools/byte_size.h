// Sizes of files as people write them.
#ifndef ZOCAM_TOOLS_BYTE_SIZE_H
#define ZOCAM_TOOLS_BYTE_SIZE_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// "500M", "1.5G" or plain bytes; k, M, G and T are powers of 1000.
std::optional<uint64_t> ParseByteSize(std::string_view text);

// "2.0 MB"
std::string ByteSizeText(uint64_t bytes);

#endif
