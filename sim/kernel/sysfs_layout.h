// Where sysfs shows a video node and the device it belongs to.
#pragma once

#include <string>
#include <string_view>

namespace zosim::kernel {

constexpr std::string_view kClassDirectory = "/sys/class/video4linux";
// Devices have a corner of their own that no real device can be in.
constexpr std::string_view kDevicesDirectory = "/sys/devices/zosim";
constexpr std::string_view kBusDirectory = "/sys/devices/zosim/usb9";  // a port for each device
constexpr std::string_view kPlatformDirectory = "/sys/devices/zosim/platform";  // not on USB

// An identifier or version as sysfs writes it: four hexadecimal digits and a line end.
inline std::string UsbNumberLine(unsigned value) {
  std::string line;
  for (int shift = 12; shift >= 0; shift -= 4) line += "0123456789abcdef"[value >> shift & 0xF];
  return line + '\n';
}

}  // namespace zosim::kernel
