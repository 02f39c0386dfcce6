// The camera's vendor extension unit as USB sees it: which controls there are, and how a transfer
// on one of them can end.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace zosim {

constexpr uint8_t kExtensionUnitId = 4;

enum Selector : uint8_t {
  kIdentity = 1,
  kActive = 2,
  kReadRequest = 3,
  kReadShort = 4,
  kReadLong = 5,
  kWriteShort = 6,
  kWriteLong = 7,
  kWriteStatus = 8,
  kRunRequest = 9,
  kRunStatus = 10,
  kConfig = 11,
  kClock = 12,
};

struct ControlInfo {
  uint16_t size;
  bool canGet;
  bool canSet;
};

// The control behind a selector; none for selectors the unit does not have.
std::optional<ControlInfo> ControlFor(uint8_t selector);

// What the camera tells of a control: the answer to GET_LEN, GET_INFO, GET_MIN, GET_MAX, GET_RES or
// GET_DEF, and none to other requests.
std::optional<std::vector<uint8_t>> DescribeControl(const ControlInfo& control, uint8_t request);

// UVC request error codes, as a camera reports them after it stalled a request.
enum class StallReason : uint8_t {
  kNone = 0,
  kNotReady = 1,
  kWrongState = 2,
  kPower = 3,
  kOutOfRange = 4,
  kInvalidUnit = 5,
  kInvalidControl = 6,
  kInvalidRequest = 7,
  kInvalidValue = 8,
};

struct TransferResult {
  enum class End { kDone, kStall, kNoAnswer };
  End end = End::kDone;
  StallReason reason = StallReason::kNone;

  static TransferResult Done() { return {}; }
  static TransferResult Stall(StallReason reason) { return {End::kStall, reason}; }
  static TransferResult NoAnswer() { return {End::kNoAnswer, StallReason::kNone}; }
};

}  // namespace zosim
