#include "sim/virtual_host.h"

#include <algorithm>
#include <set>

#include "sim/kernel/host_state.h"
#include "sim/kernel/sysfs_layout.h"

namespace zosim {
namespace {

using kernel::Attachment;
using kernel::Lock;
using kernel::NodeKind;

int PlugPlainNode(kernel::HostState& host, std::shared_ptr<Attachment> attachment, NodeKind kind) {
  Lock lock(host.mutex);
  kernel::Advance(host);
  const int number = kernel::AddNode(host, attachment, kind)->number;
  host.attachments.push_back(std::move(attachment));
  kernel::RebuildPaths(host);
  kernel::UpdateWakeups(host);
  return number;
}

}  // namespace

VirtualHost& Host() {
  static VirtualHost* const host = new VirtualHost(kernel::State());
  return *host;
}

void VirtualHost::Reset() {
  Lock lock(state_.mutex);
  state_.events.clear();
  while (!state_.attachments.empty()) kernel::Detach(state_, *state_.attachments.back());
  state_.numbers.clear();
  state_.log.Clear();
  state_.nextPort = 1;
  kernel::UpdateWakeups(state_);
}

std::shared_ptr<VirtualCamera> VirtualHost::PlugCamera(const CameraConfig& config) {
  auto camera = std::make_shared<kernel::CameraState>(config);
  Lock lock(state_.mutex);
  kernel::Advance(state_);
  kernel::PlugCamera(state_, camera);
  kernel::UpdateWakeups(state_);
  return std::make_shared<VirtualCamera>(state_, std::move(camera));
}

int VirtualHost::AddForeignNode(const ForeignDevice& device) {
  auto attachment = std::make_shared<Attachment>();
  {
    Lock lock(state_.mutex);
    attachment->busPort = "9-" + std::to_string(state_.nextPort++);
  }
  attachment->sysfs = {{"idVendor", kernel::UsbNumberLine(device.vendorId)},
                       {"idProduct", kernel::UsbNumberLine(device.productId)}};
  if (!device.productName.empty()) attachment->sysfs["product"] = device.productName + "\n";
  return PlugPlainNode(state_, std::move(attachment), NodeKind::kForeign);
}

int VirtualHost::AddNodeWithoutIdentity() {
  return PlugPlainNode(state_, std::make_shared<Attachment>(), NodeKind::kForeign);
}

int VirtualHost::AddGap() {
  return PlugPlainNode(state_, std::make_shared<Attachment>(), NodeKind::kGap);
}

void VirtualHost::RemoveNode(int number) {
  Lock lock(state_.mutex);
  kernel::Advance(state_);
  const auto found = std::ranges::find_if(state_.attachments, [number](const auto& attachment) {
    return attachment->camera == nullptr && attachment->nodes.front()->number == number;
  });
  if (found != state_.attachments.end()) kernel::Detach(state_, **found);
  kernel::UpdateWakeups(state_);
}

std::vector<LogEntry> VirtualHost::Log() const {
  Lock lock(state_.mutex);
  return state_.log.Entries();
}

std::vector<LogEntry> VirtualHost::Transfers() const {
  std::vector<LogEntry> entries = Log();
  std::erase_if(entries, [](const LogEntry& entry) { return entry.call != Call::kTransfer; });
  return entries;
}

size_t VirtualHost::CountOf(const std::string& name) const {
  const std::vector<LogEntry> entries = Log();
  return static_cast<size_t>(std::ranges::count(entries, name, &LogEntry::name));
}

void VirtualHost::ClearLog() {
  Lock lock(state_.mutex);
  state_.log.Clear();
}

LiveCounts VirtualHost::Live() const {
  Lock lock(state_.mutex);
  std::set<const Attachment*> held;
  for (const auto& [descriptor, file] : state_.files) held.insert(file->attachment.get());
  for (const auto& [address, mapping] : state_.mappings) {
    held.insert(mapping.file->attachment.get());
  }
  LiveCounts live;
  live.descriptors = state_.files.size();
  live.mappings = state_.mappings.size();
  for (const Attachment* attachment : held) live.buffers += attachment->queue.slots().size();
  return live;
}

}  // namespace zosim
