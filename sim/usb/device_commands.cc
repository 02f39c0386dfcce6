#include "sim/usb/device_commands.h"

#include <charconv>
#include <chrono>
#include <cmath>
#include <functional>
#include <map>
#include <sstream>
#include <stdexcept>

namespace zosim::usb {
namespace {

using std::chrono::milliseconds;

struct CommandError {
  std::string text;
};

class Words {
 public:
  explicit Words(std::string_view line) : stream_{std::string(line)} {}

  std::string Next(const std::string& what) {
    std::string word;
    if (!(stream_ >> word)) throw CommandError{what + " is missing"};
    return word;
  }
  std::string NextOr(const std::string& otherwise) {
    std::string word;
    return stream_ >> word ? word : otherwise;
  }
  unsigned Number(const std::string& what, unsigned most, const std::string& otherwise = "") {
    std::string word = otherwise.empty() ? Next(what) : NextOr(otherwise);
    const bool hexadecimal = word.starts_with("0x");
    const std::string digits = hexadecimal ? word.substr(2) : word;
    unsigned value = 0;
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), value, hexadecimal ? 16 : 10);
    if (error != std::errc() || end != digits.data() + digits.size() || value > most) {
      throw CommandError{what + " '" + word + "' is not a number up to " + std::to_string(most)};
    }
    return value;
  }

 private:
  std::istringstream stream_;
};

milliseconds Milliseconds(double seconds) {
  return milliseconds(static_cast<int64_t>(std::lround(seconds * 1000)));
}

uint8_t Selector(Words& words) { return static_cast<uint8_t>(words.Number("selector", 12)); }

Firmware& FirmwareOf(UsbDevice& device) {
  if (device.source().camera() == nullptr) throw CommandError{"this device is no camera"};
  return device.source().camera()->firmware();
}

UnplugMode Mode(Words& words) {
  const std::string mode = words.NextOr("plainly");
  if (mode == "plainly") return UnplugMode::kPlain;
  if (mode == "failing") return UnplugMode::kTransfersFailFirst;
  throw CommandError{"'" + mode + "' is neither plainly nor failing"};
}

std::string Nodes(const UsbDevice& device) {
  std::string text;
  if (!device.Plugged()) return text;
  for (const int node : device.port()->VideoNodes()) {
    text += "/dev/video" + std::to_string(node) + "\n";
  }
  return text;
}

std::string State(const UsbDevice& device) {
  return std::string(device.Plugged() ? "plugged" : "unplugged") + " " +
         (device.Streaming() ? "streaming" : "idle") + " " + std::to_string(device.FramesSent()) +
         " sent " + std::to_string(device.FramesLost()) + " lost\n";
}

std::vector<uint8_t> BytesOf(const std::string& hex) {
  std::vector<uint8_t> bytes;
  for (size_t at = 0; at + 1 < hex.size(); at += 2) {
    unsigned value = 0;
    std::from_chars(&hex[at], &hex[at] + 2, value, 16);
    bytes.push_back(static_cast<uint8_t>(value));
  }
  return bytes;
}

std::string Hex(const std::vector<uint8_t>& bytes) {
  std::string text;
  for (const uint8_t byte : bytes) {
    for (const int shift : {4, 0}) text += "0123456789abcdef"[byte >> shift & 0xF];
  }
  return text + "\n";
}

using Command = std::function<std::string(UsbDevice&, Words&)>;

const std::map<std::string, Command, std::less<>>& Commands() {
  static const std::map<std::string, Command, std::less<>> commands = {
      {"plug",
       [](UsbDevice& device, Words&) {
         device.Plug();
         return std::string();
       }},
      {"unplug",
       [](UsbDevice& device, Words& words) {
         device.Unplug(Mode(words));
         return std::string();
       }},
      {"unplug-during",
       [](UsbDevice& device, Words& words) {
         const uint8_t selector = Selector(words);
         device.AtTransfer(selector, [&device, mode = Mode(words)] { device.Unplug(mode); });
         return std::string();
       }},
      {"nodes", [](UsbDevice& device, Words&) { return Nodes(device); }},
      {"state", [](UsbDevice& device, Words&) { return State(device); }},
      {"stall",
       [](UsbDevice& device, Words& words) {
         const uint8_t selector = Selector(words);
         const auto reason = static_cast<StallReason>(words.Number("reason", 0xFF));
         const unsigned times = words.Number("times", kForever, "1");
         FirmwareOf(device).ScriptTransfer(selector, TransferResult::Stall(reason), times);
         return std::string();
       }},
      {"silence",
       [](UsbDevice& device, Words& words) {
         const uint8_t selector = Selector(words);
         const unsigned times = words.Number("times", kForever, "1");
         FirmwareOf(device).ScriptTransfer(selector, TransferResult::NoAnswer(), times);
         return std::string();
       }},
      {"answer",
       [](UsbDevice& device, Words& words) {
         const unsigned busy = words.Number("busy polls", kForever);
         const auto state = static_cast<uint8_t>(words.Number("state", 0xFF));
         const auto code = static_cast<uint8_t>(words.Number("code", 0xFF));
         FirmwareOf(device).ScriptAnswer({busy, state, code});
         return std::string();
       }},
      {"register",
       [](UsbDevice& device, Words& words) {
         const auto command = static_cast<uint16_t>(words.Number("command", 0xFFFF));
         const std::string bytes = words.NextOr("");
         if (bytes.empty()) return Hex(FirmwareOf(device).Register(command));
         FirmwareOf(device).SetRegister(command, BytesOf(bytes));
         return std::string();
       }},
      {"active",
       [](UsbDevice& device, Words& words) {
         FirmwareOf(device).SetActive(static_cast<uint8_t>(words.Number("state", 0xFF)));
         return std::string();
       }},
      {"transfers",
       [](UsbDevice& device, Words&) {
         std::string text;
         for (const std::string& transfer : device.TakeTransfers()) text += transfer + "\n";
         return text;
       }},
      {"freeze",
       [](UsbDevice& device, Words& words) {
         const std::string on = words.NextOr("on");
         if (on != "on" && on != "off") throw CommandError{"'" + on + "' is neither on nor off"};
         device.SetFrozen(on == "on");
         return std::string();
       }},
      {"break",
       [](UsbDevice& device, Words&) {
         device.BreakTransfers();
         return std::string();
       }},
      {"spoil",
       [](UsbDevice& device, Words& words) {
         const unsigned count = words.Number("count", kForever);
         const std::string how = words.NextOr("short");
         const std::map<std::string, Spoiled> ways = {{"short", Spoiled::kShort},
                                                      {"overlong", Spoiled::kOverlong},
                                                      {"marked", Spoiled::kMarked}};
         if (!ways.contains(how)) throw CommandError{"a frame is short, overlong or marked"};
         device.SpoilFrames(count, ways.at(how));
         return std::string();
       }},
  };
  return commands;
}

// The devices' own times begin with the program that uses them.
void Start(std::vector<PluggedDevice>& devices) {
  const Time now = std::chrono::steady_clock::now();
  for (PluggedDevice& plugged : devices) {
    if (!plugged.unplugSeconds) continue;
    const Time unplugAt = now + Milliseconds(*plugged.unplugSeconds);
    plugged.device->UnplugAt(unplugAt);
    if (plugged.replugSeconds) {
      plugged.device->PlugAt(unplugAt + Milliseconds(*plugged.replugSeconds));
    }
  }
}

}  // namespace

const char* const kCommandsHelp =
    "Commands; devices are counted from 0 in the order in which they were named:\n"
    "  start                          begin the times of unplug= and replug=\n"
    "  count                          how many devices there are\n"
    "  nodes DEVICE                   its video nodes; none while it is not there\n"
    "  state DEVICE                   plugged? streaming? and how many frames it sent\n"
    "  plug DEVICE\n"
    "  unplug DEVICE [failing]        failing: transfers under way fail before it goes\n"
    "  unplug-during DEVICE SELECTOR [failing]\n"
    "                                 while the next transfer on the selector is under way\n"
    "  freeze DEVICE [on|off]         no frames\n"
    "  break DEVICE                   transfers under way fail, the device stays\n"
    "  spoil DEVICE COUNT [short|overlong|marked]\n"
    "                                 the next frames arrive damaged\n"
    "and of cameras only:\n"
    "  stall DEVICE SELECTOR REASON [TIMES]\n"
    "                                 refuse transfers, with this reason when asked for it\n"
    "  silence DEVICE SELECTOR [TIMES]\n"
    "                                 do not answer transfers\n"
    "  answer DEVICE BUSY STATE CODE  of the next command, after so many busy polls\n"
    "  register DEVICE COMMAND [HEX]  what a read command gets\n"
    "  active DEVICE STATE            the active state byte\n"
    "  transfers DEVICE               what went through the extension unit since the last time\n";

std::string Execute(std::vector<PluggedDevice>& devices, std::string_view line) {
  try {
    Words words(line);
    const std::string name = words.Next("the command");
    if (name == "count") return "ok\n" + std::to_string(devices.size()) + "\n";
    if (name == "start") {
      Start(devices);
      return "ok\n";
    }
    const auto command = Commands().find(name);
    if (command == Commands().end()) throw CommandError{"unknown command '" + name + "'"};
    const unsigned index = words.Number("device", kForever);
    if (index >= devices.size()) throw CommandError{"no device " + std::to_string(index)};
    return "ok\n" + command->second(*devices[index].device, words);
  } catch (const CommandError& error) {
    return "error: " + error.text + "\n";
  } catch (const std::runtime_error& error) {
    return std::string("error: ") + error.what() + "\n";
  }
}

}  // namespace zosim::usb
