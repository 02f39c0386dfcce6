#include "tools/recording_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <optional>
#include <string_view>

#include "tools/camera_family.h"
#include "tools/camera_summary.h"

namespace {

constexpr int64_t kWindowBytes = int64_t{1} << 20;
constexpr int64_t kHeaderMost = 1022;
constexpr size_t kHeaderLeast = 60;
constexpr std::string_view kMagic = "YUV4MPEG2";
constexpr std::string_view kMarker = "FRAME";  // and a newline, which readers do not look at
constexpr int64_t kMarkerBytes = 6;
constexpr size_t kTrailerUsed = 28;  // the rest of the trailer line is zero

// What a writer can have written.
constexpr uint64_t kLongestMs = uint64_t{100} * 366 * 24 * 3600 * 1000;
constexpr uint16_t kFirstYear = 1970, kLastYear = 9999;

struct HeaderSize {
  uint32_t width;
  uint32_t lines;  // of image, footer and trailer
  bool operator==(const HeaderSize&) const = default;
};
constexpr HeaderSize kCameraSizes[] = {{80, 65}, {160, 123}};

// Of a header line: what follows the first item that begins so.
std::optional<std::string_view> ItemOf(std::string_view line, std::string_view beginning) {
  const size_t at = line.find(beginning);
  if (at == std::string_view::npos) return std::nullopt;
  line.remove_prefix(at + beginning.size());
  return line.substr(0, line.find_first_of(" :\n"));
}

std::optional<uint32_t> NumberOf(std::string_view line, std::string_view beginning) {
  const std::optional<std::string_view> item = ItemOf(line, beginning);
  uint32_t value = 0;
  if (!item) return std::nullopt;
  const auto [end, error] = std::from_chars(item->data(), item->data() + item->size(), value);
  if (error != std::errc{} || end != item->data() + item->size()) return std::nullopt;
  return value;
}

std::string SizeText(const HeaderSize& size) {
  return std::to_string(size.width) + " x " + std::to_string(size.lines);
}

uint64_t LittleEndian(std::span<const uint8_t> bytes) {
  uint64_t value = 0;
  for (size_t i = bytes.size(); i-- > 0;) value = value << 8 | bytes[i];
  return value;
}

DateTime16 DateTimeOf(std::span<const uint8_t> trailer) {
  const auto word = [&](size_t i) {
    return static_cast<uint16_t>(LittleEndian(trailer.subspan(12 + 2 * i, 2)));
  };
  return {word(0), word(1), word(2), word(3), word(4), word(5), word(6), word(7)};
}

bool IsDate(const DateTime16& time) {
  return time.year >= kFirstYear && time.year <= kLastYear && time.month >= 1 && time.month <= 12 &&
         time.dayOfWeek <= 6 && time.day >= 1 && time.day <= 31 && time.hour <= 23 &&
         time.minute <= 59 && time.second <= 60 && time.millisecond <= 999;
}

bool IsTrailer(std::span<const uint8_t> trailer) {
  return LittleEndian(trailer.first(8)) <= kLongestMs && LittleEndian(trailer.subspan(8, 4)) != 0 &&
         IsDate(DateTimeOf(trailer)) &&
         std::ranges::all_of(trailer.subspan(kTrailerUsed), [](uint8_t byte) { return byte == 0; });
}

bool BeginsWith(std::span<const uint8_t> bytes, std::string_view text) {
  return bytes.size() >= text.size() && std::memcmp(bytes.data(), text.data(), text.size()) == 0;
}

}  // namespace

RecordingFile::RecordingFile(const std::string& path)
    : path_(path), fd_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
  if (fd_ < 0) throw ToolError("cannot read " + path + ": " + ErrnoText(errno));
  try {
    ReadHeader();
  } catch (...) {
    close(fd_);
    throw;
  }
}

RecordingFile::~RecordingFile() { close(fd_); }

void RecordingFile::ReadHeader() {
  struct stat info {};
  if (fstat(fd_, &info) != 0) throw ToolError("cannot read " + path_ + ": " + ErrnoText(errno));
  if (!S_ISREG(info.st_mode)) throw ToolError("cannot read " + path_ + ": it is no file");
  size_ = info.st_size;
  if (size_ == 0) throw HeaderDamage("the file is empty");
  const std::span<const uint8_t> start = Bytes(0, std::min(size_, kHeaderMost));
  if (!BeginsWith(start, kMagic))
    throw HeaderDamage("the header line does not begin with YUV4MPEG2, so this is no recording");
  const auto end = std::ranges::find(start, '\n');
  if (end == start.end())
    throw HeaderDamage(size_ < kHeaderMost ? "the header line is cut off, and nothing follows it"
                                           : "the header line has no end");
  const std::string line(start.begin(), end + 1);
  firstRecord_ = static_cast<int64_t>(line.size());
  try {
    const zocam::Device film = zocam::Recording::OpenPassive(path_);
    // The library takes other cameras for small ones.
    if (!IsOfFamily(film.VendorId(), film.ProductId()))
      throw HeaderDamage("the header line names a camera that is not known, " +
                         ProductText(film.ProductId()) + " of vendor " +
                         ProductText(film.VendorId()));
    trailerBytes_ = int64_t{2} * film.Width();
    footer_ = kMarkerBytes + trailerBytes_ * film.Height();
    recordBytes_ = kMarkerBytes + static_cast<int64_t>(film.RawFrameBytes()) + trailerBytes_;
    revision_ = film.TelemetryRevision();
  } catch (const zocam::Error& error) {
    const bool isFormat = error.Status() == ZO_STATUS_INVALID_FILE_FORMAT ||
                          (error.Status() == ZO_STATUS_FILE_IO_ERROR && error.HostErrno() == 0);
    if (!isFormat) throw;
    ExplainRefusal(line);
  }
}

void RecordingFile::ExplainRefusal(const std::string& line) {
  if (line.size() < kHeaderLeast) throw HeaderDamage("the header line is too short");
  const std::optional<uint32_t> width = NumberOf(line, " W"), lines = NumberOf(line, " H");
  if (!width || !lines) throw HeaderDamage("the header line tells no size");
  const HeaderSize size{*width, *lines};
  if (std::ranges::find(kCameraSizes, size) == std::end(kCameraSizes))
    throw HeaderDamage("the header line tells a size that no camera has, " + SizeText(size));
  std::optional<std::string_view> camera = ItemOf(line, " N");
  if (!camera) camera = ItemOf(line, " D");
  if (!camera)
    throw HeaderDamage("the header line names no camera, so this is a video of another kind");
  if (camera->find_first_not_of("0123456789ABCDEF") != std::string_view::npos)
    throw HeaderDamage("the header line's camera is unreadable");
  recordBytes_ = kMarkerBytes + int64_t{2} * size.width * size.lines;
  if (HasRoom(firstRecord_))
    throw HeaderDamage("the header line's size, " + SizeText(size) +
                       ", is not that of the camera it names, or an item of it is unreadable");
}

std::span<const uint8_t> RecordingFile::Bytes(int64_t offset, int64_t count) {
  const auto windowEnd = windowStart_ + static_cast<int64_t>(window_.size());
  if (offset < windowStart_ || offset + count > windowEnd) {
    window_.resize(static_cast<size_t>(std::min(std::max(count, kWindowBytes), size_ - offset)));
    windowStart_ = offset;
    for (size_t done = 0; done < window_.size();) {
      const ssize_t got =
          pread(fd_, &window_[done], window_.size() - done, offset + static_cast<int64_t>(done));
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) throw ToolError("cannot read " + path_ + ": " + ErrnoText(errno));
      if (got == 0) throw ToolError(path_ + " became shorter while it was read");
      done += static_cast<size_t>(got);
    }
  }
  return std::span(window_).subspan(static_cast<size_t>(offset - windowStart_),
                                    static_cast<size_t>(count));
}

std::span<const uint8_t> RecordingFile::TrailerOf(int64_t record) {
  return Bytes(record, recordBytes_).last(static_cast<size_t>(trailerBytes_));
}

RecordState RecordingFile::StateOf(int64_t record) {
  const std::span<const uint8_t> bytes = Bytes(record, recordBytes_);
  if (!BeginsWith(bytes, kMarker)) return RecordState::kNoMarker;
  if (!IsTrailer(TrailerOf(record))) return RecordState::kBadTrailer;
  if (bytes[static_cast<size_t>(footer_) + 1] != revision_) return RecordState::kOtherFrame;
  return RecordState::kIntact;
}

zocam::FrameStamp RecordingFile::StampOf(int64_t record) {
  const std::span<const uint8_t> trailer = TrailerOf(record);
  return {static_cast<uint32_t>(LittleEndian(trailer.subspan(8, 4))),
          std::chrono::milliseconds(LittleEndian(trailer.first(8))), DateTimeOf(trailer)};
}

bool RecordingFile::RecordMayBegin(int64_t place) {
  const auto room =
      static_cast<size_t>(std::min<int64_t>(size_ - place, static_cast<int64_t>(kMarker.size())));
  return BeginsWith(Bytes(place, static_cast<int64_t>(room)), kMarker.substr(0, room));
}

int64_t RecordingFile::FindRecord(int64_t from, const std::function<void(int64_t)>& onProgress) {
  while (HasRoom(from)) {
    // Every marker in the window whose record ends in it.
    Bytes(from, recordBytes_);
    const auto bytes = std::span(window_).subspan(static_cast<size_t>(from - windowStart_));
    const size_t places = bytes.size() - static_cast<size_t>(recordBytes_) + 1;
    for (size_t at = 0; at < places; ++at) {
      const void* found = std::memchr(&bytes[at], kMarker.front(), places - at);
      if (found == nullptr) break;
      at = static_cast<size_t>(static_cast<const uint8_t*>(found) - bytes.data());
      const int64_t record = from + static_cast<int64_t>(at);
      if (BeginsWith(bytes.subspan(at), kMarker) && IsTrailer(TrailerOf(record))) return record;
    }
    from += static_cast<int64_t>(places);
    onProgress(from);
  }
  return size_;
}

std::unique_ptr<RecordingFile> OpenRecordingFile(const std::string& path) {
  try {
    auto file = std::make_unique<RecordingFile>(path);
    if (file->Capacity() == 0) throw HeaderDamage("there is no whole record in it");
    return file;
  } catch (const HeaderDamage& damage) {
    throw ToolError("cannot open " + path + ": " + damage.what());
  }
}
