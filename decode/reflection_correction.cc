#include "decode/reflection_correction.h"

#include <sys/stat.h>

#include <cstdio>

#include "core/device_record.h"
#include "core/file_access.h"
#include "core/status.h"
#include "decode/reflection.h"

namespace {

ZoStatus RemoveCorrections(_ZoDev& dev) {
  const ScopedLock lock(*dev.decodeLock);
  dev.reflectCorrData.reset();
  return ZO_STATUS_OK;
}

ZoStatus InstallCorrections(_ZoDev& dev, std::span<const uint8_t> zorc) {
  if (zorc.size() != ZoLib_Priv_GetReflectCorrFmtSize(&dev)) return ZO_STATUS_INVALID_VALUE;
  if (!HasZorcMagic(zorc)) return ZO_STATUS_INVALID_FILE_FORMAT;
  if (ZorcProduct(zorc) != dev.identityBlock.productId) return ZO_STATUS_MODEL_UNSUPPORTED;
  const ScopedLock lock(*dev.decodeLock);
  if (!EnsureAllocated(dev.reflectCorrData, dev.pixelCount)) return ZO_STATUS_NO_MEMORY;
  ReadZorcCorrections(zorc, {dev.reflectCorrData.get(), dev.pixelCount});
  return ZO_STATUS_OK;
}

// The correction image of what was accumulated.
ZoStatus MakeZorc(const _ZoDev& dev, MallocPtr<uint8_t[]>& zorc, std::size_t size)
    ZO_HOLDS(*dev.decodeLock) {
  if (dev.reflectGenFrames == 0) return ZO_STATUS_INVALID_STATE;
  zorc = AllocateZeroed<uint8_t>(size);
  if (!zorc) return ZO_STATUS_NO_MEMORY;
  BuildZorc({dev.reflectGenSums.get(), dev.pixelCount}, dev.reflectGenFrames, dev.tempResolution,
            dev.identityBlock.productId, {zorc.get(), size});
  return ZO_STATUS_OK;
}

// Reads a regular file of exactly size bytes. A device or pipe could keep a reader waiting for
// ever.
ZoStatus ReadWholeFile(const char* path, std::size_t size, MallocPtr<uint8_t[]>& contents) {
  struct stat info {};
  if (stat(path, &info) != 0 || !S_ISREG(info.st_mode)) return ZO_STATUS_FILE_IO_ERROR;
  if (static_cast<uint64_t>(info.st_size) != size) return ZO_STATUS_INVALID_FILE_FORMAT;
  contents = AllocateZeroed<uint8_t>(size);
  if (!contents) return ZO_STATUS_NO_MEMORY;
  const File file(ZoLib_Priv_OsDepFOpen(path, "rb"));
  if (!file) return ZO_STATUS_FILE_IO_ERROR;
  const std::size_t got = std::fread(contents.get(), 1, size, file.get());
  return got == size ? ZO_STATUS_OK : ZO_STATUS_FILE_IO_ERROR;
}

}  // namespace

uint32_t ZoLib_Priv_GetReflectCorrFmtSize(_ZoDev* dev) {
  return dev == nullptr ? 0 : dev->imageBytes + static_cast<uint32_t>(kZorcHeaderBytes);
}

ZoStatus ZoLib_ReflectCorrGenStart(_ZoDev* dev) {
  if (dev == nullptr) return ZO_STATUS_INVALID_VALUE;
  const ScopedLock lock(*dev->decodeLock);
  if (dev->reflectGenActive) return ZO_STATUS_OK;
  dev->reflectGenSums = AllocateZeroed<double>(dev->pixelCount);
  if (!dev->reflectGenSums) return ZO_STATUS_NO_MEMORY;
  dev->reflectGenFrames = 0;
  dev->reflectGenActive = true;
  return ZO_STATUS_OK;
}

ZoStatus ZoLib_ReflectCorrGenStop(_ZoDev* dev, uint16_t** image, uint32_t* size) {
  if (dev == nullptr || image == nullptr || size == nullptr) return ZO_STATUS_INVALID_VALUE;
  const ScopedLock lock(*dev->decodeLock);
  if (!dev->reflectGenActive) return ZO_STATUS_INVALID_STATE;
  const uint32_t zorcSize = ZoLib_Priv_GetReflectCorrFmtSize(dev);
  MallocPtr<uint8_t[]> zorc;
  const ZoStatus status = MakeZorc(*dev, zorc, zorcSize);
  // The generation ends with or without a result.
  dev->reflectGenSums.reset();
  dev->reflectGenFrames = 0;
  dev->reflectGenActive = false;
  if (status != ZO_STATUS_OK) return status;
  *image = reinterpret_cast<uint16_t*>(zorc.release());
  *size = zorcSize;
  return ZO_STATUS_OK;
}

void ZoLib_ReflectCorrDataRelease(void* image) { std::free(image); }

ZoStatus ZoLib_SetReflectCorrData(_ZoDev* dev, const void* image, uint32_t size) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  if (image == nullptr) return RemoveCorrections(*dev);
  return InstallCorrections(*dev, {static_cast<const uint8_t*>(image), size});
}

ZoStatus ZoLib_SetReflectCorrFile(_ZoDev* dev, const char* path) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  ZoLib_Priv_ClearError(dev);
  if (dev->connected == 0) return ZO_STATUS_DEVICE_NOT_READY;
  if (path == nullptr) return RemoveCorrections(*dev);
  const std::size_t size = ZoLib_Priv_GetReflectCorrFmtSize(dev);
  MallocPtr<uint8_t[]> contents;
  const ZoStatus status = ReadWholeFile(path, size, contents);
  if (status != ZO_STATUS_OK) return status;
  return InstallCorrections(*dev, {contents.get(), size});
}
