#include "python/src/record_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace zopy {
namespace {

constexpr size_t kMarkerBytes = 6;  // "FRAME" and one byte more
constexpr size_t kHeaderMost = 1022;
constexpr size_t kTrailerBytes = 28;  // time, number, date; integers are little-endian

double SecondsOfTrailer(const uint8_t* trailer) {
  uint64_t milliseconds = 0;
  std::memcpy(&milliseconds, trailer, sizeof milliseconds);
  return static_cast<double>(milliseconds) / 1000.0;
}

}  // namespace

RecordFile::RecordFile(const std::string& path, const Geometry& geometry)
    : path_(path),
      geometry_(geometry),
      recordBytes_(
          static_cast<int64_t>(kMarkerBytes + geometry.rawBytes + size_t{2} * geometry.width)),
      descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
  if (descriptor_ < 0) throw zocam::Error(ZO_STATUS_FILE_IO_ERROR, "cannot open " + path, errno);
  std::array<char, kHeaderMost> header{};
  const ssize_t got = pread(descriptor_, header.data(), header.size(), 0);
  const auto* end =
      got > 0 ? static_cast<const char*>(std::memchr(header.data(), '\n', static_cast<size_t>(got)))
              : nullptr;
  if (end != nullptr) {
    firstRecord_ = end + 1 - header.data();
    Refresh();
  }
  if (count_ == 0) {
    close(descriptor_);
    throw zocam::Error(ZO_STATUS_INVALID_FILE_FORMAT, "cannot open " + path + ": it has no frames");
  }
}

RecordFile::~RecordFile() { close(descriptor_); }

void RecordFile::Refresh() {
  struct stat info {};
  if (fstat(descriptor_, &info) != 0) return;
  const int64_t records = std::max<int64_t>(info.st_size - firstRecord_, 0) / recordBytes_;
  count_ = std::max(count_.load(), static_cast<uint64_t>(records));
}

void RecordFile::ReadAt(int64_t offset, void* out, size_t count) const {
  auto* to = static_cast<uint8_t*>(out);
  while (count > 0) {
    const ssize_t got = pread(descriptor_, to, count, offset);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) throw zocam::Error(ZO_STATUS_FILE_IO_ERROR, path_ + ": cannot read on", errno);
    if (got == 0)
      throw zocam::Error(ZO_STATUS_INVALID_FILE_FORMAT, path_ + ": it has become shorter");
    to += got;
    offset += got;
    count -= static_cast<size_t>(got);
  }
}

std::unique_ptr<FrameData> RecordFile::Read(uint64_t record) const {
  auto frame = std::make_unique<FrameData>(geometry_);
  std::array<uint8_t, kMarkerBytes> marker{};
  std::array<uint8_t, kTrailerBytes> trailer{};
  const std::array<iovec, 3> parts{{{marker.data(), marker.size()},
                                    {frame->raw.get(), geometry_.rawBytes},
                                    {trailer.data(), trailer.size()}}};
  const int64_t place = Place(record);
  const auto whole = static_cast<ssize_t>(kMarkerBytes + geometry_.rawBytes + kTrailerBytes);
  if (preadv(descriptor_, parts.data(), static_cast<int>(parts.size()), place) != whole) {
    for (int64_t at = place; const iovec& part : parts) {  // again, to find out why
      ReadAt(at, part.iov_base, part.iov_len);
      at += static_cast<int64_t>(part.iov_len);
    }
  }
  if (std::memcmp(marker.data(), "FRAME", 5) != 0)
    throw zocam::Error(ZO_STATUS_INVALID_FILE_FORMAT,
                       path_ + ": record " + std::to_string(record + 1) + " is damaged");
  frame->seconds = SecondsOfTrailer(trailer.data());
  uint32_t number = 0;
  std::memcpy(&number, &trailer[8], sizeof number);
  frame->number = number;
  std::memcpy(&frame->dateTime, &trailer[12], sizeof frame->dateTime);
  return frame;
}

double RecordFile::SecondsOf(uint64_t record) const {
  std::array<uint8_t, 8> trailer{};
  ReadAt(Place(record) + static_cast<int64_t>(kMarkerBytes + geometry_.rawBytes), trailer.data(),
         trailer.size());
  return SecondsOfTrailer(trailer.data());
}

uint64_t RecordFile::LastAtOrBefore(double seconds) const {
  uint64_t low = 0;
  uint64_t high = count_;  // the first one known to be later
  while (high - low > 1) {
    const uint64_t middle = low + (high - low) / 2;
    (SecondsOf(middle) <= seconds ? low : high) = middle;
  }
  return low;
}

}  // namespace zopy
