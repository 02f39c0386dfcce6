// Moving playback to a time: an estimate from the frame rate, then a walk over the trailers.
#include <algorithm>

#include "core/callback_thread.h"
#include "core/status.h"
#include "file/playback.h"
#include "file/recording_format.h"
#include "file/stream_io.h"

namespace {

constexpr int64_t kStepBack = 10;  // records, counted from behind the one just read

// Frames that a recording of this rate holds in so many milliseconds; what no file can hold is cut.
int64_t FramesIn(const _ZoDev& dev, uint64_t ms) {
  constexpr uint64_t kMostMs = uint64_t{1} << 32;
  const uint64_t numerator = dev.frameRateNumerator;
  const uint64_t denominator = dev.frameRateDenominator;
  if (denominator == 0) return 0;
  constexpr uint64_t kMostFrames = INT32_MAX;
  return static_cast<int64_t>(
      std::min(std::min(ms, kMostMs) * numerator / denominator / 1000, kMostFrames));
}

// Where the walk begins, in records from the present position.
int64_t EstimateRecords(const _ZoDev& dev, uint64_t target) ZO_HOLDS(*dev.fileLock) {
  const uint64_t here = dev.fileReadTrailer.timeOffset;
  if (target > here) return std::max<int64_t>(FramesIn(dev, target - here) - 1, 0);
  return -2 - FramesIn(dev, here - target);
}

// One seek; fileLock held, which the checker does not follow through dev_.
class Seek {
 public:
  Seek(_ZoDev* dev, uint64_t target)
      : dev_(dev),
        file_(dev->fileStream.get()),
        layout_(*dev),
        target_(target),
        toHead_(target <= dev->fileHeadTimeOffset) {}

  ZoStatus Run() {
    int64_t position = 0;
    ZoStatus status = Begin(&position);
    bool found = false;
    int64_t previous = 0;
    while (status == ZO_STATUS_OK) {
      FrameTrailer trailer{};
      status = Read(position, &trailer);
      if (status != ZO_STATUS_OK) break;
      if (target_ >= trailer.timeOffset) {
        if (toHead_) return Arrive(position);
        found = true;
        previous = position;
        position += layout_.record;
      } else if (found || previous == position) {
        return Arrive(previous);
      } else {
        previous = position;
        const bool reachesStart = position - kStepBack * layout_.record < dev_->fileDataStart;
        position = reachesStart ? dev_->fileDataStart : position - (kStepBack - 1) * layout_.record;
      }
    }
    return status;
  }

 private:
  ZoStatus Begin(int64_t* position) ZO_UNCHECKED {
    if (toHead_) {
      *position = dev_->fileDataStart;
      return ZO_STATUS_OK;
    }
    int64_t records = EstimateRecords(*dev_, target_);
    int64_t from = dev_->fileLastRecord;
    if (dev_->fileReadEOF != 0) {
      ++records;
    } else {
      const auto here = PositionOf(file_);
      if (!here) return ZO_STATUS_FILE_IO_ERROR;
      from = *here - (*here - dev_->fileDataStart) % layout_.record;  // after a failed read
    }
    // Recordings with lost frames are slower than their rate says: an estimate beyond the end
    // starts at the last record.
    *position = std::clamp(from + records * layout_.record, dev_->fileDataStart,
                           std::max(dev_->fileLastRecord, dev_->fileDataStart));
    return ZO_STATUS_OK;
  }

  // Reads the trailer of the record at a position.
  ZoStatus Read(int64_t position, FrameTrailer* trailer) ZO_UNCHECKED {
    std::array<uint8_t, kMarkerBytes> marker{};
    ReadResult result = ReadAt(file_, position, marker);
    if (result == ReadResult::kEndOfFile) return End(position);
    if (result == ReadResult::kFailed || !IsMarker(marker)) {
      dev_->fileError = ZO_STATUS_INVALID_FILE_FORMAT;
      MoveAfresh(file_, position);
      return ZO_STATUS_INVALID_FILE_FORMAT;
    }
    std::array<uint8_t, kTrailerBytes> bytes{};
    result = ReadAt(file_, position + layout_.trailer, bytes);
    if (result == ReadResult::kEndOfFile) return End(position);
    if (result == ReadResult::kFailed) return Failed(position);
    *trailer = UnpackTrailer(bytes);
    dev_->fileReadTrailer = *trailer;
    dev_->fileCurrentTrailer.Store(*trailer);
    return ZO_STATUS_OK;
  }

  // Whatever ends a seek leaves the stream on a record's start, so that the next one works.
  ZoStatus End(int64_t position) ZO_UNCHECKED {
    MoveAfresh(file_, position);
    MarkEndOfFile(dev_);
    return ZO_STATUS_END_OF_FILE;
  }
  ZoStatus Failed(int64_t position) {
    MoveAfresh(file_, position);
    return ZO_STATUS_FILE_IO_ERROR;
  }

  ZoStatus Arrive(int64_t position) {
    if (!MoveAfresh(file_, position)) return Failed(position);
    dev_->fileReadEOF = 0;
    dev_->fileBaseTimeOffset = 0;
    dev_->readerWakeCond->NotifyAll();
    return ZO_STATUS_OK;
  }

  _ZoDev* dev_;
  std::FILE* file_;
  RecordLayout layout_;
  uint64_t target_;
  bool toHead_;
};

}  // namespace

ZoStatus ZoLib_FileReadSeek(_ZoDev* dev, uint64_t timeOffset) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  ZoLib_Priv_ClearError(dev);
  if (dev->connected == 0) return ZO_STATUS_DEVICE_NOT_READY;
  if (InEofCallback(dev)) return ZO_STATUS_INVALID_STATE;
  const ScopedLock lock(*dev->fileLock);
  WaitForScan(dev);
  if (dev->fileReading == 0) return ZO_STATUS_INVALID_STATE;
  return KeepFileError(*dev, Seek(dev, timeOffset).Run());
}
