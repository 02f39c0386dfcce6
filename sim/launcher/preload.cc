// The preloaded library plugs in what the launcher was asked for, before the program's main.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>

#include "sim/launcher/setup.h"
#include "sim/virtual_host.h"

namespace zosim::launcher {
namespace {

int Milliseconds(double seconds) { return static_cast<int>(std::lround(seconds * 1000)); }

void PlugCamera(const CameraRequest& request) {
  const auto camera = Host().PlugCamera(request.config);
  camera->SetPace(request.pace);
  if (request.scene) camera->SetScene(*request.scene);
  camera->model().SetFooterRevision(request.revision);
  if (!request.unplugSeconds) return;
  camera->UnplugAfter(Milliseconds(*request.unplugSeconds));
  if (request.replugSeconds) {
    camera->PlugAfter(Milliseconds(*request.unplugSeconds + *request.replugSeconds));
  }
}

void PlugIn(const Request& request) {
  if (const auto* camera = std::get_if<CameraRequest>(&request)) {
    PlugCamera(*camera);
    return;
  }
  switch (std::get<NodeRequest>(request)) {
    case NodeRequest::kForeign:
      Host().AddForeignNode();
      break;
    case NodeRequest::kNone:
      Host().AddNodeWithoutIdentity();
      break;
    case NodeRequest::kGap:
      Host().AddGap();
      break;
  }
}

[[gnu::constructor]] void PlugInSetup() {
  const char* setup = std::getenv(kSetupVariable);
  if (setup == nullptr) return;
  std::istringstream lines{std::string(setup)};
  for (std::string line; std::getline(lines, line);) {
    const Parsed parsed = ParseLine(line);
    if (parsed.request) {
      PlugIn(*parsed.request);
    } else {
      (void)std::fprintf(stderr, "zocam-sim: %s: %s\n", kSetupVariable, parsed.error.c_str());
    }
  }
}

}  // namespace
}  // namespace zosim::launcher
