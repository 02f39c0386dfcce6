#include "device/command_wire.h"

#include <algorithm>

#include "core/byte_order.h"

std::array<uint8_t, kRequestBytes> PackRequest(uint16_t command, uint16_t dataBytes,
                                               uint16_t argument) {
  std::array<uint8_t, kRequestBytes> request{};
  WriteLe16(&request[0], command);
  WriteLe16(&request[2], dataBytes);
  WriteLe16(&request[4], argument);
  return request;
}

WriteRequest PackWrite(uint16_t command, std::span<const uint16_t> words) {
  WriteRequest request{};
  std::ranges::copy(PackRequest(command, static_cast<uint16_t>(words.size_bytes()), 0),
                    request.begin());
  uint8_t* data = request.data() + kRequestBytes;
  for (const uint16_t word : words) {
    WriteLe16(data, word);
    data += 2;
  }
  return request;
}

std::array<uint8_t, kClockBytes> PackClock(const DateTime16& time) {
  std::array<uint8_t, kClockBytes> clock{};
  WriteLe16(&clock[0], time.year);
  clock[2] = static_cast<uint8_t>(time.month);
  clock[3] = static_cast<uint8_t>(time.day);
  clock[4] = static_cast<uint8_t>(time.dayOfWeek);
  clock[5] = static_cast<uint8_t>(time.hour);
  clock[6] = static_cast<uint8_t>(time.minute);
  clock[7] = static_cast<uint8_t>(time.second);
  return clock;
}
