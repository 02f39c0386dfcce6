#include "tests/kernel/emulated_cameras.h"

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <sstream>

#include "sim/usb/control_socket.h"
#include "tests/wait.h"

namespace zosim::usb {
namespace {

namespace fs = std::filesystem;

const std::string kControl = "/run/usb-cameras-of-test";
constexpr size_t kNodesPerDevice = 2;

}  // namespace

size_t VideoNodeCount() {
  std::error_code error;
  const fs::directory_iterator nodes("/sys/class/video4linux", error);
  return error ? 0 : static_cast<size_t>(std::distance(begin(nodes), end(nodes)));
}

EmulatedCameras::EmulatedCameras(std::vector<std::string> options) {
  options.insert(options.begin(), {ZOCAM_USB_CAMERAS, "--control", kControl, "--stamp-frames"});
  std::vector<char*> arguments;
  for (std::string& option : options) arguments.push_back(option.data());
  arguments.push_back(nullptr);
  if (posix_spawn(&process_, arguments[0], nullptr, nullptr, arguments.data(), environ) != 0) {
    process_ = -1;
    ADD_FAILURE() << "cannot run " << options[0];
    return;
  }
  EXPECT_TRUE(WaitFor([] { return AskDevices(kControl, "count").starts_with("ok\n"); }));
  const int count = std::stoi("0" + Ask("count"));
  for (int device = 0; device < count; ++device) Node(static_cast<unsigned>(device));
}

EmulatedCameras::~EmulatedCameras() {
  if (process_ < 0) return;
  kill(process_, SIGTERM);
  int status = 0;
  waitpid(process_, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "usb_cameras failed: " << status;
  EXPECT_TRUE(WaitFor([] { return VideoNodeCount() == 0; })) << "a node is left";
}

std::string EmulatedCameras::Ask(const std::string& command) const {
  const std::string answer = AskDevices(kControl, command);
  EXPECT_TRUE(answer.starts_with("ok\n")) << command << ": " << answer;
  return answer.starts_with("ok\n") ? answer.substr(3) : "";
}

std::vector<std::string> EmulatedCameras::Lines(const std::string& command) const {
  std::istringstream answer(Ask(command));
  std::vector<std::string> lines;
  for (std::string line; std::getline(answer, line);) lines.push_back(line);
  return lines;
}

std::string EmulatedCameras::Node(unsigned device) const {
  std::vector<std::string> nodes;
  const bool there = WaitFor([&] {
    nodes = Lines("nodes " + std::to_string(device));
    return nodes.size() == kNodesPerDevice;
  });
  EXPECT_TRUE(there) << "no node of device " << device;
  return there ? nodes[0] : "";
}

}  // namespace zosim::usb
