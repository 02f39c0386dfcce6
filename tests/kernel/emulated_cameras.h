// USB cameras for the length of a test, plugged into the machine that it runs on.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace zosim::usb {

class EmulatedCameras {
 public:
  // With options of usb_cameras: {"-c", "6103"}. Waits until the driver has made their nodes.
  explicit EmulatedCameras(std::vector<std::string> options);
  ~EmulatedCameras();  // waits until the nodes are gone
  EmulatedCameras(const EmulatedCameras&) = delete;
  EmulatedCameras& operator=(const EmulatedCameras&) = delete;

  // Sends a command, which must succeed, and gives its answer.
  std::string Ask(const std::string& command) const;
  // The answer's lines.
  std::vector<std::string> Lines(const std::string& command) const;
  // The device's capture node; waits until it is there.
  std::string Node(unsigned device = 0) const;

 private:
  pid_t process_ = -1;
};

// How many video nodes the machine has.
size_t VideoNodeCount();

}  // namespace zosim::usb
