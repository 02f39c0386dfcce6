#include "tools/node_scan.h"

#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <memory>
#include <optional>
#include <string_view>

#include "tools/advice.h"
#include "tools/camera_family.h"

namespace {

constexpr int kLastNodeOfLibrary = 31;

using File = std::unique_ptr<std::FILE, decltype([](std::FILE* file) { std::fclose(file); })>;

// The first line of a sysfs attribute of a node, without its line end.
std::optional<std::string> ReadAttribute(int node, const char* name) {
  char path[96];
  std::snprintf(path, sizeof path, "/sys/class/video4linux/video%d/%s", node, name);
  const File file(std::fopen(path, "re"));
  char line[256];
  if (!file || std::fgets(line, sizeof line, file.get()) == nullptr) return std::nullopt;
  std::string text = line;
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  return text;
}

std::optional<unsigned> ReadNumber(int node, const char* name, int base) {
  const std::optional<std::string> text = ReadAttribute(node, name);
  unsigned value = 0;
  if (!text ||
      std::from_chars(text->data(), text->data() + text->size(), value, base).ec != std::errc{})
    return std::nullopt;
  return value;
}

// N of "/dev/videoN", or -1.
int NodeNumber(std::string_view path) {
  constexpr std::string_view kPrefix = "/dev/video";
  int number = -1;
  if (path.starts_with(kPrefix))
    std::from_chars(path.data() + kPrefix.size(), path.data() + path.size(), number);
  return number;
}

// What sysfs tells of a node, as far as it was there.
struct NodeIdentity {
  explicit NodeIdentity(int node)
      : vendorId(ReadNumber(node, "device/../idVendor", 16)),
        productId(ReadNumber(node, "device/../idProduct", 16)),
        name(ReadAttribute(node, "device/../product")),
        index(ReadNumber(node, "index", 10)) {}

  bool IsFamily() const { return vendorId && productId && IsOfFamily(*vendorId, *productId); }
  // The driver numbers a camera's nodes from 0, the picture node first.
  bool IsPictureNode() const { return index.value_or(0) == 0; }
  // The library ends its scan at the first node for which this is false.
  bool IsComplete() const { return vendorId && productId && name; }

  std::optional<unsigned> vendorId;
  std::optional<unsigned> productId;
  std::optional<std::string> name;
  std::optional<unsigned> index;
};

RefusedCamera Refuse(const std::string& node, const NodeIdentity& identity,
                     const zocam::Error& error) {
  RefusedCamera refused{node, static_cast<uint16_t>(identity.productId.value_or(0)),
                        identity.name.value_or(""), error.Reason(), Advice(error)};
  const auto explain = [&](const std::string& reason, const std::string& advice) {
    refused.reason = reason;
    refused.advice = advice;
  };
  if (error.Status() == ZO_STATUS_DEVICE_UNSUPPORTED) {
    explain("its firmware is older than 1.00", "update the camera");
  } else if (error.Status() == ZO_STATUS_V4L2_ERROR && error.HostErrno() == 0) {
    if (identity.IsPictureNode()) {
      explain("no answer", "unplug the camera and plug it in again");
    } else {
      explain("this is a camera's metadata node", "zocam list shows its picture node");
    }
  } else if (error.Status() == ZO_STATUS_DEVICE_NOT_FOUND) {
    if (access(node.c_str(), F_OK) != 0) {
      explain("no such node", identity.IsFamily() ? "the camera is there, but this system or "
                                                    "container has no device file for it"
                                                  : "zocam list shows the cameras that are there");
    } else if (!identity.IsFamily()) {
      explain("no camera of this family", "zocam list shows the cameras that are there");
    } else if (!identity.name) {
      explain("it has no product name, without which the library does not take it", "");
    }
  }
  return refused;
}

}  // namespace

NodeScan ScanNodes() {
  NodeScan scan;
  bool libraryScanEnded = false;
  for (int number = 0; number <= kLastNode; ++number) {
    const NodeIdentity identity(number);
    libraryScanEnded |= !identity.IsComplete() || number > kLastNodeOfLibrary;
    if (!identity.IsFamily() || !identity.IsPictureNode()) continue;
    const std::string node = "/dev/video" + std::to_string(number);
    try {
      scan.cameras.push_back({node, zocam::Device::OpenNode(node), libraryScanEnded});
    } catch (const zocam::Error& error) {
      scan.refused.push_back(Refuse(node, identity, error));
    }
  }
  return scan;
}

zocam::Device OpenNode(const std::string& node) {
  try {
    return zocam::Device::OpenNode(node);
  } catch (const zocam::Error& error) {
    throw ToolError("cannot open " +
                    RefusalText(Refuse(node, NodeIdentity(NodeNumber(node)), error)));
  }
}

std::string RefusalText(const RefusedCamera& camera) {
  return camera.node + ": " + WithAdvice(camera.reason, camera.advice);
}
