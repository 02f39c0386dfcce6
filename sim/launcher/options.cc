#include "sim/launcher/options.h"

#include <algorithm>
#include <memory>

#include "sim/launcher/setup.h"

namespace zosim::launcher {
namespace {

class UsageFormatter : public CLI::Formatter {
 public:
  std::string make_usage(const CLI::App*, std::string name) const override {
    return "Usage: " + name + " [OPTIONS] -- PROGRAM [ARGUMENTS...]\n";
  }
};

}  // namespace

void SetUpApp(CLI::App& app, Options& options) {
  app.name("zocam-sim");
  app.description(
      "Runs a program with virtual cameras plugged in: /dev/videoN, the UVC driver and\n"
      "sysfs are simulated inside the program; cameras that are really there are hidden.");
  app.formatter(std::make_shared<UsageFormatter>());
  app.footer(
      std::string(kCameraKeysHelp) +
      "\n\nCameras and nodes take the numbers from /dev/video0 on, in the order given. Without\n"
      "any, one camera 6103 is plugged in.\n\n"
      "Example: zocam-sim --camera 6103 --camera 6110,scene=uniform:300 -- zocam list");
  // Collected as they are parsed; a vector for each option would lose the order between them.
  const auto collect = [&](const char* names, bool isCamera, const char* type, const char* what) {
    app.add_option_function<std::string>(
           names,
           [&options, isCamera](const std::string& text) {
             options.items.emplace_back(isCamera, text);
           },
           what)
        ->type_name(type)
        ->trigger_on_parse()
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  };
  collect("-c,--camera", true, "PRODUCT[,KEY=VALUE...]",
          "Plug in a camera (see below); may be given several times");
  collect("-n,--node", false, "KIND",
          "Another video node: foreign (a webcam), none (one without USB identity), gap (a missing "
          "number)");
  app.add_option("--fps", options.fps, "Frame rate of all cameras; max: without waiting")
      ->type_name("RATE");
  app.add_flag("--no-metadata-nodes", options.noMetadata,
               "Cameras have one video node each, so that numbers follow each other");
}

std::string CameraText(const Options& options, const std::string& camera) {
  const size_t comma = std::min(camera.find(','), camera.size());
  std::string text = camera.substr(0, comma);
  if (!options.fps.empty()) text += ",fps=" + options.fps;
  if (options.noMetadata) text += ",metadata=off";
  return text + camera.substr(comma);  // a camera's own settings come last and win
}

}  // namespace zosim::launcher
