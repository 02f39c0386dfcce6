#include "sim/model/extension_unit.h"

#include <array>

namespace zosim {
namespace {

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

}  // namespace zosim
