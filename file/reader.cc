#include "file/reader.h"

#include <cstring>
#include <memory>

#include "core/model_profile.h"
#include "file/recording_format.h"
#include "file/stream_io.h"

namespace {

using Handle = std::unique_ptr<_ZoDev, decltype([](_ZoDev* dev) { ZoLib_Release(dev); })>;

// Takes identity and rate from the header line, and with them the model; 24 when the two disagree
// about the size of a frame.
ZoStatus ReadHeader(std::FILE* file, _ZoDev& dev) {
  char line[kHeaderLineMax + 1];
  if (std::fgets(line, sizeof line, file) == nullptr) return ZO_STATUS_INVALID_FILE_FORMAT;
  if (std::strlen(line) == kHeaderLineMax && line[kHeaderLineMax - 1] != '\n') {
    return ZO_STATUS_INVALID_FILE_FORMAT;  // longer than a header can be
  }
  const auto header = ParseHeader(line);
  if (!header) return ZO_STATUS_INVALID_FILE_FORMAT;
  dev.frameRateNumerator = header->rateNumerator;
  dev.frameRateDenominator = header->rateDenominator;
  dev.identityBlock = header->identity;
  dev.serialNumber = header->serialNumber;
  dev.extInfo = header->extInfo;
  ZoLib_Priv_SetFrameSpecByVIDPID(&dev);
  if (!ProfileIsComplete(dev)) return ZO_STATUS_NO_MEMORY;
  const bool fits =
      header->width == dev.frameWidth && header->lines == dev.frameHeight + dev.footerLines + 1;
  return fits ? ZO_STATUS_OK : ZO_STATUS_INVALID_FILE_FORMAT;
}

bool ReadTrailerAt(std::FILE* file, const _ZoDev& dev, int64_t record, FrameTrailer* trailer) {
  std::array<uint8_t, kTrailerBytes> bytes{};
  if (ReadAt(file, record + RecordLayout(dev).trailer, bytes) != ReadResult::kWhole) return false;
  *trailer = UnpackTrailer(bytes);
  return true;
}

// Takes length and dates from the first and the last whole record.
ZoStatus ReadExtent(std::FILE* file, int64_t fileSize, _ZoDev& dev) {
  const auto dataStart = PositionOf(file);
  if (!dataStart) return ZO_STATUS_FILE_IO_ERROR;
  FrameTrailer first{};
  FrameTrailer last{};
  const int64_t recordBytes = RecordLayout(dev).record;
  const int64_t count = (fileSize - *dataStart) / recordBytes;
  if (fileSize > *dataStart && !ReadTrailerAt(file, dev, *dataStart, &first)) {
    return ZO_STATUS_FILE_IO_ERROR;
  }
  if (count <= 0) return ZO_STATUS_INVALID_FILE_FORMAT;
  const int64_t lastRecord = *dataStart + (count - 1) * recordBytes;
  if (!ReadTrailerAt(file, dev, lastRecord, &last)) return ZO_STATUS_FILE_IO_ERROR;
  dev.fileDataStart = *dataStart;
  dev.fileLastRecord = lastRecord;
  dev.fileHeadTimeOffset = first.timeOffset;
  dev.fileHeadDateTime = first.dateTime;
  dev.fileTimeLength = last.timeOffset;
  dev.fileFrames = last.frameNumber;
  return ZO_STATUS_OK;
}

}  // namespace

ZoStatus ZoLib_Priv_FileParseHeader(_ZoDev** out, const char* path) {
  if (out == nullptr || path == nullptr) return ZO_STATUS_NULL_POINTER;
  File file = OpenRegularFile(path);
  if (!file) return ZO_STATUS_FILE_IO_ERROR;
  const auto size = SizeOf(file.get());
  if (!size) return ZO_STATUS_FILE_IO_ERROR;
  _ZoDev* created = nullptr;
  ZoStatus status = ZoLib_CreateWithoutConnect(&created);
  if (status != ZO_STATUS_OK) return status;
  Handle handle(created);
  status = ReadHeader(file.get(), *created);
  if (status == ZO_STATUS_OK) status = ReadExtent(file.get(), *size, *created);
  if (status != ZO_STATUS_OK) return status;
  created->isFileHandle = true;
  created->connected = 1;
  created->fileStream = std::move(file);
  *out = handle.release();
  return ZO_STATUS_OK;
}

ZoStatus ZoLib_FileReadSetup(_ZoDev** out, const char* path, ZoFrameCallback frameCallback,
                             ZoEofCallback eofCallback, void* user) {
  if (out == nullptr || frameCallback == nullptr || eofCallback == nullptr) {
    return ZO_STATUS_INVALID_VALUE;
  }
  _ZoDev* dev = nullptr;
  const ZoStatus status = ZoLib_Priv_FileParseHeader(&dev, path);
  if (status != ZO_STATUS_OK) return status;
  dev->fileFrameCallback = frameCallback;
  dev->fileEofCallback = eofCallback;
  dev->fileCallbackUser = user;
  *out = dev;
  return ZO_STATUS_OK;
}

ZoStatus ZoLib_FileReadPassiveSetup(_ZoDev** out, const char* path) {
  if (out == nullptr) return ZO_STATUS_INVALID_VALUE;
  _ZoDev* dev = nullptr;
  const ZoStatus status = ZoLib_Priv_FileParseHeader(&dev, path);
  if (status != ZO_STATUS_OK) return status;
  dev->filePassive = 1;
  *out = dev;
  return ZO_STATUS_OK;
}
