#include "tools/open_camera.h"

#include <charconv>
#include <filesystem>
#include <optional>
#include <string_view>

#include "tools/advice.h"
#include "tools/camera_summary.h"
#include "tools/file_checks.h"
#include "tools/node_scan.h"

namespace {

// Links such as /dev/v4l/by-id/... lead to the node.
std::string NodeBehind(const std::string& path) {
  if (path.starts_with("/dev/video")) return path;
  std::error_code error;
  const std::filesystem::path node = std::filesystem::canonical(path, error);
  if (error) throw ToolError("cannot open " + path + ": " + error.message());
  return node;
}

std::optional<uint64_t> ParseSerial(std::string_view text) {
  const int base = text.starts_with("0x") || text.starts_with("0X") ? 16 : 10;
  if (base == 16) text.remove_prefix(2);
  uint64_t serial = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), serial, base);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  return serial;
}

std::string WithRefusals(std::string message, const NodeScan& scan) {
  for (const RefusedCamera& refused : scan.refused) message += "\n  " + RefusalText(refused);
  return message;
}

zocam::Device OpenBySerial(uint64_t serial) {
  NodeScan scan = ScanNodes();
  for (FoundCamera& camera : scan.cameras)
    if (camera.device.SerialNumber() == serial) return std::move(camera.device);
  throw ToolError(WithRefusals(
      "no camera has serial number " + std::to_string(serial) + "; zocam list shows them", scan));
}

zocam::Device OpenOnlyCamera() {
  NodeScan scan = ScanNodes();
  if (scan.cameras.size() == 1) return std::move(scan.cameras.front().device);
  if (scan.cameras.empty())
    throw ToolError(scan.refused.empty() ? "no camera is connected"
                                         : WithRefusals("no camera can be used:", scan));
  std::string message = "several cameras are connected; name one by its serial number or node:";
  for (const FoundCamera& camera : scan.cameras)
    message += "\n  " + SummaryLine(camera.node, camera.device);
  throw ToolError(message);
}

}  // namespace

bool NamesRecording(const std::string& name) {
  if (name.empty()) return false;
  const bool isPath = name.find('/') != std::string::npos;
  if (!isPath && ParseSerial(name)) return false;
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(name, error);
  if (!std::filesystem::exists(status)) return false;
  return !std::filesystem::is_character_file(status);
}

zocam::Device OpenCamera(const std::string& name) {
  if (name.empty()) return OpenOnlyCamera();
  if (NamesRecording(name)) {
    RequireFile(name);
    throw ToolError(name + " is a recording; this needs a camera");
  }
  if (name.find('/') != std::string::npos) return OpenNode(NodeBehind(name));
  const std::optional<uint64_t> serial = ParseSerial(name);
  if (!serial)
    throw ToolError(
        "\"" + name +
        "\" is neither a serial number nor the path of a node, and no such file exists");
  return OpenBySerial(*serial);
}
