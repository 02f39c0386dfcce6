// What to plug in, as text: the launcher checks it, the preloaded library carries it out.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "sim/virtual_camera.h"

namespace zosim::launcher {

// Environment variable that carries the setup to the preloaded library.
constexpr const char* kSetupVariable = "ZOCAM_SIM_SETUP";

struct CameraRequest {
  CameraConfig config;
  Pace pace;
  std::optional<Scene> scene;
  std::optional<uint8_t> revision;      // wrong footer revision
  std::optional<double> unplugSeconds;  // after the program's start
  std::optional<double> replugSeconds;  // after the unplug
};

enum class NodeRequest { kForeign, kNone, kGap };

using Request = std::variant<CameraRequest, NodeRequest>;

// "6110,firmware=0x0099,fps=25". The result is the request, or what is wrong with the text.
struct Parsed {
  std::optional<Request> request;
  std::string error;
};
Parsed ParseCamera(std::string_view text);
Parsed ParseNode(std::string_view text);  // "foreign", "none", "gap"

// The setup as one text: a line for each item, "camera TEXT" or "node TEXT".
Parsed ParseLine(std::string_view line);

// The keys of a camera's text, for the help.
extern const char* const kCameraKeysHelp;

}  // namespace zosim::launcher
