#include "file/scan.h"

#include "file/recording_format.h"
#include "file/stream_io.h"

namespace {

class Scan {
 public:
  Scan(_ZoDev* dev, uint64_t to)
      : dev_(dev),
        file_(dev->fileStream.get()),
        layout_(*dev),
        to_(to),
        frame_(AllocateZeroed<uint8_t>(dev->rawFrameBytes)),
        image_(AllocateZeroed<uint16_t>(dev->pixelCount)) {}

  ZoStatus Run(uint32_t step, uint64_t from, ZoScanFunction function, void* context) {
    if (!frame_ || !image_) return ZO_STATUS_NO_MEMORY;
    const auto before = PositionOf(file_);
    if (!before || !MoveTo(file_, dev_->fileDataStart)) return ZO_STATUS_FILE_IO_ERROR;
    while (!finished_) ScanGroup(step, from, function, context);
    if (failed_) status_ = ZO_STATUS_FILE_IO_ERROR;
    if (!MoveTo(file_, *before) && status_ == ZO_STATUS_OK) status_ = ZO_STATUS_FILE_IO_ERROR;
    return status_;
  }

 private:
  // With a step of s: a record that is only looked at, one that is decoded, s - 2 that are skipped.
  void ScanGroup(uint32_t step, uint64_t from, ZoScanFunction function, void* context) {
    bool inRange = true;
    if (step >= 2) {
      uint64_t offset = 0;
      if (!ReadRecord(nullptr, &offset)) return;
      inRange = offset > from;
    }
    if (inRange) {
      uint64_t offset = 0;
      if (!ReadRecord(frame_.get(), &offset)) return;
      Decode(function, context);
    }
    if (step > 2 && !MoveBy(file_, (int64_t{step} - 2) * layout_.record)) finished_ = true;
  }

  // Reads a record's trailer, and its frame into a buffer when one is given. False, and the scan is
  // finished, at the end of the file, at a bad marker, beyond the range and after a failure.
  bool ReadRecord(uint8_t* frame, uint64_t* offset) {
    finished_ = true;
    std::array<uint8_t, kMarkerBytes> marker{};
    if (!Read(marker) || !IsMarker(marker)) return false;
    if (frame != nullptr) {
      if (!Read({frame, static_cast<std::size_t>(layout_.frame)})) return false;
    } else if (!MoveBy(file_, layout_.frame)) {
      failed_ = true;
      return false;
    }
    std::array<uint8_t, kTrailerBytes> trailer{};
    if (!Read(trailer)) return false;
    if (!MoveBy(file_, layout_.trailerLine - static_cast<int64_t>(kTrailerBytes))) {
      failed_ = true;
      return false;
    }
    *offset = UnpackTrailer(trailer).timeOffset;
    if (*offset > to_) return false;
    finished_ = false;
    return true;
  }

  bool Read(std::span<uint8_t> bytes) {
    const ReadResult result = ReadWhole(file_, bytes);
    if (result == ReadResult::kFailed) failed_ = true;
    return result == ReadResult::kWhole;
  }

  void Decode(ZoScanFunction function, void* context) {
    if (ZoLib_Decode(dev_, frame_.get(), image_.get(), dev_->imageBytes, dev_->frameWidth * 2,
                     ZO_FMT_TEMP16) != ZO_STATUS_OK) {
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
  MallocPtr<uint8_t[]> frame_;
  MallocPtr<uint16_t[]> image_;
  bool finished_ = false;
  bool failed_ = false;
  ZoStatus status_ = ZO_STATUS_NOT_ENOUGH_SIZE;  // until a frame was decoded
};

}  // namespace

ZoStatus ZoLib_Priv_FileScan(_ZoDev* dev, uint32_t step, uint64_t from, uint64_t to,
                             ZoScanFunction function, void* context) {
  if (dev == nullptr || function == nullptr) return ZO_STATUS_NULL_POINTER;
  if (!dev->fileStream) return ZO_STATUS_INVALID_STATE;
  return Scan(dev, to).Run(step, from, function, context);
}
