// The USB/IP wire protocol as a device sees it: requests come from the kernel's virtual host
// controller through a stream socket, answers go back. Everything on the wire is big-endian.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace zosim::usb {

// One packet of an isochronous transfer: its place in the host's buffer, and what it became.
struct IsochronousPacket {
  uint32_t offset = 0;
  uint32_t length = 0;
  uint32_t actualLength = 0;
};

struct Request {
  bool isUnlink = false;
  uint32_t sequence = 0;
  uint32_t victim = 0;  // of an unlink: the request to give up
  bool toHost = false;
  uint32_t endpoint = 0;
  uint32_t length = 0;                // of the host's buffer
  std::array<uint8_t, 8> setup = {};  // endpoint 0
  std::vector<uint8_t> data;          // to the device
  std::vector<IsochronousPacket> packets;
};

// Waits for the next request; none when the host closed the connection or wrote nonsense.
std::optional<Request> ReceiveRequest(int socket);

// `status` is 0 or a negative errno, as the host's driver will see it. `data` goes to the host.
void SendAnswer(int socket, const Request& request, int status, std::span<const uint8_t> data);
// How many bytes of a transfer to the device were taken.
void SendTaken(int socket, const Request& request);
// The packets' data follow one another without gaps.
void SendPackets(int socket, const Request& request, std::span<const IsochronousPacket> packets,
                 std::span<const uint8_t> data);
// `status` tells whether the victim was given up (-ECONNRESET) or was over already (0).
void SendUnlinked(int socket, const Request& request, int status);

}  // namespace zosim::usb
