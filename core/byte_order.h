// Big-endian and little-endian reads and writes. Frames are big-endian, the camera's extension
// unit and recordings little-endian.
#ifndef ZOCAM_CORE_BYTE_ORDER_H
#define ZOCAM_CORE_BYTE_ORDER_H

#include <cstdint>

constexpr uint16_t ReadBe16(const uint8_t* bytes) {
  return static_cast<uint16_t>(bytes[0] << 8 | bytes[1]);
}

constexpr uint16_t ReadLe16(const uint8_t* bytes) {
  return static_cast<uint16_t>(bytes[1] << 8 | bytes[0]);
}

constexpr void WriteBe16(uint8_t* bytes, uint16_t value) {
  bytes[0] = static_cast<uint8_t>(value >> 8);
  bytes[1] = static_cast<uint8_t>(value & 0xFF);
}

constexpr void WriteLe16(uint8_t* bytes, uint16_t value) {
  bytes[0] = static_cast<uint8_t>(value & 0xFF);
  bytes[1] = static_cast<uint8_t>(value >> 8);
}

#endif
