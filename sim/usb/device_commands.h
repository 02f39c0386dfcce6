// What a program in the guest may ask of the emulated devices, as lines of text.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "sim/usb/usb_device.h"

namespace zosim::usb {

struct PluggedDevice {
  std::unique_ptr<UsbDevice> device;
  // Of the devices' options: seconds after the start command, and after the unplug.
  std::optional<double> unplugSeconds;
  std::optional<double> replugSeconds;
};

// Carries out "COMMAND DEVICE ARGUMENTS..."; see kCommandsHelp. The answer begins with "ok" or with
// "error: " and what is wrong, and may have further lines.
std::string Execute(std::vector<PluggedDevice>& devices, std::string_view line);

extern const char* const kCommandsHelp;

}  // namespace zosim::usb
