#include "sim/kernel/driver_buffer.h"

#include <sys/mman.h>
#include <unistd.h>

namespace zosim::kernel {

size_t PageRounded(size_t length) {
  const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  return (length + page - 1) / page * page;
}

std::shared_ptr<DriverBuffer> DriverBuffer::Create(size_t length) {
  const size_t rounded = PageRounded(length);
  const int file = memfd_create("zosim-buffer", MFD_CLOEXEC);
  if (file < 0) return nullptr;
  void* data = MAP_FAILED;
  if (ftruncate(file, static_cast<off_t>(rounded)) == 0) {
    data = mmap(nullptr, rounded, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  }
  if (data == MAP_FAILED) {
    close(file);
    return nullptr;
  }
  return std::shared_ptr<DriverBuffer>(
      new DriverBuffer(file, static_cast<uint8_t*>(data), length, rounded));
}

DriverBuffer::~DriverBuffer() {
  munmap(data_, pageRoundedLength_);
  close(file_);
}

}  // namespace zosim::kernel
