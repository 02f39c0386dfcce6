// Handles of every model without camera or recording, and memory files.
#ifndef ZOCAM_FUZZ_MODEL_HANDLE_H
#define ZOCAM_FUZZ_MODEL_HANDLE_H

#include <sys/mman.h>
#include <unistd.h>

#include "core/device_record.h"
#include "core/model_profile.h"
#include "fuzz/input.h"
#include "tests/handle.h"

inline constexpr uint16_t kProducts[] = {0x6100, 0x6101, 0x6102, 0x6103, 0x6104,
                                         0x6105, 0x6110, 0x6120, 0x61FF, 0x1234};

// Connected, never null.
inline Handle MakeModelHandle(uint16_t product) {
  Handle handle = MakeHandle();
  Expect(handle != nullptr, "there is memory");
  handle->identityBlock.vendorId = 0x7A11;
  handle->identityBlock.productId = product;
  ZoLib_Priv_SetFrameSpecByVIDPID(handle.get());
  Expect(ProfileIsComplete(*handle), "there is memory");
  handle->connected = 1;
  return handle;
}

// A file that exists in memory only.
class MemoryFile {
 public:
  explicit MemoryFile(std::span<const uint8_t> contents) : fd_(memfd_create("zocam", MFD_CLOEXEC)) {
    Expect(fd_ >= 0, "the system makes memory files");
    Put(0, contents);
    path_ = "/proc/self/fd/" + std::to_string(fd_);
  }
  ~MemoryFile() { close(fd_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  const char* path() const { return path_.c_str(); }
  void Put(off_t place, std::span<const uint8_t> bytes) const {
    const ssize_t written = pwrite(fd_, bytes.data(), bytes.size(), place);
    Expect(written == static_cast<ssize_t>(bytes.size()), "memory files hold what they are given");
  }
  void Resize(off_t size) const { Expect(ftruncate(fd_, size) == 0, "memory files change size"); }

 private:
  int fd_;
  std::string path_;
};

// Bytes per pixel of a format, 0 for none.
inline uint32_t PixelBytes(uint32_t format) {
  constexpr uint32_t kBytes[] = {2, 1, 3, 4, 3, 4, 2, 2, 2};
  if (format < 10) return format <= ZO_FMT_TEMP16 ? 2 : 0;
  return format >= 90 || format % 10 > 2 ? 0 : kBytes[format / 10];
}

#endif
