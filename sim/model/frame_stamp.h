// A frame's own proof of what it is: which camera sent it, which of that camera's frames it is, and
// a checksum of all its bytes. It stands in the last bytes of the footer, which carry nothing.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace zosim {

struct FrameStamp {
  uint64_t camera = 0;  // serial number
  uint64_t number = 0;  // the camera's frame number, lost frames counted
  uint64_t checksum = 0;

  bool operator==(const FrameStamp&) const = default;
};

// `frame` is a whole raw frame of any model; all but its last 24 bytes must be final.
void WriteStamp(uint64_t camera, uint64_t number, std::span<uint8_t> frame);

// None when the checksum does not fit the bytes: the frame is not one that a camera sent.
std::optional<FrameStamp> ReadStamp(std::span<const uint8_t> frame);

}  // namespace zosim
