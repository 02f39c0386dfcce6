#include "file/scan.h"

#include "core/status.h"
#include "file/recording_format.h"
#include "file/stream_io.h"

namespace {

std::size_t RecordBytes(const RecordLayout& layout) {
  return static_cast<std::size_t>(layout.trailer) + kTrailerBytes;
}

class Scan {
 public:
  Scan(_ZoDev* dev, uint64_t to)
      : dev_(dev),
        file_(dev->fileStream.get()),
        layout_(*dev),
        to_(to),
        record_(AllocateZeroed<uint8_t>(RecordBytes(layout_))),
        image_(AllocateZeroed<uint16_t>(dev->pixelCount)) {}

  ZoStatus Run(uint32_t step, uint64_t from, ZoScanFunction function, void* context) {
    if (!record_ || !image_) return ZO_STATUS_NO_MEMORY;
    const auto before = PositionOf(file_);
    if (!before) return ZO_STATUS_FILE_IO_ERROR;
    position_ = dev_->fileDataStart;
    while (!finished_) ScanGroup(step, from, function, context);
    if (failed_) status_ = ZO_STATUS_FILE_IO_ERROR;
    // A stream that was at the end of a file looks again whether more has come.
    if (!MoveAfresh(file_, *before) && status_ == ZO_STATUS_OK) status_ = ZO_STATUS_FILE_IO_ERROR;
    return status_;
  }

 private:
  // With a step of s: a record that is only looked at, one that is decoded, s - 2 that are skipped.
  void ScanGroup(uint32_t step, uint64_t from, ZoScanFunction function, void* context) {
    bool inRange = true;
    if (step >= 2) {
      uint64_t offset = 0;
      if (!LookAtRecord(&offset)) return;
      inRange = offset > from;
    }
    if (inRange) {
      if (!ReadRecord()) return;
      Decode(function, context);
    }
    if (step > 2) position_ += (int64_t{step} - 2) * layout_.record;
  }

  // These two leave out the rest of the trailer's line. False, and the scan is finished, at the end
  // of the file, at a bad marker, beyond the range and after a failure.
  bool LookAtRecord(uint64_t* offset) {
    std::array<uint8_t, kMarkerBytes> marker{};
    std::array<uint8_t, kTrailerBytes> trailer{};
    finished_ = true;
    if (!Read(position_, marker) || !IsMarker(marker)) return false;
    return Read(position_ + layout_.trailer, trailer) && FinishRecord(trailer, offset);
  }
  bool ReadRecord() {
    const std::span<uint8_t> record(record_.get(), RecordBytes(layout_));
    uint64_t offset = 0;
    finished_ = true;
    if (!Read(position_, record) || !IsMarker(record.first<kMarkerBytes>())) return false;
    return FinishRecord(record.last<kTrailerBytes>(), &offset);
  }

  bool Read(int64_t position, std::span<uint8_t> bytes) {
    const ReadResult result = ReadAt(file_, position, bytes);
    if (result == ReadResult::kFailed) failed_ = true;
    return result == ReadResult::kWhole;
  }
  bool FinishRecord(std::span<const uint8_t, kTrailerBytes> trailer, uint64_t* offset) {
    position_ += layout_.record;
    *offset = UnpackTrailer(trailer).timeOffset;
    finished_ = *offset > to_;
    return !finished_;
  }

  void Decode(ZoScanFunction function, void* context) {
    if (ZoLib_Decode(dev_, &record_[kMarkerBytes], image_.get(), dev_->imageBytes,
                     dev_->frameWidth * 2, ZO_FMT_TEMP16) != ZO_STATUS_OK) {
      return;
    }
    ZoLib_FinishDecode(dev_);
    status_ = ZO_STATUS_OK;
    function(context, image_.get());
  }

  _ZoDev* dev_;
  std::FILE* file_;
  RecordLayout layout_;
  uint64_t to_;
  MallocPtr<uint8_t[]> record_;  // marker, frame and trailer
  MallocPtr<uint16_t[]> image_;
  int64_t position_ = 0;  // of the next record
  bool finished_ = false;
  bool failed_ = false;
  ZoStatus status_ = ZO_STATUS_NOT_ENOUGH_SIZE;  // until a frame was decoded
};

}  // namespace

ZoStatus ZoLib_Priv_FileScan(_ZoDev* dev, uint32_t step, uint64_t from, uint64_t to,
                             ZoScanFunction function, void* context) {
  if (dev == nullptr || function == nullptr) return ZO_STATUS_NULL_POINTER;
  if (!dev->fileStream) return ZO_STATUS_INVALID_STATE;
  return KeepFileError(*dev, Scan(dev, to).Run(step, from, function, context));
}
