// The bytes of the camera's command protocol: selectors, requests, status answers, the clock.
// Pure functions; device/commands.cc sends what they make. All fields are little-endian.
#ifndef ZOCAM_DEVICE_COMMAND_WIRE_H
#define ZOCAM_DEVICE_COMMAND_WIRE_H

#include <array>
#include <cstdint>
#include <span>

#include "zocam/zocam.h"

// Controls of the vendor extension unit.
enum class Selector : uint8_t {
  kIdentity = 1,
  kActive = 2,
  kReadRequest = 3,
  kReadShort = 4,
  kReadLong = 5,
  kWriteShort = 6,
  kWriteLong = 7,
  kWriteStatus = 8,
  kRunRequest = 9,
  kRunStatus = 10,
  kConfig = 11,
  kClock = 12,
};

// Data of a command travels in one of two sizes.
inline constexpr uint32_t kShortDataBytes = 4;
inline constexpr uint32_t kLongDataBytes = 32;
inline constexpr uint32_t kMaxDataWords = kLongDataBytes / 2;

inline constexpr std::size_t kRequestBytes = 6;  // of a read or run; a write's data follows
inline constexpr std::size_t kStatusBytes = 2;   // state and code; a read's data follows
inline constexpr std::size_t kClockBytes = 8;

inline constexpr uint16_t kNoArgument = 0xFFFF;

// States of a status answer; kUnanswered stands in the buffer before the first one.
inline constexpr uint8_t kStateDone = 0;
inline constexpr uint8_t kStateFirmware = 1;
inline constexpr uint8_t kStateSensor = 2;
inline constexpr uint8_t kUnanswered = 0xFF;
inline constexpr uint8_t kCodeBusy = 1;

struct StatusAnswer {
  uint8_t state;
  uint8_t code;

  bool IsBusy() const { return state == kStateFirmware && code == kCodeBusy; }
};

std::array<uint8_t, kRequestBytes> PackRequest(uint16_t command, uint16_t dataBytes,
                                               uint16_t argument);

using WriteRequest = std::array<uint8_t, kRequestBytes + kLongDataBytes>;

// The long form; the short one is its beginning. words holds at most kMaxDataWords.
WriteRequest PackWrite(uint16_t command, std::span<const uint16_t> words);

std::array<uint8_t, kClockBytes> PackClock(const DateTime16& time);

#endif
