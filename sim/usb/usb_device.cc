#include "sim/usb/usb_device.h"

#include <linux/usb/video.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "sim/model/wire.h"

namespace zosim::usb {
namespace {

using std::chrono::milliseconds;

// Standard requests, and the fields of a setup packet.
constexpr uint8_t kGetStatus = 0;
constexpr uint8_t kGetDescriptor = 6;
constexpr uint8_t kGetConfiguration = 8;
constexpr uint8_t kSetConfiguration = 9;
constexpr uint8_t kGetInterface = 10;
constexpr uint8_t kTypeMask = 0x60;
constexpr uint8_t kClassType = 0x20;

constexpr uint8_t kDeviceDescriptor = 1;
constexpr uint8_t kConfigurationDescriptor = 2;
constexpr uint8_t kStringDescriptor = 3;

constexpr uint8_t kCanGet = 0x01;  // capability bits of GET_INFO
constexpr uint8_t kCanSet = 0x02;

constexpr uint8_t kEndOfFrame = 0x02;  // payload header bits; bit 0 toggles with every frame
constexpr uint8_t kErrorBit = 0x40;
constexpr uint8_t kEndOfHeader = 0x80;

constexpr uint32_t kStreamParameterBytes = 26;
constexpr milliseconds kFailingTransfers{100};
constexpr milliseconds kReconnectLeave{200};
constexpr milliseconds kReconnectReturn{500};
constexpr std::chrono::nanoseconds kShortestFrameTime = milliseconds(1);
constexpr std::chrono::microseconds kMicroframe{125};

struct Setup {
  explicit Setup(const Request& transfer)
      : type(transfer.setup[0]),
        request(transfer.setup[1]),
        value(GetLittle16(transfer.setup, 2)),
        index(GetLittle16(transfer.setup, 4)),
        length(GetLittle16(transfer.setup, 6)) {}
  uint8_t type;
  uint8_t request;
  uint16_t value;
  uint16_t index;
  uint16_t length;
};

std::string HexOf(std::span<const uint8_t> bytes) {
  std::string text;
  for (const uint8_t byte : bytes) {
    text += "0123456789abcdef"[byte >> 4];
    text += "0123456789abcdef"[byte & 0xF];
  }
  return text;
}

void PutLittle32(std::span<uint8_t> bytes, size_t at, uint32_t value) {
  PutLittle16(bytes, at, value & 0xFFFF);
  PutLittle16(bytes, at + 2, value >> 16);
}

uint32_t GetLittle32(std::span<const uint8_t> bytes, size_t at) {
  return GetLittle16(bytes, at) | static_cast<uint32_t>(GetLittle16(bytes, at + 2)) << 16;
}

}  // namespace

UsbDevice::UsbDevice(std::unique_ptr<VideoSource> source, TransferKind kind)
    : source_(std::move(source)), kind_(kind) {}

void UsbDevice::Plug() {
  if (Plugged()) return;
  plugAt_.reset();
  source_->PowerOn();
  lastStall_ = StallReason::kNone;
  configuration_ = 0;
  interval_ = source_->format().intervals.back();
  streaming_ = false;
  port_ = VhciPort::Attach();
}

void UsbDevice::Unplug(UnplugMode mode) {
  if (!Plugged()) return;
  if (mode == UnplugMode::kTransfersFailFirst) {
    FailTransfers();
    unplugAt_ = std::chrono::steady_clock::now() + kFailingTransfers;
    return;
  }
  unplugAt_.reset();
  port_.reset();
  videoRequests_.clear();
  streaming_ = false;
}

void UsbDevice::SetFrozen(bool frozen) {
  frozen_ = frozen;
  nextFrameAt_ = std::chrono::steady_clock::now() + FrameTime();
}

void UsbDevice::BreakTransfers() { FailTransfers(); }

void UsbDevice::SpoilFrames(unsigned count, Spoiled how) {
  spoiledFrames_ = count;
  spoiledHow_ = how;
}

void UsbDevice::AtTransfer(uint8_t selector, std::function<void()> action) {
  atTransfer_.emplace(selector, std::move(action));
}

std::vector<std::string> UsbDevice::TakeTransfers() { return std::exchange(transfers_, {}); }

void UsbDevice::FailTransfers() {
  for (const Request& request : videoRequests_) SendAnswer(Socket(), request, -EPROTO, {});
  videoRequests_.clear();
  streaming_ = false;
}

void UsbDevice::Receive() {
  const auto request = ReceiveRequest(Socket());
  if (!request) {  // the host let go of the device
    Unplug(UnplugMode::kPlain);
  } else if (request->isUnlink) {
    Unlink(*request);
  } else if (request->endpoint == 0) {
    Answer(*request);
  } else {
    if (!streaming_) StartStream();
    videoRequests_.push_back(*request);
  }
}

// The driver gives up its transfers when it stops the stream, and a control transfer that was not
// answered in time.
void UsbDevice::Unlink(const Request& request) {
  const auto found = std::ranges::find(videoRequests_, request.victim, &Request::sequence);
  if (found != videoRequests_.end()) {
    videoRequests_.erase(found);
    streaming_ = false;
  }
  SendUnlinked(Socket(), request, -ECONNRESET);
}

void UsbDevice::Answer(const Request& request) {
  Result result = HandleControl(request);
  if (!Plugged()) return;
  if (result.end.end == TransferResult::End::kNoAnswer) return;
  if (result.end.end == TransferResult::End::kStall) {
    SendAnswer(Socket(), request, -EPIPE, {});
  } else if (request.toHost) {
    const size_t most = std::min<size_t>(request.length, Setup(request).length);
    result.data.resize(std::min(result.data.size(), most));
    SendAnswer(Socket(), request, 0, result.data);
  } else {
    SendTaken(Socket(), request);
  }
}

UsbDevice::Result UsbDevice::HandleControl(const Request& request) {
  const Setup setup(request);
  if ((setup.type & kTypeMask) == 0) return HandleStandard(request);
  if ((setup.type & kTypeMask) != kClassType) {
    return {TransferResult::Stall(StallReason::kInvalidRequest), {}};
  }
  const bool streams = (setup.index & 0xFF) == kStreamingInterface;
  return streams ? HandleStreaming(request) : HandleVideoControl(request);
}

UsbDevice::Result UsbDevice::HandleStandard(const Request& request) {
  const Setup setup(request);
  switch (setup.request) {
    case kGetDescriptor: {
      std::vector<uint8_t> descriptor;
      if (setup.value >> 8 == kDeviceDescriptor) {
        descriptor = DeviceDescriptor(source_->identity());
      } else if (setup.value >> 8 == kConfigurationDescriptor) {
        descriptor =
            ConfigurationDescriptor(source_->format(), kind_, source_->camera() != nullptr);
      } else if (setup.value >> 8 == kStringDescriptor) {
        descriptor = StringDescriptor(source_->identity(), static_cast<uint8_t>(setup.value));
      }
      if (descriptor.empty()) return {TransferResult::Stall(StallReason::kInvalidRequest), {}};
      return {TransferResult::Done(), std::move(descriptor)};
    }
    case kGetStatus:
      return {TransferResult::Done(), {0, 0}};
    case kGetConfiguration:
      return {TransferResult::Done(), {configuration_}};
    case kSetConfiguration:
      configuration_ = static_cast<uint8_t>(setup.value);
      return {};
    case kGetInterface:
      return {TransferResult::Done(), {0}};
    default:  // alternate settings, features: nothing to do
      return {};
  }
}

UsbDevice::Result UsbDevice::HandleVideoControl(const Request& request) {
  const Setup setup(request);
  const auto unit = static_cast<uint8_t>(setup.index >> 8);
  const auto selector = static_cast<uint8_t>(setup.value >> 8);
  if (unit == 0 && selector == UVC_VC_REQUEST_ERROR_CODE_CONTROL && setup.request == UVC_GET_CUR) {
    return {TransferResult::Done(), {static_cast<uint8_t>(lastStall_)}};
  }
  if (atTransfer_ && atTransfer_->first == selector) {
    const auto action = std::exchange(atTransfer_, std::nullopt)->second;
    action();
    if (!Plugged()) return {};
  }
  Result result{TransferResult::Stall(StallReason::kInvalidUnit), {}};
  if (unit == kExtensionUnitId && source_->camera() != nullptr) {
    result = HandleExtensionUnit(request, selector);
  }
  lastStall_ = result.end.reason;
  return result;
}

UsbDevice::Result UsbDevice::HandleExtensionUnit(const Request& request, uint8_t selector) {
  const Setup setup(request);
  Firmware& firmware = source_->camera()->firmware();
  Result result{{}, request.data};
  result.end = firmware.Transfer(setup.request, selector, result.data);
  const bool sets = setup.request == UVC_SET_CUR;
  if (sets || setup.request == UVC_GET_CUR) {
    const bool carried = sets || result.end.end == TransferResult::End::kDone;
    transfers_.push_back((sets ? "SET_CUR " : "GET_CUR ") + std::to_string(selector) + " " +
                         (carried ? HexOf(result.data) : ""));
  }
  if (firmware.TakeReconnectRequest()) {
    unplugAt_ = std::chrono::steady_clock::now() + kReconnectLeave;
    plugAt_ = *unplugAt_ + kReconnectReturn;
  }
  return result;
}

// The stream's probe and commit controls: everything but the interval is fixed.
UsbDevice::Result UsbDevice::HandleStreaming(const Request& request) {
  const Setup setup(request);
  switch (setup.request) {
    case UVC_SET_CUR: {
      if (request.data.size() < kStreamParameterBytes) {
        return {TransferResult::Stall(StallReason::kInvalidValue), {}};
      }
      const uint32_t wanted = GetLittle32(request.data, 4);
      const auto distance = [&](uint32_t offered) {
        return offered > wanted ? offered - wanted : wanted - offered;
      };
      interval_ = std::ranges::min(source_->format().intervals, {}, distance);
      return {};
    }
    case UVC_GET_LEN:
      return {TransferResult::Done(), {kStreamParameterBytes, 0}};
    case UVC_GET_INFO:
      return {TransferResult::Done(), {kCanGet | kCanSet}};
    default:
      return {TransferResult::Done(), StreamParameters()};
  }
}

std::vector<uint8_t> UsbDevice::StreamParameters() const {
  std::vector<uint8_t> parameters(kStreamParameterBytes);
  parameters[0] = 1;  // the interval is what it is
  parameters[2] = 1;  // format
  parameters[3] = 1;  // frame
  PutLittle32(parameters, 4, interval_);
  PutLittle32(parameters, 18, source_->format().FrameBytes());
  PutLittle32(parameters, 22, PayloadBytes(source_->format(), kind_));
  return parameters;
}

double UsbDevice::Rate() const {
  constexpr double kIntervalsPerSecond = 1e7;
  const double rate = source_->RateFor(kIntervalsPerSecond / interval_);
  return rate > 0.0 ? rate : 1e9 / static_cast<double>(kShortestFrameTime.count());
}

std::chrono::nanoseconds UsbDevice::FrameTime() const {
  const std::chrono::nanoseconds time{static_cast<int64_t>(1e9 / Rate())};
  return std::max(time, kShortestFrameTime);
}

void UsbDevice::StartStream() {
  streaming_ = true;
  payload_.clear();
  payloadSent_ = 0;
  const Time now = std::chrono::steady_clock::now();
  nextFrameAt_ = now + FrameTime();
  nextPacketsAt_ = now;
}

std::optional<Time> UsbDevice::NextDue() const {
  std::optional<Time> due;
  const auto add = [&](const std::optional<Time>& time) {
    if (time && (!due || *time < *due)) due = time;
  };
  if (Plugged()) {
    add(unplugAt_);
  } else {
    add(plugAt_);
  }
  if (streaming_ && !frozen_) add(nextFrameAt_);
  if (streaming_ && kind_ == TransferKind::kIsochronous) add(nextPacketsAt_);
  return due;
}

void UsbDevice::Advance() {
  const Time now = std::chrono::steady_clock::now();
  if (Plugged() && unplugAt_ && *unplugAt_ <= now) Unplug(UnplugMode::kPlain);
  if (!Plugged() && plugAt_ && *plugAt_ <= now) Plug();
  if (!streaming_) return;
  if (!frozen_) MakeDueFrames(now);
  if (kind_ == TransferKind::kBulk) {
    SendBulk();
  } else {
    SendIsochronous(now);
  }
}

// A frame that comes while the one before is still on its way is lost.
void UsbDevice::MakeDueFrames(Time now) {
  for (; nextFrameAt_ <= now; nextFrameAt_ += FrameTime()) {
    if (payload_.empty()) {
      MakePayload();
    } else {
      source_->SkipFrame(Rate());
      ++framesLost_;
    }
  }
}

void UsbDevice::MakePayload() {
  const size_t header = kind_ == TransferKind::kBulk ? kPayloadHeaderBytes : 0;
  payload_.resize(header + source_->format().FrameBytes());
  source_->NextFrame(Rate(), std::span(payload_).subspan(header));
  payloadSent_ = 0;
  frameToggle_ ^= 1;
  frameMarked_ = false;
  if (spoiledFrames_ > 0) {
    --spoiledFrames_;
    if (spoiledHow_ == Spoiled::kShort) payload_.resize(payload_.size() / 2);
    if (spoiledHow_ == Spoiled::kOverlong) payload_.resize(payload_.size() + kMostSurplusBytes);
    frameMarked_ = spoiledHow_ == Spoiled::kMarked;
  }
  if (header == 0) return;
  payload_[0] = kPayloadHeaderBytes;
  payload_[1] = static_cast<uint8_t>(kEndOfHeader | kEndOfFrame | frameToggle_ |
                                     (frameMarked_ ? kErrorBit : 0));
}

void UsbDevice::SendBulk() {
  while (!payload_.empty() && !videoRequests_.empty()) {
    const Request& request = videoRequests_.front();
    const size_t count = std::min<size_t>(request.length, payload_.size() - payloadSent_);
    SendAnswer(Socket(), request, 0, std::span(payload_).subspan(payloadSent_, count));
    videoRequests_.pop_front();
    payloadSent_ += count;
    if (payloadSent_ < payload_.size()) continue;
    payload_.clear();
    ++framesSent_;
  }
}

// A request is over when the bus has passed all of its packets, with or without data in them.
void UsbDevice::SendIsochronous(Time now) {
  while (nextPacketsAt_ <= now && !videoRequests_.empty()) {
    Request request = std::move(videoRequests_.front());
    videoRequests_.pop_front();
    nextPacketsAt_ += kMicroframe * kMicroframesPerPacket * request.packets.size();
    std::vector<uint8_t> data;
    for (IsochronousPacket& packet : request.packets) {
      const size_t room = std::min<size_t>(packet.length, kIsochronousPacketBytes);
      const size_t count = std::min(room - std::min<size_t>(room, kPayloadHeaderBytes),
                                    payload_.size() - payloadSent_);
      const bool last = count > 0 && payloadSent_ + count == payload_.size();
      data.push_back(kPayloadHeaderBytes);
      data.push_back(static_cast<uint8_t>(kEndOfHeader | frameToggle_ | (last ? kEndOfFrame : 0) |
                                          (frameMarked_ && count > 0 ? kErrorBit : 0)));
      const auto part = std::span(payload_).subspan(payloadSent_, count);
      data.insert(data.end(), part.begin(), part.end());
      packet.actualLength = static_cast<uint32_t>(kPayloadHeaderBytes + count);
      payloadSent_ += count;
      if (!last) continue;
      payload_.clear();
      payloadSent_ = 0;
      ++framesSent_;
    }
    SendPackets(Socket(), request, request.packets, data);
  }
  // The host was late: what it missed is not made up for.
  if (videoRequests_.empty()) nextPacketsAt_ = std::max(nextPacketsAt_, now + kMicroframe);
}

}  // namespace zosim::usb
