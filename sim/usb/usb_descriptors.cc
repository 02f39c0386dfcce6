#include "sim/usb/usb_descriptors.h"

#include <array>
#include <initializer_list>
#include <span>

#include "sim/model/extension_unit.h"

namespace zosim::usb {
namespace {

// Descriptor types and subtypes, named as in the USB video class.
constexpr uint8_t kDevice = 1;
constexpr uint8_t kConfiguration = 2;
constexpr uint8_t kString = 3;
constexpr uint8_t kInterface = 4;
constexpr uint8_t kEndpoint = 5;
constexpr uint8_t kAssociation = 11;
constexpr uint8_t kClassInterface = 0x24;
constexpr uint8_t kHeader = 1;
constexpr uint8_t kInputTerminal = 2;
constexpr uint8_t kOutputTerminal = 3;
constexpr uint8_t kExtensionUnit = 6;
constexpr uint8_t kInputHeader = 1;
constexpr uint8_t kUncompressedFormat = 4;
constexpr uint8_t kUncompressedFrame = 5;

constexpr uint8_t kVideoClass = 0x0E;
constexpr uint8_t kControlSubclass = 1;
constexpr uint8_t kStreamingSubclass = 2;
constexpr uint8_t kCollectionSubclass = 3;

constexpr uint8_t kCameraTerminalId = 1;
constexpr uint8_t kOutputTerminalId = 3;
constexpr uint8_t kProductString = 1;
constexpr uint8_t kSerialString = 2;
constexpr uint16_t kUsbVersion = 0x0200;
constexpr uint16_t kVideoClassVersion = 0x0100;
constexpr uint32_t kClockHz = 1000000;
constexpr uint16_t kBulkPacketBytes = 512;

constexpr std::array<uint8_t, 16> kYuy2 = {'Y',  'U',  'Y',  '2',  0x00, 0x00, 0x10, 0x00,
                                           0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
// The unit's own identifier; nobody looks for it.
constexpr std::array<uint8_t, 16> kUnitGuid = {'z', 'o', 's', 'i', 'm', ' ', 'c', 'o',
                                               'm', 'm', 'a', 'n', 'd', 's', ' ', '1'};

class Bytes {
 public:
  Bytes& U8(std::initializer_list<unsigned> values) {
    for (const unsigned value : values) bytes_.push_back(static_cast<uint8_t>(value));
    return *this;
  }
  Bytes& U16(unsigned value) { return U8({value & 0xFF, value >> 8 & 0xFF}); }
  Bytes& U32(uint32_t value) { return U16(value & 0xFFFF).U16(value >> 16); }
  Bytes& All(std::span<const uint8_t> other) {
    bytes_.insert(bytes_.end(), other.begin(), other.end());
    return *this;
  }
  // With its own length in front, as every descriptor begins.
  std::vector<uint8_t> Counted() const {
    std::vector<uint8_t> counted = {static_cast<uint8_t>(bytes_.size() + 1)};
    counted.insert(counted.end(), bytes_.begin(), bytes_.end());
    return counted;
  }
  const std::vector<uint8_t>& bytes() const { return bytes_; }
  unsigned size() const { return static_cast<unsigned>(bytes_.size()); }

 private:
  std::vector<uint8_t> bytes_;
};

std::vector<uint8_t> Interface(unsigned number, unsigned alternate, unsigned endpoints,
                               unsigned subclass) {
  return Bytes()
      .U8({kInterface, number, alternate, endpoints, kVideoClass, subclass, 0, 0})
      .Counted();
}

std::vector<uint8_t> Endpoint(unsigned attributes, unsigned packetBytes, unsigned interval) {
  return Bytes()
      .U8({kEndpoint, 0x80 | kVideoEndpoint, attributes})
      .U16(packetBytes)
      .U8({interval})
      .Counted();
}

// The units behind the control interface: camera, extension unit if there is one, and the stream.
Bytes ControlUnits(bool hasExtensionUnit) {
  Bytes units;
  units.All(Bytes()
                .U8({kClassInterface, kInputTerminal, kCameraTerminalId})
                .U16(0x0201)  // a camera
                .U8({0, 0})
                .U16(0)
                .U16(0)
                .U16(0)         // no zoom
                .U8({2, 0, 0})  // and no controls
                .Counted());
  if (hasExtensionUnit) {
    unsigned controls = 0;
    unsigned count = 0;
    for (uint8_t selector = 1; ControlFor(selector); ++selector, ++count) {
      controls |= 1U << (selector - 1);
    }
    units.All(Bytes()
                  .U8({kClassInterface, kExtensionUnit, kExtensionUnitId})
                  .All(kUnitGuid)
                  .U8({count, 1, kCameraTerminalId, 2})
                  .U16(controls)
                  .U8({0})
                  .Counted());
  }
  const unsigned source = hasExtensionUnit ? kExtensionUnitId : kCameraTerminalId;
  units.All(Bytes()
                .U8({kClassInterface, kOutputTerminal, kOutputTerminalId})
                .U16(0x0101)  // a USB stream
                .U8({0, source, 0})
                .Counted());
  return units;
}

Bytes StreamFormat(const VideoFormat& format) {
  Bytes formats;
  formats.All(Bytes()
                  .U8({kClassInterface, kUncompressedFormat, 1, 1})
                  .All(kYuy2)
                  .U8({16, 1, 0, 0, 0, 0})
                  .Counted());
  Bytes frame;
  const auto bitsPerSecond = [&](uint32_t interval) {
    return static_cast<uint32_t>(uint64_t{8} * format.FrameBytes() * 10000000 / interval);
  };
  frame.U8({kClassInterface, kUncompressedFrame, 1, 0})
      .U16(format.width)
      .U16(format.height)
      .U32(bitsPerSecond(format.intervals.back()))
      .U32(bitsPerSecond(format.intervals.front()))
      .U32(format.FrameBytes())
      .U32(format.intervals.back())
      .U8({static_cast<unsigned>(format.intervals.size())});
  for (const uint32_t interval : format.intervals) frame.U32(interval);
  return formats.All(frame.Counted());
}

}  // namespace

uint32_t PayloadBytes(const VideoFormat& format, TransferKind kind) {
  return kind == TransferKind::kBulk ? kPayloadHeaderBytes + format.FrameBytes() + kMostSurplusBytes
                                     : kIsochronousPacketBytes;
}

std::vector<uint8_t> DeviceDescriptor(const Identity& identity) {
  return Bytes()
      .U8({kDevice})
      .U16(kUsbVersion)
      .U8({0xEF, 2, 1, 64})  // interfaces belong together as their associations tell
      .U16(identity.vendorId)
      .U16(identity.productId)
      .U16(identity.releaseNumber)
      .U8({0, identity.productName.empty() ? 0U : kProductString,
           identity.serialNumber.empty() ? 0U : kSerialString, 1})
      .Counted();
}

std::vector<uint8_t> ConfigurationDescriptor(const VideoFormat& format, TransferKind kind,
                                             bool hasExtensionUnit) {
  Bytes body;
  body.All(Bytes()
               .U8({kAssociation, kControlInterface, 2, kVideoClass, kCollectionSubclass, 0, 0})
               .Counted());

  const Bytes units = ControlUnits(hasExtensionUnit);
  body.All(Interface(kControlInterface, 0, 0, kControlSubclass));
  constexpr unsigned kControlHeaderBytes = 13;
  body.All(Bytes()
               .U8({kClassInterface, kHeader})
               .U16(kVideoClassVersion)
               .U16(kControlHeaderBytes + units.size())
               .U32(kClockHz)
               .U8({1, kStreamingInterface})
               .Counted());
  body.All(units.bytes());

  const bool bulk = kind == TransferKind::kBulk;
  const Bytes formats = StreamFormat(format);
  body.All(Interface(kStreamingInterface, 0, bulk ? 1 : 0, kStreamingSubclass));
  constexpr unsigned kInputHeaderBytes = 14;
  body.All(Bytes()
               .U8({kClassInterface, kInputHeader, 1})
               .U16(kInputHeaderBytes + formats.size())
               .U8({0x80 | kVideoEndpoint, 0, kOutputTerminalId, 0, 0, 0, 1, 0})
               .Counted());
  body.All(formats.bytes());
  if (bulk) {
    body.All(Endpoint(0x02, kBulkPacketBytes, 0));
  } else {
    body.All(Interface(kStreamingInterface, 1, 1, kStreamingSubclass));
    body.All(Endpoint(0x05, kIsochronousPacketBytes, kMicroframesPerPacket));
  }

  constexpr unsigned kConfigurationBytes = 9;
  Bytes all;
  all.All(Bytes()
              .U8({kConfiguration})
              .U16(kConfigurationBytes + body.size())
              .U8({2, 1, 0, 0x80, 250})  // two interfaces, fed by the bus with up to 500 mA
              .Counted());
  return all.All(body.bytes()).bytes();
}

std::vector<uint8_t> StringDescriptor(const Identity& identity, uint8_t index) {
  constexpr unsigned kEnglish = 0x0409;
  Bytes string;
  string.U8({kString});
  if (index == 0) return string.U16(kEnglish).Counted();
  const std::string& text = index == kProductString ? identity.productName : identity.serialNumber;
  if (index > kSerialString || text.empty()) return {};
  constexpr size_t kMostCharacters = 126;  // the length is one byte
  for (const char character : text.substr(0, kMostCharacters)) {
    string.U16(static_cast<unsigned char>(character));
  }
  return string.Counted();
}

}  // namespace zosim::usb
