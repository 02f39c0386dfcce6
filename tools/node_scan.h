// Every video node of this host that belongs to a camera of the family, also those that the
// library's own scan does not reach, and why a camera was refused.
//
// A camera has two nodes with the same identity in sysfs: the picture node and a metadata node.
// Only the first is looked at.
#ifndef ZOCAM_TOOLS_NODE_SCAN_H
#define ZOCAM_TOOLS_NODE_SCAN_H

#include <string>
#include <vector>

#include "zocam/zocam.hpp"

inline constexpr int kLastNode = 63;

struct FoundCamera {
  std::string node;
  zocam::Device device;
  bool beyondLibraryScan;  // programs that let the library look for cameras miss it
};

struct RefusedCamera {
  std::string node;
  uint16_t productId;
  std::string name;
  std::string reason;
  std::string advice;  // what to do about it; may be empty
};

struct NodeScan {
  std::vector<FoundCamera> cameras;
  std::vector<RefusedCamera> refused;
};

// Opens every camera at /dev/video0 to /dev/video63.
NodeScan ScanNodes();

// Opens the camera at "/dev/videoN"; a failure is a ToolError that says why and what to do.
zocam::Device OpenNode(const std::string& node);

// "/dev/video2: permission denied; add yourself to ..."
std::string RefusalText(const RefusedCamera& camera);

#endif
