#include "sim/model/frame_stamp.h"

#include <bit>
#include <cstring>

namespace zosim {
namespace {

constexpr size_t kStampBytes = 24;
constexpr size_t kChecksumBytes = 8;

uint64_t WordAt(std::span<const uint8_t> bytes, size_t at) {
  uint64_t word = 0;
  std::memcpy(&word, &bytes[at], sizeof word);
  return word;
}

// Every frame is a whole number of 8-byte words.
uint64_t ChecksumOf(std::span<const uint8_t> bytes) {
  uint64_t sum = 0x9E3779B97F4A7C15;
  for (size_t at = 0; at < bytes.size(); at += sizeof sum) {
    sum = std::rotl((sum ^ WordAt(bytes, at)) * 0x100000001B3, 29);
  }
  return sum;
}

}  // namespace

void WriteStamp(uint64_t camera, uint64_t number, std::span<uint8_t> frame) {
  uint8_t* stamp = frame.last(kStampBytes).data();
  std::memcpy(stamp, &camera, sizeof camera);
  std::memcpy(stamp + 8, &number, sizeof number);
  const uint64_t checksum = ChecksumOf(frame.first(frame.size() - kChecksumBytes));
  std::memcpy(stamp + 16, &checksum, sizeof checksum);
}

std::optional<FrameStamp> ReadStamp(std::span<const uint8_t> frame) {
  const size_t at = frame.size() - kStampBytes;
  const FrameStamp stamp{WordAt(frame, at), WordAt(frame, at + 8), WordAt(frame, at + 16)};
  const bool fits = ChecksumOf(frame.first(frame.size() - kChecksumBytes)) == stamp.checksum;
  return fits ? std::optional(stamp) : std::nullopt;
}

}  // namespace zosim
