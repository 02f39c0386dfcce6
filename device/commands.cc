#include "device/commands.h"

#include <array>
#include <bit>
#include <span>

#include "core/byte_order.h"
#include "core/clocks.h"
#include "core/device_record.h"
#include "core/status.h"
#include "device/command_wire.h"
#include "device/connection.h"

// Identity and answers travel little-endian and are taken over as they are.
static_assert(std::endian::native == std::endian::little);

namespace {

constexpr uint16_t kReadWithArgument = 0xFF01;
constexpr uint16_t kFirstLongWrite = 0xFF02;
constexpr uint16_t kLastLongWrite = 0xFF04;
constexpr uint32_t kFastPollMs = 1;

ZoStatus GetProperty(_ZoDev* dev, Selector selector, std::span<uint8_t> data) {
  return ZoLib_Priv_XuGetProp(dev, static_cast<uint8_t>(selector),
                              static_cast<uint16_t>(data.size()), data.data());
}

ZoStatus SetProperty(_ZoDev* dev, Selector selector, std::span<uint8_t> data) {
  return ZoLib_Priv_XuSetProp(dev, static_cast<uint8_t>(selector),
                              static_cast<uint16_t>(data.size()), data.data());
}

ZoStatus Transact(_ZoDev* dev, Selector requestSelector, std::span<uint8_t> request,
                  Selector statusSelector, std::span<uint8_t> status) {
  return ZoLib_Priv_CommandTransact(dev, static_cast<uint8_t>(requestSelector), request.data(),
                                    static_cast<uint16_t>(request.size()),
                                    static_cast<uint8_t>(statusSelector), status.data(),
                                    static_cast<uint16_t>(status.size()));
}

// What every command does around its own transfers, in the one order that all of them keep.
template <class Body>
ZoStatus Command(_ZoDev* dev, Body body) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  const ScopedLock lock(*dev->commandLock);
  ZoLib_Priv_ClearError(dev);
  if (dev->connected == 0) return ZO_STATUS_DEVICE_NOT_READY;
  return body();
}

// Keeps a camera's error in the handle.
ZoStatus EvaluateStatus(_ZoDev* dev, StatusAnswer answer) {
  switch (answer.state) {
    case kStateDone:
      return ZO_STATUS_OK;
    case kStateFirmware:
      dev->firmwareError = answer.code;
      return ZO_STATUS_FIRMWARE_ERROR;
    case kStateSensor:
      dev->sensorError = static_cast<int8_t>(answer.code);
      return ZO_STATUS_SENSOR_ERROR;
    default:
      return ZO_STATUS_INTERNAL_ERROR;
  }
}

}  // namespace

ZoStatus ZoLib_Priv_CommandTransact(_ZoDev* dev, uint8_t requestSelector, void* request,
                                    uint16_t requestBytes, uint8_t statusSelector, uint8_t* status,
                                    uint16_t statusBytes) {
  if (dev == nullptr || request == nullptr || status == nullptr) return ZO_STATUS_NULL_POINTER;
  if (statusBytes < kStatusBytes) return ZO_STATUS_INVALID_VALUE;
  const ZoStatus sent = ZoLib_Priv_XuSetProp(dev, requestSelector, requestBytes, request);
  if (sent != ZO_STATUS_OK) return sent;
  status[0] = kUnanswered;
  // Ends when the camera answers, when a transfer fails, or when someone clears connected.
  while (dev->connected != 0) {
    ZoLib_Priv_Sleep(dev->commandPollMs);
    const ZoStatus received = ZoLib_Priv_XuGetProp(dev, statusSelector, statusBytes, status);
    if (received != ZO_STATUS_OK) return received;
    if (!StatusAnswer{status[0], status[1]}.IsBusy()) break;
  }
  return EvaluateStatus(dev, {status[0], status[1]});
}

ZoStatus ZoLib_CommandRun(_ZoDev* dev, uint16_t high, uint16_t low) {
  return Command(dev, [&] {
    auto request = PackRequest(high | low, 0, 0);
    std::array<uint8_t, kStatusBytes> status{};
    return Transact(dev, Selector::kRunRequest, request, Selector::kRunStatus, status);
  });
}

ZoStatus ZoLib_CommandGet(_ZoDev* dev, uint16_t high, uint16_t low, uint16_t* words,
                          uint32_t count) {
  return Command(dev, [&]() -> ZoStatus {
    if (words == nullptr) return ZO_STATUS_NULL_POINTER;
    if (count > kMaxDataWords) return ZO_STATUS_INVALID_VALUE;
    const uint16_t command = high | low;
    const bool withArgument = command == kReadWithArgument;
    if (withArgument) dev->commandPollMs = kFastPollMs;

    const uint32_t dataBytes = count * 2;
    const bool isLong = withArgument || dataBytes > kShortDataBytes;
    auto request = PackRequest(command, static_cast<uint16_t>(dataBytes),
                               withArgument ? words[0] : kNoArgument);
    std::array<uint8_t, kStatusBytes + kLongDataBytes> response{};
    const std::span<uint8_t> answer(response.data(),
                                    kStatusBytes + (isLong ? kLongDataBytes : kShortDataBytes));
    const ZoStatus status = Transact(dev, Selector::kReadRequest, request,
                                     isLong ? Selector::kReadLong : Selector::kReadShort, answer);
    if (status != ZO_STATUS_OK) return status;
    const uint8_t* data = response.data() + kStatusBytes;
    for (std::size_t i = 0; i < count; ++i) words[i] = ReadLe16(data + 2 * i);
    return ZO_STATUS_OK;
  });
}

ZoStatus ZoLib_CommandSet(_ZoDev* dev, uint16_t high, uint16_t low, const uint16_t* words,
                          uint32_t count) {
  return Command(dev, [&]() -> ZoStatus {
    if (words == nullptr) return ZO_STATUS_NULL_POINTER;
    if (count > kMaxDataWords) return ZO_STATUS_INVALID_VALUE;
    const uint16_t command = high | low;
    const bool alwaysLong = command >= kFirstLongWrite && command <= kLastLongWrite;
    if (alwaysLong) dev->commandPollMs = kFastPollMs;

    const bool isLong = alwaysLong || count * 2 > kShortDataBytes;
    WriteRequest request = PackWrite(command, {words, count});
    const std::span<uint8_t> sent(request.data(),
                                  kRequestBytes + (isLong ? kLongDataBytes : kShortDataBytes));
    std::array<uint8_t, kStatusBytes> status{};
    return Transact(dev, isLong ? Selector::kWriteLong : Selector::kWriteShort, sent,
                    Selector::kWriteStatus, status);
  });
}

ZoStatus ZoLib_GetConfig(_ZoDev* dev, uint16_t* config) {
  return Command(dev, [&]() -> ZoStatus {
    if (config == nullptr) return ZO_STATUS_NULL_POINTER;
    std::array<uint8_t, 2> word{};
    const ZoStatus status = GetProperty(dev, Selector::kConfig, word);
    if (status == ZO_STATUS_OK) *config = ReadLe16(word.data());
    return status;
  });
}

ZoStatus ZoLib_SetConfig(_ZoDev* dev, uint16_t config) {
  return Command(dev, [&] {
    std::array<uint8_t, 2> word{};
    WriteLe16(word.data(), config);
    return SetProperty(dev, Selector::kConfig, word);
  });
}

ZoStatus ZoLib_GetActive(_ZoDev* dev, uint32_t* active) {
  return Command(dev, [&]() -> ZoStatus {
    if (active == nullptr) return ZO_STATUS_NULL_POINTER;
    std::array<uint8_t, 1> state{};
    const ZoStatus status = GetProperty(dev, Selector::kActive, state);
    if (status == ZO_STATUS_OK) *active = state[0];
    return status;
  });
}

ZoStatus ZoLib_Priv_SetTime(_ZoDev* dev) {
  return Command(dev, [&] {
    DateTime16 now{};
    ZoLib_Priv_GetLocalDateTime(&now);
    auto clock = PackClock(now);
    return SetProperty(dev, Selector::kClock, clock);
  });
}

ZoStatus ZoLib_EnableHighGainMode(_ZoDev* dev) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  const uint16_t product = dev->identityBlock.productId;
  if (product != 0x6101 && product != 0x6103) return ZO_STATUS_MODEL_UNSUPPORTED;
  constexpr uint16_t kZero[2] = {0, 0};
  const ZoStatus status = ZoLib_CommandSet(dev, 0x0200, 0x0048, kZero, 2);
  if (status != ZO_STATUS_OK) return status;
  constexpr uint16_t kOne[2] = {1, 0};
  return ZoLib_CommandSet(dev, 0x4E00, 0x00C4, kOne, 2);
}

ZoStatus ZoLib_Priv_DeviceGetInfo(_ZoDev* dev) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  IdentityBlock& identity = dev->identityBlock;
  const ZoStatus status = ZoLib_Priv_XuGetProp(dev, static_cast<uint8_t>(Selector::kIdentity),
                                               sizeof identity, &identity);
  if (status != ZO_STATUS_OK) return status;
  dev->serialNumber = 0;
  for (int i = 0; i < 4; ++i) {
    dev->serialNumber |= static_cast<uint64_t>(identity.serialWords[i]) << (16 * i);
  }
  return ZO_STATUS_OK;
}
