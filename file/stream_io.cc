#include "file/stream_io.h"

#include <sys/stat.h>
#include <unistd.h>

ReadResult ReadWhole(std::FILE* file, std::span<uint8_t> bytes) {
  if (std::fread(bytes.data(), 1, bytes.size(), file) == bytes.size()) return ReadResult::kWhole;
  return std::feof(file) != 0 ? ReadResult::kEndOfFile : ReadResult::kFailed;
}

bool WriteWhole(std::FILE* file, std::span<const uint8_t> bytes) {
  return std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
}

bool MoveTo(std::FILE* file, int64_t position) { return fseeko(file, position, SEEK_SET) == 0; }
bool MoveBy(std::FILE* file, int64_t bytes) { return fseeko(file, bytes, SEEK_CUR) == 0; }

std::optional<int64_t> PositionOf(std::FILE* file) {
  const off_t position = ftello(file);
  return position < 0 ? std::nullopt : std::optional<int64_t>(position);
}

std::optional<int64_t> SizeOf(std::FILE* file) {
  struct stat info {};
  if (fstat(fileno(file), &info) != 0 || !S_ISREG(info.st_mode)) return std::nullopt;
  return info.st_size;
}

bool CutAt(std::FILE* file, int64_t position) {
  std::clearerr(file);
  const bool cut = ftruncate(fileno(file), position) == 0;
  return MoveTo(file, position) && cut;
}
