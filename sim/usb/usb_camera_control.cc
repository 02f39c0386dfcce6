// usb_camera_control: unplugs, plugs in and disturbs the devices of usb_cameras, from a script or
// by hand.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "sim/usb/control_socket.h"
#include "sim/usb/device_commands.h"

namespace zosim::usb {
namespace {

constexpr size_t kNodesPerDevice = 2;  // pictures and metadata

int Fail(const std::string& message) {
  (void)std::fprintf(stderr, "usb_camera_control: %s\n", message.c_str());
  return 1;
}

// Whether the driver has made the nodes of every device that is plugged in.
bool AllThere(const std::string& path) {
  const std::string count = AskDevices(path, "count");
  if (!count.starts_with("ok\n")) return false;
  const long devices = std::strtol(count.c_str() + 3, nullptr, 10);
  for (long device = 0; device < devices; ++device) {
    const std::string number = std::to_string(device);
    if (AskDevices(path, "state " + number).starts_with("ok\nunplugged")) continue;
    const std::string nodes = AskDevices(path, "nodes " + number);
    const auto lines = std::count(nodes.begin(), nodes.end(), '\n') - 1;
    if (lines < static_cast<long>(kNodesPerDevice)) return false;
  }
  return true;
}

int Wait(const std::string& path) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!AllThere(path)) {
    if (std::chrono::steady_clock::now() > end) return Fail("the cameras did not appear in time");
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return 0;
}

int Main(int argc, char** argv) {
  const char* const variable = std::getenv(kControlVariable);
  const std::string path = variable != nullptr ? variable : kDefaultControl;
  std::string line;
  for (int i = 1; i < argc; ++i) line += (line.empty() ? "" : " ") + std::string(argv[i]);
  if (line.empty() || line == "--help") {
    (void)std::printf(
        "Usage: usb_camera_control COMMAND [ARGUMENTS...]\n%s"
        "  wait                           until the nodes of all devices are there\n",
        kCommandsHelp);
    return line.empty() ? 2 : 0;
  }
  const std::string answer = AskDevices(path, line == "wait" ? "count" : line);
  if (answer.empty()) return Fail("nobody listens at " + path);
  if (line == "wait") return Wait(path);
  if (!answer.starts_with("ok\n")) return Fail(answer.substr(0, answer.size() - 1));
  (void)std::fputs(answer.c_str() + 3, stdout);
  return 0;
}

}  // namespace
}  // namespace zosim::usb

int main(int argc, char** argv) { return zosim::usb::Main(argc, argv); }
