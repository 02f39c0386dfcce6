#include "file/playback.h"

#include <algorithm>
#include <cerrno>
#include <new>

#include "core/callback_thread.h"
#include "core/clocks.h"
#include "core/status.h"
#include "file/recording_format.h"
#include "file/stream_io.h"

namespace {

constexpr uint32_t kLongestWaitMs = 1000;

// A wall clock that is set must neither hold nor rush the frames.
uint32_t NowMs() { return static_cast<uint32_t>(SteadyTimeMs()); }

std::unique_ptr<PlaybackContext> MakeContext(const _ZoDev& dev) {
  std::unique_ptr<PlaybackContext> context(new (std::nothrow) PlaybackContext);
  if (!context) return nullptr;
  const RecordLayout layout(dev);
  context->frame = AllocateZeroed<uint8_t>(static_cast<std::size_t>(layout.frame));
  context->trailerLine = AllocateZeroed<uint8_t>(static_cast<std::size_t>(layout.trailerLine));
  context->timeBase = NowMs();
  if (!context->frame || !context->trailerLine) return nullptr;
  return context;
}

void ComeToRest(_ZoDev* dev) ZO_HOLDS(*dev->fileLock) {
  dev->playbackAtRest = true;
  dev->readerStateCond->NotifyAll();
}

void WaitAtEndOfFile(_ZoDev* dev) ZO_HOLDS(*dev->fileLock) {
  if (dev->fileReadEOF == 0) MarkEndOfFile(dev);  // a seek may have told of this end already
  ComeToRest(dev);
  while (dev->filePassive == 0 && dev->fileReading != 0 && dev->fileReadEOF != 0) {
    dev->readerWakeCond->Wait(dev->fileLock.get(), kLongestWaitMs);
  }
  dev->playbackAtRest = false;
  dev->playback->timeBase = NowMs();
}

void Park(_ZoDev* dev) ZO_HOLDS(*dev->fileLock) {
  dev->filePauseParked = 1;
  dev->fileBaseTimeOffset = 0;
  dev->readerStateCond->NotifyAll();
  // A stop ends it also when somebody has asked for a pause behind it.
  while (dev->fileReading != 0 && dev->fileReadPaused != 0) {
    dev->readerWakeCond->Wait(dev->fileLock.get(), kLongestWaitMs);
  }
  dev->filePauseParked = 0;
  dev->readerStateCond->NotifyAll();
  dev->playback->timeBase = NowMs();
}

enum class Record { kRead, kEndOfFile, kFailed };

Record Fail(_ZoDev& dev, ZoStatus status) {
  dev.fileError = KeepFileError(dev, status);
  return Record::kFailed;
}

// Reads one record; a failure is kept in fileError.
Record ReadRecord(_ZoDev& dev, uint8_t* frame, FrameTrailer* trailer) ZO_HOLDS(*dev.fileLock) {
  std::FILE* file = dev.fileStream.get();
  const RecordLayout layout(dev);
  std::array<uint8_t, kMarkerBytes> marker{};
  ReadResult result = ReadWhole(file, marker);
  if (result == ReadResult::kEndOfFile) return Record::kEndOfFile;
  if (result == ReadResult::kFailed || !IsMarker(marker)) {
    return Fail(dev, ZO_STATUS_INVALID_FILE_FORMAT);
  }
  errno = 0;
  result = ReadWhole(file, {frame, static_cast<std::size_t>(layout.frame)});
  if (result == ReadResult::kEndOfFile) return Record::kEndOfFile;
  if (result == ReadResult::kFailed) {
    return Fail(dev, errno != 0 ? ZO_STATUS_FILE_IO_ERROR : ZO_STATUS_INVALID_FILE_FORMAT);
  }
  const std::span<uint8_t> line(dev.playback->trailerLine.get(),
                                static_cast<std::size_t>(layout.trailerLine));
  result = ReadWhole(file, line);
  if (result == ReadResult::kEndOfFile) return Record::kEndOfFile;
  if (result == ReadResult::kFailed) return Fail(dev, ZO_STATUS_FILE_IO_ERROR);
  *trailer = UnpackTrailer(line.first<kTrailerBytes>());
  return Record::kRead;
}

// Milliseconds after the anchor at which a frame is due.
uint32_t DueMs(uint64_t sinceAnchor, double speed) {
  constexpr double kMost = 4294967295.0;
  const double due = static_cast<double>(sinceAnchor) / speed;
  return due < kMost ? static_cast<uint32_t>(due) : 0xFFFFFFFF;
}

// What a frame is paced against.
struct Anchor {
  uint64_t base;    // its time offset
  uint32_t timeMs;  // when it was shown
};

enum class Pacing { kDue, kPaused, kDropped, kStopped };

// Waits, without fileLock, until the frame is due.
Pacing PaceFrame(_ZoDev* dev, const FrameTrailer& trailer, Anchor anchor) {
  while (true) {
    const double speed = dev->fileReadSpeed;
    const uint64_t base = dev->fileBaseTimeOffset;
    if (base != anchor.base) return Pacing::kDropped;
    if (!(speed > 0.0) || dev->filePassive != 0) return Pacing::kDue;
    const uint32_t due = DueMs(trailer.timeOffset - base, speed);
    const uint32_t elapsed = NowMs() - anchor.timeMs + 1;
    if (due <= elapsed) return Pacing::kDue;
    const ScopedLock lock(*dev->fileLock);
    if (dev->fileReading == 0) return Pacing::kStopped;
    // Looked at again under the lock, so that no change is slept through.
    if (dev->fileBaseTimeOffset != anchor.base) return Pacing::kDropped;
    if (dev->fileReadPaused != 0) return Pacing::kPaused;
    dev->readerWakeCond->Wait(dev->fileLock.get(), std::min(due - elapsed, kLongestWaitMs));
  }
}

void* PlaybackMain(void* dev) {
  ZoLib_Priv_FileReadProc(static_cast<_ZoDev*>(dev));
  return nullptr;
}

}  // namespace

void WaitForScan(_ZoDev* dev) {
  while (dev->fileScanning) dev->readerStateCond->Wait(dev->fileLock.get(), kLongestWaitMs);
}

void WaitForRest(_ZoDev* dev) {
  const auto moves = [dev]() ZO_HOLDS(*dev->fileLock) {
    return dev->fileReading != 0 && dev->filePassive == 0 && dev->fileReadPaused != 0 &&
           dev->filePauseParked == 0 && !dev->playbackAtRest;
  };
  while (dev->fileScanning || moves()) {
    dev->readerStateCond->Wait(dev->fileLock.get(), kLongestWaitMs);
  }
}

void MarkEndOfFile(_ZoDev* dev) {
  dev->fileReadEOF = 1;
  dev->fileBaseTimeOffset = 0;
  if (dev->fileEofCallback == nullptr) return;
  const CallbackThread callbacks(dev);
  const EofCallbackThread holdsLock(dev);
  dev->fileEofCallback(dev, dev->fileCallbackUser);
}

ZoStatus ZoLib_Priv_FileReadStart(_ZoDev* dev) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  const bool canStart =
      dev->isFileHandle && dev->fileStream && !dev->fileIsWritten && dev->fileReading == 0;
  if (!canStart) return ZO_STATUS_INVALID_STATE;
  auto context = MakeContext(*dev);
  if (!context) return ZO_STATUS_NO_MEMORY;
  {
    const ScopedLock lock(*dev->fileLock);
    dev->playback = std::move(context);
    dev->playbackAtRest = false;
    dev->fileReadPaused = 0;
    dev->filePauseParked = 0;
    dev->fileReadEOF = 0;
    dev->fileBaseTimeOffset = 0;
    dev->fileError = 0;
    dev->fileReading = 1;
  }
  if (dev->filePassive != 0) return ZO_STATUS_OK;
  const ZoStatus status = ZoLib_Priv_OsDepFileReadThreadStart(dev);
  if (status == ZO_STATUS_OK) return ZO_STATUS_OK;
  const ScopedLock lock(*dev->fileLock);
  dev->fileReading = 0;
  dev->playback.reset();
  return ZO_STATUS_NO_MEMORY;
}

ZoStatus ZoLib_Priv_FileReadStop(_ZoDev* dev) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  ZoLib_Priv_ClearError(dev);
  if (dev->connected == 0) return ZO_STATUS_DEVICE_NOT_READY;
  if (RunsCallbacksOf(dev)) return ZO_STATUS_INVALID_STATE;
  if (!dev->fileStream || dev->fileReading == 0) return ZO_STATUS_INVALID_STATE;
  return EndPlayback(dev);
}

ZoStatus EndPlayback(_ZoDev* dev) {
  if (dev->fileReading == 0) return ZO_STATUS_OK;
  {
    const ScopedLock lock(*dev->fileLock);
    dev->fileReading = 0;
    dev->fileReadPaused = 0;
    dev->readerStateCond->NotifyAll();
    dev->readerWakeCond->NotifyAll();
  }
  if (dev->filePassive == 0) ZoLib_Priv_OsDepFileReadThreadStop(dev);
  const ScopedLock lock(*dev->fileLock);
  WaitForScan(dev);
  dev->playback.reset();
  dev->filePassive = 0;
  const bool closed = std::fclose(dev->fileStream.release()) == 0;
  return KeepFileError(*dev, closed ? ZO_STATUS_OK : ZO_STATUS_FILE_IO_ERROR);
}

ZoStatus ZoLib_Priv_OsDepFileReadThreadStart(_ZoDev* dev) {
  const int error = pthread_create(&dev->playbackThread, nullptr, PlaybackMain, dev);
  return error == 0 ? ZO_STATUS_OK : ZO_STATUS_NO_MEMORY;
}

ZoStatus ZoLib_Priv_OsDepFileReadThreadStop(_ZoDev* dev) {
  pthread_join(dev->playbackThread, nullptr);
  return ZO_STATUS_OK;
}

void ZoLib_Priv_FileReadProc(_ZoDev* dev) {
  const CallbackThread callbacks(dev);
  while (ZoLib_Priv_FileReadFrame(dev, nullptr) != 0) {
  }
  const ScopedLock lock(*dev->fileLock);
  ComeToRest(dev);
}

int ZoLib_Priv_FileReadFrame(_ZoDev* dev, uint8_t* buffer) {
  if (dev == nullptr) return 0;
  FrameTrailer trailer{};
  uint8_t* frame = buffer;
  Anchor anchor{};
  {
    const ScopedLock lock(*dev->fileLock);
    WaitForScan(dev);
    if (dev->fileReading == 0) return 0;
    PlaybackContext& context = *dev->playback;
    if (frame == nullptr) frame = context.frame.get();
    const Record record = ReadRecord(*dev, frame, &trailer);
    if (record == Record::kFailed) return 0;
    if (record == Record::kEndOfFile) {
      WaitAtEndOfFile(dev);
      return 1;
    }
    if (dev->fileReadPaused != 0) {
      Park(dev);
      return 1;
    }
    dev->fileReadTrailer = trailer;
    // A frame before the anchor (a recording that was restarted in the middle) is a new anchor.
    if (dev->fileBaseTimeOffset == 0 || trailer.timeOffset < dev->fileBaseTimeOffset) {
      dev->fileBaseTimeOffset = trailer.timeOffset;
      context.timeBase = NowMs();
    }
    anchor = {dev->fileBaseTimeOffset, context.timeBase};
  }
  const Pacing pacing = PaceFrame(dev, trailer, anchor);
  if (pacing == Pacing::kStopped) return 0;
  if (pacing == Pacing::kDropped) return 1;
  if (pacing == Pacing::kPaused || dev->fileReadPaused != 0) {
    const ScopedLock lock(*dev->fileLock);
    Park(dev);
    return 1;
  }
  dev->fileCurrentTrailer.Store(trailer);
  if (dev->fileFrameCallback != nullptr) {
    dev->fileFrameCallback(dev, frame, dev->rawFrameBytes, dev->fileCallbackUser);
  }
  return 1;
}

ZoStatus ZoLib_FileReadPassiveNext(_ZoDev* dev, uint8_t* buffer, uint32_t size) {
  if (dev == nullptr || buffer == nullptr) return ZO_STATUS_NULL_POINTER;
  if (dev->rawFrameBytes > size) return ZO_STATUS_NOT_ENOUGH_SIZE;
  const bool plays = dev->fileReading != 0 && dev->filePassive == 0;
  if (plays) return ZO_STATUS_INVALID_STATE;  // the playback thread takes the frames
  if (dev->fileError != 0) return dev->fileError;
  if (ZoLib_Priv_FileReadFrame(dev, buffer) != 0) return ZO_STATUS_OK;
  return dev->fileError;
}

void ZoLib_FileReadPause(_ZoDev* dev) {
  if (dev == nullptr || InEofCallback(dev)) return;
  const ScopedLock lock(*dev->fileLock);
  if (dev->filePassive != 0) return;
  dev->fileReadPaused = 1;
  dev->readerWakeCond->NotifyAll();  // a thread that paces over a long gap parks at once
  if (dev->fileReadEOF == 0 && dev->filePauseParked == 0) {
    dev->readerStateCond->Wait(dev->fileLock.get(), 1);
  }
}

void ZoLib_FileReadResume(_ZoDev* dev) {
  if (dev == nullptr || InEofCallback(dev)) return;
  if (dev->fileReading == 0 || dev->filePassive != 0) return;
  const ScopedLock lock(*dev->fileLock);
  dev->fileReadPaused = 0;
  dev->readerStateCond->NotifyAll();  // nobody need wait for the pause any more
  if (dev->fileReadEOF != 0) return;
  dev->fileBaseTimeOffset = 0;
  dev->readerWakeCond->NotifyAll();
  if (dev->filePauseParked != 0) dev->readerStateCond->Wait(dev->fileLock.get(), 1);
}
