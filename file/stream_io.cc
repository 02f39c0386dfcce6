#include "file/stream_io.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

static_assert(sizeof(off_t) == 8, "build with _FILE_OFFSET_BITS=64");

namespace {

// Goes on where a signal interrupted a transfer. errno stays 0 when a short count gives no reason.
template <class Transfer>
bool GetsWhole(std::FILE* file, std::size_t size, Transfer transfer) {
  std::size_t done = 0;
  while (true) {
    errno = 0;
    done += transfer(done);
    if (done == size) return true;
    if (errno != EINTR || std::feof(file) != 0) return false;
    std::clearerr(file);
  }
}

}  // namespace

ReadResult ReadWhole(std::FILE* file, std::span<uint8_t> bytes) {
  const bool whole = GetsWhole(file, bytes.size(), [&](std::size_t done) {
    return std::fread(bytes.data() + done, 1, bytes.size() - done, file);
  });
  if (whole) return ReadResult::kWhole;
  return std::feof(file) != 0 ? ReadResult::kEndOfFile : ReadResult::kFailed;
}

ReadResult ReadAt(std::FILE* file, int64_t position, std::span<uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t got = pread(fileno(file), bytes.data(), bytes.size(), position);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return ReadResult::kFailed;
    if (got == 0) return ReadResult::kEndOfFile;
    bytes = bytes.subspan(static_cast<std::size_t>(got));
    position += got;
  }
  return ReadResult::kWhole;
}

bool WriteWhole(std::FILE* file, std::span<const uint8_t> bytes) {
  return GetsWhole(file, bytes.size(), [&](std::size_t done) {
    return std::fwrite(bytes.data() + done, 1, bytes.size() - done, file);
  });
}

bool MoveTo(std::FILE* file, int64_t position) { return fseeko(file, position, SEEK_SET) == 0; }

// Flushing a stream that is read drops its buffer; a move alone may keep it.
bool MoveAfresh(std::FILE* file, int64_t position) {
  return MoveTo(file, position) && std::fflush(file) == 0;
}

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
