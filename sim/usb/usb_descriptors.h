// What a camera tells about itself when it is plugged in: a USB video class 1.0 device of one
// uncompressed format with one picture size.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zosim::usb {

struct Identity {
  uint16_t vendorId = 0;
  uint16_t productId = 0;
  uint16_t releaseNumber = 0;
  std::string productName;   // empty: no such string
  std::string serialNumber;  // empty: no such string
};

struct VideoFormat {
  uint16_t width = 0;
  uint16_t height = 0;
  std::vector<uint32_t> intervals;  // between frames, in 100 ns, ascending; the last is the default

  uint32_t FrameBytes() const { return uint32_t{2} * width * height; }
};

enum class TransferKind { kBulk, kIsochronous };

constexpr uint8_t kControlInterface = 0;
constexpr uint8_t kStreamingInterface = 1;
constexpr uint32_t kVideoEndpoint = 1;
constexpr uint32_t kPayloadHeaderBytes = 2;
constexpr uint32_t kMostSurplusBytes = 512;  // of an overlong frame
// Isochronous packets: so large, one in every microframe of 125 us.
constexpr uint16_t kIsochronousPacketBytes = 1024;
constexpr uint32_t kMicroframesPerPacket = 1;

std::vector<uint8_t> DeviceDescriptor(const Identity& identity);
std::vector<uint8_t> ConfigurationDescriptor(const VideoFormat& format, TransferKind kind,
                                             bool hasExtensionUnit);
// Empty for strings that the device does not have. Index 0 is the list of languages.
std::vector<uint8_t> StringDescriptor(const Identity& identity, uint8_t index);

// The largest payload, header included: a frame in one bulk transfer, or one packet.
uint32_t PayloadBytes(const VideoFormat& format, TransferKind kind);

}  // namespace zosim::usb
