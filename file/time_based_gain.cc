// One gain for a whole recording: a pre-scan fixes either the linear range or the table of the
// non-linear gain, so that the picture keeps its brightness.
#include <algorithm>
#include <optional>

#include "core/callback_thread.h"
#include "core/status.h"
#include "file/playback.h"
#include "file/scan.h"
#include "render/auto_gain.h"
#include "render/frame_statistics.h"
#include "simd/stage_table.h"

namespace {

using zocam::BinCounts;
using zocam::BinRange;
using zocam::CountedPixels;
using zocam::Extremes;

constexpr uint32_t kLevelLimit = 65535;

// Brings playback to rest, so that no callback decodes meanwhile, and takes the file position: a
// scan moves it without holding the lock for its whole length.
class PlaybackAtRest {
 public:
  explicit PlaybackAtRest(_ZoDev* dev) : dev_(dev) {
    resume_ = dev->fileReading != 0 && dev->fileReadPaused == 0;
    if (resume_) ZoLib_FileReadPause(dev);
    const ScopedLock lock(*dev->fileLock);
    WaitForRest(dev);
    dev->fileScanning = true;
  }
  ~PlaybackAtRest() {
    {
      const ScopedLock lock(*dev_->fileLock);
      dev_->fileScanning = false;
      dev_->readerStateCond->NotifyAll();
    }
    if (resume_) ZoLib_FileReadResume(dev_);
  }
  PlaybackAtRest(const PlaybackAtRest&) = delete;
  PlaybackAtRest& operator=(const PlaybackAtRest&) = delete;

 private:
  _ZoDev* dev_;
  bool resume_ = false;
};

// Copies the mask, which may change during a scan; leaves it out while every pixel counts.
ZoStatus CopyMask(_ZoDev* dev, MallocPtr<uint32_t[]>& mask) {
  const ScopedLock lock(*dev->decodeLock);
  if (dev->agcMaskIsFull) return ZO_STATUS_OK;
  mask = AllocateZeroed<uint32_t>(dev->pixelCount);
  if (!mask) return ZO_STATUS_NO_MEMORY;
  std::copy_n(dev->agcMask.get(), dev->pixelCount, mask.get());
  return ZO_STATUS_OK;
}

ZoStatus ScanExtremes(_ZoDev* dev, const ScanKey& key, Extremes* extremes) {
  MallocPtr<uint32_t[]> mask;
  if (const ZoStatus status = CopyMask(dev, mask); status != ZO_STATUS_OK) return status;
  struct Context {
    CountedPixels counted;
    uint32_t pixelCount;
    Extremes extremes;
  } context{{{mask.get(), mask ? dev->pixelCount : 0}, dev->frameWidth, 0}, dev->pixelCount, {}};
  const auto widen = [](void* user, const uint16_t* image) {
    auto* c = static_cast<Context*>(user);
    Stages().widenExtremes({image, c->pixelCount}, c->counted, c->extremes);
  };
  const ZoStatus status = ZoLib_Priv_FileScan(dev, key.step, key.from, key.to, widen, &context);
  if (status == ZO_STATUS_OK) *extremes = context.extremes;
  return status;
}

// What the other gain was made of, when it was made of the same frames.
std::optional<Extremes> ExtremesOfTable(_ZoDev* dev, const ScanKey& key) {
  const ScopedLock lock(*dev->decodeLock);
  if (!dev->tbHistValid || dev->tbHistKey != key) return std::nullopt;
  return Extremes{dev->tbHistMin, dev->tbHistMax};
}
std::optional<Extremes> ExtremesOfLinear(_ZoDev* dev, const ScanKey& key) {
  const ScopedLock lock(*dev->decodeLock);
  if (!dev->tbLinearValid || dev->tbLinearKey != key) return std::nullopt;
  return Extremes{dev->tbLinearMin, dev->tbLinearMax};
}

ZoStatus ScanBins(_ZoDev* dev, const ScanKey& key, const BinRange& range, BinCounts* counts) {
  struct Context {
    uint32_t width;
    uint32_t pixelCount;
    BinRange range;
    BinCounts* counts;
  } context{dev->frameWidth, dev->pixelCount, range, counts};
  const auto count = [](void* user, const uint16_t* image) {
    auto* c = static_cast<Context*>(user);
    Stages().countBins({image, c->pixelCount}, CountedPixels{{}, c->width, 0}, c->range,
                       *c->counts);
  };
  return ZoLib_Priv_FileScan(dev, key.step, key.from, key.to, count, &context);
}

ZoStatus SetUpLinear(_ZoDev* dev, const ScanKey& key) {
  std::optional<Extremes> extremes = ExtremesOfTable(dev, key);
  if (!extremes) {
    const ZoStatus status = ScanExtremes(dev, key, &extremes.emplace());
    if (status != ZO_STATUS_OK) return status;
  }
  const ScopedLock lock(*dev->decodeLock);
  dev->tbLinearMin = extremes->min;
  dev->tbLinearMax = extremes->max;
  dev->tbLinearKey = key;
  dev->tbLinearValid = true;
  return ZO_STATUS_OK;
}

// Whole blocks of values, like the per-frame gain's, but within 16 bits.
BinRange TableRange(Extremes extremes) {
  const uint32_t low = extremes.min / g_colTabSize * g_colTabSize;
  const uint32_t high = std::min((extremes.max / g_colTabSize + 1) * g_colTabSize, kLevelLimit);
  const uint32_t span = high - low;
  return {low, high, span == 0 ? 1 : span};
}

ZoStatus SetUpTable(_ZoDev* dev, const ScanKey& key) {
  std::optional<Extremes> extremes = ExtremesOfLinear(dev, key);
  if (!extremes) {
    const ZoStatus status = ScanExtremes(dev, key, &extremes.emplace());
    if (status != ZO_STATUS_OK) return status;
  }
  const BinRange range = TableRange(*extremes);
  BinCounts counts{};
  const ZoStatus status = ScanBins(dev, key, range, &counts);
  const auto segments = zocam::BuildSegments(counts);

  const ScopedLock lock(*dev->decodeLock);
  if (status != ZO_STATUS_OK) {
    dev->tbHistTable.reset();
    dev->tbHistValid = false;
    return status;
  }
  if (!segments) return ZO_STATUS_NOT_ENOUGH_SIZE;
  if (!EnsureAllocated(dev->tbHistTable, zocam::kGainBins)) return ZO_STATUS_NO_MEMORY;
  std::ranges::copy(*segments, dev->tbHistTable.get());
  dev->tbHistMin = static_cast<uint16_t>(range.low);
  dev->tbHistMax = static_cast<uint16_t>(range.high);
  dev->tbHistKey = key;
  dev->tbHistValid = true;
  return ZO_STATUS_OK;
}

}  // namespace

ZoStatus ZoLib_FileTimeBasedAGCSetup(_ZoDev* dev, uint32_t linear, uint32_t step, uint64_t from,
                                     uint64_t to) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  ZoLib_Priv_ClearError(dev);
  if (dev->connected == 0) return ZO_STATUS_DEVICE_NOT_READY;
  if (step == 0) return ZO_STATUS_INVALID_VALUE;
  if (!dev->isFileHandle || !dev->fileStream || dev->fileIsWritten) return ZO_STATUS_INVALID_STATE;
  if (RunsCallbacksOf(dev)) return ZO_STATUS_INVALID_STATE;  // it waits for the calling thread
  const PlaybackAtRest atRest(dev);
  if (!dev->fileStream) return ZO_STATUS_INVALID_STATE;  // stopped meanwhile
  const ScanKey key{step, from, to};
  return linear != 0 ? SetUpLinear(dev, key) : SetUpTable(dev, key);
}
