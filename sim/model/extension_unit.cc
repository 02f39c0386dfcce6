#include "sim/model/extension_unit.h"

#include <linux/usb/video.h>

#include <array>

namespace zosim {
namespace {

constexpr uint8_t kCanGet = 0x01;  // capability bits of GET_INFO
constexpr uint8_t kCanSet = 0x02;

constexpr std::array<ControlInfo, 12> kControls = {{
    {24, true, false},  // identity
    {1, true, false},   // active state
    {6, false, true},   // read request
    {6, true, false},   // read response, 4 data bytes
    {34, true, false},  // read response, 32 data bytes
    {10, false, true},  // write request, 4 data bytes
    {38, false, true},  // write request, 32 data bytes
    {2, true, false},   // write status
    {6, false, true},   // run request
    {2, true, false},   // run status
    {2, true, true},    // configuration word
    {8, false, true},   // clock
}};

}  // namespace

std::optional<ControlInfo> ControlFor(uint8_t selector) {
  if (selector < 1 || selector > kControls.size()) return std::nullopt;
  return kControls[selector - 1];
}

std::optional<std::vector<uint8_t>> DescribeControl(const ControlInfo& control, uint8_t request) {
  using Bytes = std::vector<uint8_t>;
  switch (request) {
    case UVC_GET_LEN:
      return Bytes{static_cast<uint8_t>(control.size), static_cast<uint8_t>(control.size >> 8)};
    case UVC_GET_INFO:
      return Bytes{
          static_cast<uint8_t>((control.canGet ? kCanGet : 0) | (control.canSet ? kCanSet : 0))};
    case UVC_GET_MAX:
      return Bytes(control.size, 0xFF);
    case UVC_GET_MIN:
    case UVC_GET_RES:
    case UVC_GET_DEF:
      return Bytes(control.size, 0);
    default:
      return std::nullopt;
  }
}

}  // namespace zosim
