// Buffered files with 64-bit offsets, hardly more than one call per function. Nothing here decides.
#ifndef ZOCAM_FILE_STREAM_IO_H
#define ZOCAM_FILE_STREAM_IO_H

#include <cstdint>
#include <cstdio>
#include <optional>
#include <span>

#include "core/file_access.h"

// Whether a read got all it asked for.
enum class ReadResult { kWhole, kEndOfFile, kFailed };

ReadResult ReadWhole(std::FILE* file, std::span<uint8_t> bytes);
// Reads from any place around the stream, which keeps its position and its buffer.
ReadResult ReadAt(std::FILE* file, int64_t position, std::span<uint8_t> bytes);
bool WriteWhole(std::FILE* file, std::span<const uint8_t> bytes);
bool MoveTo(std::FILE* file, int64_t position);
// The same, and what the stream has buffered is read again: the file may have changed since.
bool MoveAfresh(std::FILE* file, int64_t position);
std::optional<int64_t> PositionOf(std::FILE* file);

// Size of a regular file; none for anything else.
std::optional<int64_t> SizeOf(std::FILE* file);

// Forgets everything behind a position and goes on there.
bool CutAt(std::FILE* file, int64_t position);

#endif
