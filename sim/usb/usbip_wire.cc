#include "sim/usb/usbip_wire.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

namespace zosim::usb {
namespace {

constexpr size_t kHeaderBytes = 48;
constexpr size_t kPacketBytes = 16;  // an isochronous packet's description
constexpr uint32_t kSubmit = 1;
constexpr uint32_t kUnlink = 2;
constexpr uint32_t kSubmitAnswer = 3;
constexpr uint32_t kUnlinkAnswer = 4;
constexpr uint32_t kToHost = 1;
constexpr uint32_t kMostBytes = 1 << 20;  // beyond anything that the driver asks for
constexpr uint32_t kMostPackets = 1024;

uint32_t Word(std::span<const uint8_t> bytes, size_t index) {
  const auto at = bytes.subspan(4 * index, 4);
  return static_cast<uint32_t>(at[0] << 24 | at[1] << 16 | at[2] << 8 | at[3]);
}

void Append(std::vector<uint8_t>& bytes, uint32_t word) {
  for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<uint8_t>(word >> shift));
}

bool ReceiveAll(int socket, std::span<uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t count = recv(socket, bytes.data(), bytes.size(), MSG_WAITALL);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    bytes = bytes.subspan(static_cast<size_t>(count));
  }
  return true;
}

// A host that went away shows at the next ReceiveRequest.
void SendAll(int socket, std::span<const uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t count = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return;
    bytes = bytes.subspan(static_cast<size_t>(count));
  }
}

// An answer's header: the request's number and nothing else of it.
std::vector<uint8_t> AnswerHeader(uint32_t command, const Request& request, int status) {
  std::vector<uint8_t> bytes;
  for (const uint32_t word : {command, request.sequence, 0U, 0U, 0U}) Append(bytes, word);
  Append(bytes, static_cast<uint32_t>(status));
  return bytes;
}

void AppendCounts(std::vector<uint8_t>& header, size_t actualLength, size_t packets) {
  Append(header, static_cast<uint32_t>(actualLength));
  Append(header, 0);  // start frame
  Append(header, static_cast<uint32_t>(packets));
  Append(header, 0);  // errors
  header.resize(kHeaderBytes);
}

}  // namespace

std::optional<Request> ReceiveRequest(int socket) {
  std::array<uint8_t, kHeaderBytes> header;
  if (!ReceiveAll(socket, header)) return std::nullopt;
  Request request;
  request.sequence = Word(header, 1);
  request.toHost = Word(header, 3) == kToHost;
  request.endpoint = Word(header, 4);
  if (Word(header, 0) == kUnlink) {
    request.isUnlink = true;
    request.victim = Word(header, 5);
    return request;
  }
  if (Word(header, 0) != kSubmit) return std::nullopt;
  request.length = Word(header, 6);
  const uint32_t packets = Word(header, 8);
  std::copy_n(header.begin() + 40, request.setup.size(), request.setup.begin());
  if (request.length > kMostBytes) return std::nullopt;
  if (!request.toHost) {
    request.data.resize(request.length);
    if (!ReceiveAll(socket, request.data)) return std::nullopt;
  }
  // A transfer without packets says so with 0 or, from newer kernels, with all bits set.
  for (uint32_t i = 0; packets <= kMostPackets && i < packets; ++i) {
    std::array<uint8_t, kPacketBytes> packet;
    if (!ReceiveAll(socket, packet)) return std::nullopt;
    request.packets.push_back({Word(packet, 0), Word(packet, 1), 0});
  }
  return request;
}

void SendAnswer(int socket, const Request& request, int status, std::span<const uint8_t> data) {
  std::vector<uint8_t> bytes = AnswerHeader(kSubmitAnswer, request, status);
  AppendCounts(bytes, data.size(), 0);
  bytes.insert(bytes.end(), data.begin(), data.end());
  SendAll(socket, bytes);
}

void SendTaken(int socket, const Request& request) {
  std::vector<uint8_t> bytes = AnswerHeader(kSubmitAnswer, request, 0);
  AppendCounts(bytes, request.data.size(), 0);
  SendAll(socket, bytes);
}

void SendPackets(int socket, const Request& request, std::span<const IsochronousPacket> packets,
                 std::span<const uint8_t> data) {
  std::vector<uint8_t> bytes = AnswerHeader(kSubmitAnswer, request, 0);
  AppendCounts(bytes, data.size(), packets.size());
  bytes.insert(bytes.end(), data.begin(), data.end());
  for (const IsochronousPacket& packet : packets) {
    for (const uint32_t word : {packet.offset, packet.length, packet.actualLength, 0U}) {
      Append(bytes, word);
    }
  }
  SendAll(socket, bytes);
}

void SendUnlinked(int socket, const Request& request, int status) {
  std::vector<uint8_t> bytes = AnswerHeader(kUnlinkAnswer, request, status);
  bytes.resize(kHeaderBytes);
  SendAll(socket, bytes);
}

}  // namespace zosim::usb
