// Recording a camera: each frame that the capture hook or the application hands over becomes one
// record. The file is written unbuffered, so that what a killed process leaves behind ends with a
// record whose write had completed.
#include "file/writer.h"

#include <algorithm>
#include <cerrno>

#include "capture/capture_control.h"
#include "core/byte_order.h"
#include "core/callback_thread.h"
#include "core/clocks.h"
#include "core/entry_guard.h"
#include "core/status.h"
#include "file/recording_format.h"
#include "file/stream_io.h"

namespace {

RecordingHeader HeaderOf(const _ZoDev& dev) {
  RecordingHeader header;
  header.width = dev.frameWidth;
  header.lines = dev.frameHeight + dev.footerLines + 1;
  header.rateNumerator = dev.frameRateNumerator;
  header.rateDenominator = dev.frameRateDenominator;
  header.identity = dev.identityBlock;
  header.extInfo = dev.extInfo;
  return header;
}

// A new file that holds the header line.
ZoStatus CreateRecording(_ZoDev& dev, const char* path, File& file, int64_t* end) {
  const std::string header = FormatHeader(HeaderOf(dev), ZoLib_GetLibVersion());
  file.reset(ZoLib_Priv_OsDepFOpen(path, "wb"));
  if (!file) return KeepFileError(dev, ZO_STATUS_FILE_IO_ERROR);
  std::setvbuf(file.get(), nullptr, _IONBF, 0);
  const auto* bytes = reinterpret_cast<const uint8_t*>(header.data());
  if (!WriteWhole(file.get(), {bytes, header.size()})) {
    return KeepFileError(dev, ZO_STATUS_FILE_IO_ERROR);
  }
  *end = static_cast<int64_t>(header.size());
  return ZO_STATUS_OK;
}

// Fills the beginning of the trailer line for the frame in hand.
void StampTrailer(_ZoDev& dev, uint64_t now) ZO_HOLDS(*dev.fileLock) {
  FrameTrailer trailer{};
  trailer.timeOffset = now - dev.fileWriteStartTime;
  trailer.frameNumber = ++dev.fileWriteFrameCount;
  ZoLib_Priv_GetLocalDateTime(&trailer.dateTime);
  PackTrailer(trailer,
              std::span<uint8_t, kTrailerBytes>(dev.fileWriteTrailer.get(), kTrailerBytes));
}

bool WriteRecord(const _ZoDev& dev, const uint8_t* frame) ZO_HOLDS(*dev.fileLock) {
  std::FILE* file = dev.fileStream.get();
  const RecordLayout layout(dev);
  return WriteWhole(file, {reinterpret_cast<const uint8_t*>(kMarker), kMarkerBytes}) &&
         WriteWhole(file, {frame, static_cast<std::size_t>(layout.frame)}) &&
         WriteWhole(file,
                    {dev.fileWriteTrailer.get(), static_cast<std::size_t>(layout.trailerLine)});
}

// Appends one record, or leaves the file as it was. Every record begins where the one before ended,
// or the file could not be walked.
void AppendRecord(_ZoDev& dev, const uint8_t* frame) ZO_HOLDS(*dev.fileLock) {
  std::FILE* file = dev.fileStream.get();
  if (dev.fileWriteTorn) dev.fileWriteTorn = !CutAt(file, dev.fileWriteEnd);
  if (!dev.fileWriteTorn && WriteRecord(dev, frame)) {
    dev.fileWriteEnd += RecordLayout(dev).record;
    return;
  }
  KeepFileError(dev, ZO_STATUS_FILE_IO_ERROR);  // because this routine has no status
  dev.fileWriteTorn = !CutAt(file, dev.fileWriteEnd);
  --dev.fileWriteFrameCount;  // numbers are consecutive
}

bool IsFrameOfModel(const _ZoDev& dev, const uint8_t* frame, uint64_t length) {
  return length >= dev.rawFrameBytes && ReadBe16(frame + dev.imageBytes) == dev.telemetryRevision;
}

int WriteFrameHook(_ZoDev* dev, uint8_t* frame, uint64_t length) {
  ZoLib_Priv_FileWriteFrame(dev, frame, length);
  return 0;
}

bool IsWriting(const _ZoDev& dev) { return dev.fileStream && dev.fileIsWritten; }

}  // namespace

ZoStatus ZoLib_FileWriteSetup(_ZoDev* dev, const char* path) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  ZoLib_Priv_ClearError(dev);
  if (dev->connected == 0) return ZO_STATUS_DEVICE_NOT_READY;
  if (path == nullptr) return ZO_STATUS_NULL_POINTER;
  if (dev->fileStream) return ZO_STATUS_INVALID_STATE;
  return GuardedEntry([&]() -> ZoStatus {
    File file;
    int64_t end = 0;
    const ZoStatus status = CreateRecording(*dev, path, file, &end);
    if (status != ZO_STATUS_OK) return status;
    const auto lineBytes = static_cast<std::size_t>(RecordLayout(*dev).trailerLine);
    auto trailer = AllocateZeroed<uint8_t>(lineBytes);
    if (!trailer) return ZO_STATUS_NO_MEMORY;

    const ScopedLock lock(*dev->fileLock);
    dev->fileError = 0;
    dev->fileWriteTrailer = std::move(trailer);
    dev->fileWriteTorn = false;
    dev->fileWriteEnd = end;
    dev->fileIsWritten = true;
    dev->fileStream = std::move(file);
    return ZO_STATUS_OK;
  });
}

ZoStatus ZoLib_FileWritePassiveSetup(_ZoDev* dev, const char* path, uint32_t rateNumerator,
                                     uint32_t rateDenominator) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  if (dev->fileStream) return ZO_STATUS_INVALID_STATE;
  if (std::max(rateNumerator, rateDenominator) > kMostInHeader) {
    dev->frameRateNumerator = 0;
    dev->frameRateDenominator = 0;
    return ZO_STATUS_INVALID_VALUE;  // no reader would take it
  }
  dev->frameRateNumerator = rateNumerator;
  dev->frameRateDenominator = rateDenominator;
  dev->filePassive = 1;
  const ZoStatus status = ZoLib_FileWriteSetup(dev, path);
  if (status != ZO_STATUS_OK) {
    dev->filePassive = 0;
    dev->frameRateNumerator = 0;
    dev->frameRateDenominator = 0;
  }
  return status;
}

ZoStatus ZoLib_FileWriteStart(_ZoDev* dev) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  ZoLib_Priv_ClearError(dev);
  if (dev->connected == 0) return ZO_STATUS_DEVICE_NOT_READY;
  if (!IsWriting(*dev)) return ZO_STATUS_INVALID_STATE;
  {
    const ScopedLock lock(*dev->fileLock);
    dev->fileWriteStartTime = 0;
    dev->fileWriteFrameCount = 0;
  }
  if (dev->filePassive == 0) ZoLib_Priv_OsDepSetPreProc(dev, WriteFrameHook);
  return ZO_STATUS_OK;
}

ZoStatus ZoLib_FileWriteStop(_ZoDev* dev) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  ZoLib_Priv_ClearError(dev);
  if (dev->connected == 0) return ZO_STATUS_DEVICE_NOT_READY;
  if (!IsWriting(*dev)) return ZO_STATUS_INVALID_STATE;
  if (dev->filePassive == 0) ZoLib_Priv_OsDepSetPreProc(dev, nullptr);
  const ScopedLock lock(*dev->fileLock);
  dev->filePassive = 0;
  dev->fileIsWritten = false;
  dev->fileWriteTrailer.reset();
  if (dev->fileWriteTorn) CutAt(dev->fileStream.get(), dev->fileWriteEnd);
  const bool closed = std::fclose(dev->fileStream.release()) == 0;
  return KeepFileError(*dev, closed ? ZO_STATUS_OK : ZO_STATUS_FILE_IO_ERROR);
}

ZoStatus ZoLib_FileWritePassiveAdd(_ZoDev* dev, const uint8_t* frame, uint32_t length) {
  if (dev == nullptr || frame == nullptr) return ZO_STATUS_NULL_POINTER;
  ZoLib_Priv_FileWriteFrame(dev, frame, length);
  return ZO_STATUS_OK;
}

void ZoLib_Priv_FileWriteFrame(_ZoDev* dev, const uint8_t* frame, uint64_t length) {
  if (dev == nullptr || frame == nullptr) return;
  if (InEofCallback(dev)) return;  // the calling thread holds the lock already
  const ScopedLock lock(*dev->fileLock);
  const uint64_t now = SteadyTimeWithSleepMs();  // the wall clock may be set between two frames
  if (!IsWriting(*dev)) return;
  if (dev->fileWriteStartTime == 0) dev->fileWriteStartTime = now;
  if (!IsFrameOfModel(*dev, frame, length)) return;
  StampTrailer(*dev, now);
  AppendRecord(*dev, frame);
}
