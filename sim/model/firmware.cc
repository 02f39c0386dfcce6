#include "sim/model/firmware.h"

#include <linux/usb/video.h>

#include <algorithm>
#include <utility>

#include "sim/model/wire.h"

namespace zosim {
namespace {

constexpr uint16_t kPagedRead = 0xFF01;
constexpr uint16_t kReconnectBit = 0x8000;
constexpr size_t kRequestHeader = 6;  // command, byte count, third word
constexpr size_t kMostData = 32;
constexpr uint8_t kFirmwareError = 1;
constexpr uint8_t kBusyCode = 1;
constexpr uint8_t kBadLengthCode = 2;  // a request whose byte count does not fit

}  // namespace

Firmware::Firmware(const CameraConfig& config) : config_(config) {}

void Firmware::ScriptAnswer(Answer answer) {
  std::lock_guard lock(mutex_);
  answers_.push_back(answer);
}

void Firmware::StopBusy() {
  std::lock_guard lock(mutex_);
  for (Response* response : {&read_, &write_, &run_}) response->answer.busyPolls = 0;
}

void Firmware::ScriptTransfer(uint8_t selector, TransferResult result, unsigned times) {
  std::lock_guard lock(mutex_);
  scriptedTransfers_[selector] = {result, times};
}

void Firmware::SetRegister(uint16_t command, std::vector<uint8_t> data) {
  std::lock_guard lock(mutex_);
  registers_[command] = std::move(data);
}

std::vector<uint8_t> Firmware::Register(uint16_t command) const {
  std::lock_guard lock(mutex_);
  const auto found = registers_.find(command);
  return found == registers_.end() ? std::vector<uint8_t>() : found->second;
}

void Firmware::SetPage(uint16_t argument, std::vector<uint8_t> data) {
  std::lock_guard lock(mutex_);
  pages_[argument] = std::move(data);
}

std::vector<uint16_t> Firmware::RunCommands() const {
  std::lock_guard lock(mutex_);
  return runCommands_;
}

void Firmware::SetActive(uint8_t state) {
  std::lock_guard lock(mutex_);
  active_ = state;
}

void Firmware::SetConfigWord(uint16_t word) {
  std::lock_guard lock(mutex_);
  configWord_ = word;
}

uint16_t Firmware::ConfigWord() const {
  std::lock_guard lock(mutex_);
  return configWord_;
}

std::optional<Firmware::Clock> Firmware::LastClock() const {
  std::lock_guard lock(mutex_);
  return clock_;
}

bool Firmware::TakeReconnectRequest() {
  std::lock_guard lock(mutex_);
  return std::exchange(reconnectRequested_, false);
}

void Firmware::Restart() {
  std::lock_guard lock(mutex_);
  read_ = write_ = run_ = {};
  reconnectRequested_ = false;
}

std::optional<TransferResult> Firmware::TakeScripted(uint8_t selector) {
  const auto found = scriptedTransfers_.find(selector);
  if (found == scriptedTransfers_.end()) return std::nullopt;
  auto& [result, times] = found->second;
  const TransferResult taken = result;
  if (times != kForever && --times == 0) scriptedTransfers_.erase(found);
  return taken;
}

TransferResult Firmware::Transfer(uint8_t request, uint8_t selector, std::vector<uint8_t>& data) {
  const auto control = ControlFor(selector);
  if (!control) return TransferResult::Stall(StallReason::kInvalidControl);
  if (request == UVC_SET_CUR && control->canSet && data.size() == control->size) {
    return SetCurrent(selector, data);
  }
  if (request == UVC_GET_CUR && control->canGet) {
    data.assign(control->size, 0);
    return GetCurrent(selector, data);
  }
  auto description = DescribeControl(*control, request);
  if (!description) return TransferResult::Stall(StallReason::kInvalidRequest);
  data = std::move(*description);
  return TransferResult::Done();
}

TransferResult Firmware::SetCurrent(uint8_t selector, std::span<const uint8_t> data) {
  std::lock_guard lock(mutex_);
  if (const auto scripted = TakeScripted(selector)) return *scripted;
  switch (selector) {
    case kReadRequest:
      StartRead(data);
      return TransferResult::Done();
    case kWriteShort:
    case kWriteLong:
      StartWrite(data, data.size() - kRequestHeader);
      return TransferResult::Done();
    case kRunRequest:
      run_ = NewResponse();
      runCommands_.push_back(GetLittle16(data, 0));
      return TransferResult::Done();
    case kConfig: {
      const uint16_t word = GetLittle16(data, 0);
      configWord_ = word & static_cast<uint16_t>(~kReconnectBit);
      if ((word & kReconnectBit) != 0) reconnectRequested_ = true;
      return TransferResult::Done();
    }
    case kClock:
      clock_.emplace();
      std::copy_n(data.begin(), clock_->size(), clock_->begin());
      return TransferResult::Done();
    default:
      return TransferResult::Stall(StallReason::kInvalidRequest);
  }
}

TransferResult Firmware::GetCurrent(uint8_t selector, std::span<uint8_t> data) {
  std::lock_guard lock(mutex_);
  if (const auto scripted = TakeScripted(selector)) return *scripted;
  switch (selector) {
    case kIdentity:
      ReadIdentity(data);
      return TransferResult::Done();
    case kActive:
      data[0] = active_;
      return TransferResult::Done();
    case kReadShort:
    case kReadLong:
      ReadStatus(read_, data);
      return TransferResult::Done();
    case kWriteStatus:
      ReadStatus(write_, data);
      return TransferResult::Done();
    case kRunStatus:
      ReadStatus(run_, data);
      return TransferResult::Done();
    case kConfig:
      PutLittle16(data, 0, configWord_);
      return TransferResult::Done();
    default:
      return TransferResult::Stall(StallReason::kInvalidRequest);
  }
}

Firmware::Response Firmware::NewResponse() {
  Response response;
  if (!answers_.empty()) {
    response.answer = answers_.front();
    answers_.pop_front();
  }
  return response;
}

void Firmware::StartRead(std::span<const uint8_t> request) {
  read_ = NewResponse();
  const uint16_t command = GetLittle16(request, 0);
  const uint16_t wanted = GetLittle16(request, 2);
  const uint16_t argument = GetLittle16(request, 4);
  if (wanted > kMostData) {
    read_.answer = {0, kFirmwareError, kBadLengthCode};
    return;
  }
  const auto& store = command == kPagedRead ? pages_ : registers_;
  const auto found = store.find(command == kPagedRead ? argument : command);
  if (found != store.end()) read_.data = found->second;
  read_.data.resize(wanted);
}

void Firmware::StartWrite(std::span<const uint8_t> request, size_t room) {
  write_ = NewResponse();
  const uint16_t command = GetLittle16(request, 0);
  const uint16_t given = GetLittle16(request, 2);
  if (given > room) {
    write_.answer = {0, kFirmwareError, kBadLengthCode};
    return;
  }
  const auto data = request.subspan(kRequestHeader, given);
  if (write_.answer.state == 0) registers_[command].assign(data.begin(), data.end());
}

void Firmware::ReadStatus(Response& response, std::span<uint8_t> data) {
  std::fill(data.begin(), data.end(), uint8_t{0});
  Answer& answer = response.answer;
  if (answer.busyPolls > 0) {
    if (answer.busyPolls != kForever) --answer.busyPolls;
    data[0] = kFirmwareError;
    data[1] = kBusyCode;
    return;
  }
  data[0] = answer.state;
  data[1] = answer.code;
  if (answer.state != 0) return;
  const size_t count = std::min(response.data.size(), data.size() - 2);
  std::copy_n(response.data.begin(), count, data.begin() + 2);
}

void Firmware::ReadIdentity(std::span<uint8_t> data) const {
  std::fill(data.begin(), data.end(), uint8_t{0});
  PutLittle16(data, 0, config_.vendorId);
  PutLittle16(data, 2, config_.productId);
  PutLittle16(data, 4, config_.releaseNumber);
  PutLittle16(data, 6, config_.firmwareVersion);
  for (size_t word = 0; word < 4; ++word) {
    PutLittle16(data, 8 + 2 * word, (config_.serialNumber >> (16 * word)) & 0xFFFF);
  }
  data[16] = config_.infoFlags;
}

}  // namespace zosim
