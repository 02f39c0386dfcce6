#include "sim/usb/vhci_port.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace zosim::usb {
namespace {

namespace fs = std::filesystem;

const fs::path kController = "/sys/devices/platform/vhci_hcd.0";
constexpr int kHighSpeed = 3;
constexpr int kFreePort = 4;
constexpr int kFirstDeviceId = 1 << 16 | 1;  // bus 1, device 1 on the far side

// The first free port of the high-speed hub: lines are "hub port state ...".
int FreePort() {
  std::ifstream status(kController / "status");
  if (!status) throw std::runtime_error("no virtual host controller: load the module vhci-hcd");
  for (std::string line; std::getline(status, line);) {
    std::istringstream words(line);
    std::string hub;
    int port = 0;
    int state = 0;
    if (words >> hub >> port >> state && hub == "hs" && state == kFreePort) return port;
  }
  throw std::runtime_error("every port of the virtual host controller is taken");
}

std::optional<int> NumberAfter(std::string_view text, std::string_view prefix) {
  if (!text.starts_with(prefix)) return std::nullopt;
  text.remove_prefix(prefix.size());
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

}  // namespace

std::unique_ptr<VhciPort> VhciPort::Attach() {
  const int port = FreePort();
  std::array<int, 2> ends = {};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    throw std::runtime_error(std::string("no socket: ") + std::strerror(errno));
  }
  const std::string line = std::to_string(port) + " " + std::to_string(ends[1]) + " " +
                           std::to_string(kFirstDeviceId + port) + " " + std::to_string(kHighSpeed);
  const int attach = open((kController / "attach").c_str(), O_WRONLY | O_CLOEXEC);
  const bool written =
      attach >= 0 && write(attach, line.data(), line.size()) == static_cast<ssize_t>(line.size());
  const int error = errno;
  if (attach >= 0) close(attach);
  close(ends[1]);  // the kernel has its own hold on it
  if (!written) {
    close(ends[0]);
    throw std::runtime_error("cannot attach to port " + std::to_string(port) + ": " +
                             std::strerror(error));
  }
  return std::unique_ptr<VhciPort>(new VhciPort(port, ends[0]));
}

VhciPort::~VhciPort() { close(socket_); }

std::vector<int> VhciPort::VideoNodes() const {
  // usbB/B-P/B-P:1.0/video4linux/videoN, with ports counted from 1 there.
  const std::string suffix = "-" + std::to_string(port_ + 1);
  std::vector<int> nodes;
  std::error_code error;
  for (const auto& bus : fs::directory_iterator(kController, error)) {
    const std::string busName = bus.path().filename();
    const auto number = NumberAfter(busName, "usb");
    if (!number) continue;
    const std::string device = std::to_string(*number) + suffix;
    const fs::path directory = bus.path() / device / (device + ":1.0") / "video4linux";
    for (const auto& entry : fs::directory_iterator(directory, error)) {
      const std::string name = entry.path().filename();
      const auto node = NumberAfter(name, "video");
      if (node && access(("/dev/" + name).c_str(), F_OK) == 0) nodes.push_back(*node);
    }
  }
  std::ranges::sort(nodes);
  return nodes;
}

}  // namespace zosim::usb
