// Devices coming and going: node numbers, sysfs, unplugging.
#include <algorithm>

#include "sim/kernel/host_state.h"
#include "sim/kernel/sysfs_layout.h"

namespace zosim::kernel {
namespace {

// The USB device's files as the kernel makes them from its descriptors.
std::map<std::string, std::string> DeviceFiles(const CameraState& camera) {
  const CameraConfig& config = camera.model.config();
  std::map<std::string, std::string> files = {
      {"idVendor", UsbNumberLine(config.vendorId)},
      {"idProduct", UsbNumberLine(config.productId)},
      {"bcdDevice", UsbNumberLine(config.releaseNumber)},
      {"serial", std::to_string(config.serialNumber) + "\n"},
  };
  if (!config.productName.empty()) files["product"] = config.productName + "\n";
  for (const auto& [name, content] : camera.sysfsChanges) {
    if (content) {
      files[name] = *content;
    } else {
      files.erase(name);
    }
  }
  return files;
}

void ShowNode(PathTree& paths, const Attachment& attachment, const VideoNode& node, size_t index) {
  paths.AddVideoNode(node.number);
  const std::string name = "video" + std::to_string(node.number);
  std::string device;
  if (attachment.busPort.empty()) {
    device = std::string(kPlatformDirectory) + "/device." + std::to_string(node.number);
  } else {
    const std::string usbDevice = std::string(kBusDirectory) + "/" + attachment.busPort;
    for (const auto& [file, content] : attachment.sysfs) {
      paths.AddFile(std::string(usbDevice).append("/").append(file), content);
    }
    device = usbDevice + "/" + attachment.busPort + ":1.0";
  }
  const std::string directory = device + "/video4linux/" + name;
  const auto product = attachment.sysfs.find("product");
  paths.AddFile(directory + "/name",
                product == attachment.sysfs.end() ? "UVC Camera\n" : product->second);
  paths.AddFile(directory + "/dev", "81:" + std::to_string(node.number) + "\n");
  paths.AddFile(directory + "/index", std::to_string(index) + "\n");
  paths.AddLink(directory + "/device", "../../../" + device.substr(device.rfind('/') + 1));
  // From the class directory, as the kernel writes it: ../../devices/...
  const std::string target = "../.." + directory.substr(std::string("/sys").size());
  paths.AddLink(std::string(kClassDirectory) + "/" + name, target);
}

}  // namespace

void RefreshSysfs(Attachment& attachment) { attachment.sysfs = DeviceFiles(*attachment.camera); }

void RebuildPaths(HostState& host) {
  host.paths.Clear();
  for (const auto& attachment : host.attachments) {
    size_t index = 0;
    for (const auto& node : attachment->nodes) {
      if (node->kind != NodeKind::kGap) ShowNode(host.paths, *attachment, *node, index++);
    }
  }
}

std::shared_ptr<VideoNode> AddNode(HostState& host, const std::shared_ptr<Attachment>& attachment,
                                   NodeKind kind) {
  std::erase_if(host.numbers, [](const auto& number) { return number.second.expired(); });
  int number = 0;
  while (host.numbers.contains(number)) ++number;
  auto node = std::make_shared<VideoNode>();
  node->number = number;
  node->kind = kind;
  node->attachment = attachment;
  host.numbers[number] = node;
  attachment->nodes.push_back(node);
  return node;
}

void PlugCamera(HostState& host, const std::shared_ptr<CameraState>& camera) {
  if (camera->attachment != nullptr) return;
  auto attachment = std::make_shared<Attachment>();
  attachment->camera = camera;
  attachment->busPort = "9-" + std::to_string(host.nextPort++);
  RefreshSysfs(*attachment);
  camera->attachment = attachment;
  camera->model.Restart();
  AddNode(host, attachment, NodeKind::kCapture);
  if (camera->model.config().metadataNode) AddNode(host, attachment, NodeKind::kMetadata);
  host.attachments.push_back(attachment);
  RebuildPaths(host);
}

void Detach(HostState& host, Attachment& attachment) {
  const auto found =
      std::ranges::find(host.attachments, &attachment, &std::shared_ptr<Attachment>::get);
  if (found == host.attachments.end()) return;  // it went already
  const std::shared_ptr<Attachment> kept = *found;
  host.attachments.erase(found);
  attachment.registered = false;
  attachment.nodes.clear();  // numbers stay taken by open files only
  if (attachment.camera != nullptr) attachment.camera->attachment = nullptr;
  RebuildPaths(host);
}

void UnplugCamera(HostState& host, CameraState& camera, UnplugMode mode) {
  const std::shared_ptr<Attachment> attachment = camera.attachment;
  if (attachment == nullptr) return;
  if (mode == UnplugMode::kPlain) {
    Detach(host, *attachment);
    return;
  }
  if (attachment->queue.streaming()) {
    FailQueuedBuffers(*attachment, std::chrono::steady_clock::now());
    attachment->broken = true;
  }
  Schedule(host, camera.timings.lostTransfersMs,
           [&host, attachment] { Detach(host, *attachment); });
}

}  // namespace zosim::kernel
