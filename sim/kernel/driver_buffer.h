// Memory of one driver buffer. It is a memory file, so that a program maps it like device memory
// and what it mapped stays readable after the buffer was given back or the camera was unplugged.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace zosim::kernel {

class DriverBuffer {
 public:
  // Null when the system has no memory or descriptor left.
  static std::shared_ptr<DriverBuffer> Create(size_t length);
  ~DriverBuffer();
  DriverBuffer(const DriverBuffer&) = delete;
  DriverBuffer& operator=(const DriverBuffer&) = delete;

  std::span<uint8_t> bytes() { return {data_, length_}; }
  size_t length() const { return length_; }
  size_t pageRoundedLength() const { return pageRoundedLength_; }
  int file() const { return file_; }  // of pageRoundedLength() bytes

 private:
  DriverBuffer(int file, uint8_t* data, size_t length, size_t pageRoundedLength)
      : file_(file), data_(data), length_(length), pageRoundedLength_(pageRoundedLength) {}

  int file_;
  uint8_t* data_;
  size_t length_;
  size_t pageRoundedLength_;
};

size_t PageRounded(size_t length);

}  // namespace zosim::kernel
