// usb_cameras: plugs emulated USB cameras into the kernel it runs on, through the virtual host
// controller of USB/IP, until it is ended. Needs the module vhci-hcd and the rights to use it, so
// it belongs into a virtual machine; tests/kernel/run puts it there.
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "sim/launcher/options.h"
#include "sim/launcher/setup.h"
#include "sim/usb/control_socket.h"
#include "sim/usb/device_commands.h"

namespace zosim::usb {
namespace {

struct Settings {
  launcher::Options options;
  std::string control = kDefaultControl;
  TransferKind kind = TransferKind::kBulk;
  bool stampsFrames = false;
};

PluggedDevice MakeCamera(const Settings& settings, launcher::CameraRequest request) {
  request.config.stampsFrames = settings.stampsFrames;
  auto source = std::make_unique<CameraSource>(request.config, request.pace);
  if (request.scene) source->camera()->SetScene(*request.scene);
  source->camera()->SetFooterRevision(request.revision);
  PluggedDevice plugged;
  plugged.device = std::make_unique<UsbDevice>(std::move(source), settings.kind);
  plugged.unplugSeconds = request.unplugSeconds;
  plugged.replugSeconds = request.replugSeconds;
  return plugged;
}

PluggedDevice MakeDevice(const Settings& settings, bool isCamera, const std::string& text) {
  const launcher::Parsed parsed =
      isCamera ? launcher::ParseCamera(launcher::CameraText(settings.options, text))
               : launcher::ParseNode(text);
  if (!parsed.request) throw std::runtime_error(parsed.error);
  if (const auto* camera = std::get_if<launcher::CameraRequest>(&*parsed.request)) {
    if (!camera->config.metadataNode) {
      throw std::runtime_error("the driver makes a metadata node for every camera");
    }
    return MakeCamera(settings, *camera);
  }
  if (std::get<launcher::NodeRequest>(*parsed.request) != launcher::NodeRequest::kForeign) {
    throw std::runtime_error("of other nodes only foreign is on USB");
  }
  PluggedDevice plugged;
  plugged.device = std::make_unique<UsbDevice>(std::make_unique<WebcamSource>(), settings.kind);
  return plugged;
}

// Ended by a signal, so that the devices leave the bus one after the other.
int EndSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  return signalfd(-1, &signals, SFD_CLOEXEC);
}

int PollTimeout(const std::vector<PluggedDevice>& devices) {
  using std::chrono::milliseconds;
  constexpr int kIdle = 1000;
  int timeout = kIdle;
  for (const PluggedDevice& plugged : devices) {
    const auto due = plugged.device->NextDue();
    if (!due) continue;
    const auto left =
        std::chrono::ceil<milliseconds>(*due - std::chrono::steady_clock::now()).count();
    timeout = static_cast<int>(std::clamp<int64_t>(left, 0, timeout));
  }
  return timeout;
}

void Run(std::vector<PluggedDevice>& devices, ControlServer& control) {
  const int ending = EndSignals();
  for (;;) {
    std::vector<pollfd> waits = {{ending, POLLIN, 0}, {control.socket(), POLLIN, 0}};
    for (const PluggedDevice& plugged : devices) {
      waits.push_back({plugged.device->Socket(), POLLIN, 0});  // unplugged: -1, which is ignored
    }
    if (poll(waits.data(), waits.size(), PollTimeout(devices)) < 0) continue;
    if (waits[0].revents != 0) return;
    for (size_t i = 0; i < devices.size(); ++i) {
      if (waits[i + 2].revents != 0) devices[i].device->Receive();
      devices[i].device->Advance();
    }
    if (waits[1].revents != 0) {
      control.Serve([&](std::string_view line) { return Execute(devices, line); });
    }
  }
}

int Main(int argc, char** argv) {
  Settings settings;
  CLI::App app;
  launcher::SetUpApp(app, settings.options);
  app.name("usb_cameras");
  app.description("Plugs emulated USB cameras into this machine's kernel.");
  app.footer(launcher::kCameraKeysHelp);
  app.add_option("--control", settings.control, "Socket that takes commands")->type_name("PATH");
  app.add_flag("--stamp-frames", settings.stampsFrames, "Every frame carries number and checksum");
  bool isochronous = false;
  app.add_flag("--isochronous", isochronous, "Stream isochronously, not in bulk transfers");
  CLI11_PARSE(app, argc, argv);
  if (isochronous) settings.kind = TransferKind::kIsochronous;
  try {
    std::vector<PluggedDevice> devices;
    for (const auto& [isCamera, text] : settings.options.items) {
      devices.push_back(MakeDevice(settings, isCamera, text));
    }
    ControlServer control(settings.control);
    for (PluggedDevice& plugged : devices) plugged.device->Plug();
    Run(devices, control);
    return 0;
  } catch (const std::runtime_error& error) {
    (void)std::fprintf(stderr, "usb_cameras: %s\n", error.what());
    return 1;
  }
}

}  // namespace
}  // namespace zosim::usb

int main(int argc, char** argv) { return zosim::usb::Main(argc, argv); }
