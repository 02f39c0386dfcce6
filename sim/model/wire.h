// Byte order on the camera's two interfaces: frames are big-endian, commands little-endian.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace zosim {

inline void PutBig16(std::span<uint8_t> bytes, size_t at, uint32_t value) {
  bytes[at] = static_cast<uint8_t>(value >> 8);
  bytes[at + 1] = static_cast<uint8_t>(value);
}

inline uint16_t GetBig16(std::span<const uint8_t> bytes, size_t at) {
  return static_cast<uint16_t>(bytes[at] << 8 | bytes[at + 1]);
}

// 32-bit telemetry values are two big-endian words, the less significant one first.
inline void PutBig32LowWordFirst(std::span<uint8_t> bytes, size_t at, uint32_t value) {
  PutBig16(bytes, at, value & 0xFFFF);
  PutBig16(bytes, at + 2, value >> 16);
}

inline uint32_t GetBig32LowWordFirst(std::span<const uint8_t> bytes, size_t at) {
  return GetBig16(bytes, at) | static_cast<uint32_t>(GetBig16(bytes, at + 2)) << 16;
}

inline void PutLittle16(std::span<uint8_t> bytes, size_t at, uint32_t value) {
  bytes[at] = static_cast<uint8_t>(value);
  bytes[at + 1] = static_cast<uint8_t>(value >> 8);
}

inline uint16_t GetLittle16(std::span<const uint8_t> bytes, size_t at) {
  return static_cast<uint16_t>(bytes[at + 1] << 8 | bytes[at]);
}

}  // namespace zosim
