// zocam-sim: runs a program with virtual cameras plugged in.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "sim/launcher/preload_library.h"
#include "sim/launcher/setup.h"

namespace zosim::launcher {
namespace {

constexpr int kUsageError = 2;
constexpr int kCannotRun = 126;  // as a shell reports it
constexpr int kNotFound = 127;

// Adds what holds for all cameras to the text of each.
struct ForAllCameras {
  std::string fps;
  bool noMetadata = false;

  std::string AddedTo(const std::string& camera) const {
    const size_t comma = std::min(camera.find(','), camera.size());
    std::string text = camera.substr(0, comma);
    if (!fps.empty()) text += ",fps=" + fps;
    if (noMetadata) text += ",metadata=off";
    return text + camera.substr(comma);  // a camera's own settings come last and win
  }
};

class UsageFormatter : public CLI::Formatter {
 public:
  std::string make_usage(const CLI::App*, std::string name) const override {
    return "Usage: " + name + " [OPTIONS] -- PROGRAM [ARGUMENTS...]\n";
  }
};

int Fail(int status, const std::string& message) {
  (void)std::fprintf(stderr, "zocam-sim: %s\n", message.c_str());
  return status;
}

void Preload(const std::string& library, const std::string& runtime) {
  std::string libraries = runtime.empty() ? library : runtime + ":" + library;
  const char* const existing = std::getenv("LD_PRELOAD");
  if (existing != nullptr && *existing != '\0') libraries += std::string(":") + existing;
  setenv("LD_PRELOAD", libraries.c_str(), 1);
}

// Replaces this process, so that the program's exit status and signals are its own.
int Run(std::vector<std::string>& command, const std::string& setup) {
  const auto program = FindProgram(command[0]);
  if (program.empty()) return Fail(kNotFound, "cannot run " + command[0] + ": no such program");
  const auto library = FindPreloadLibrary();
  if (library.empty()) {
    return Fail(kCannotRun, "libzocam-sim.so is neither beside zocam-sim nor in ../lib");
  }
  Preload(library, AddressSanitizerOf(program));
  setenv(kSetupVariable, setup.c_str(), 1);
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (std::string& argument : command) arguments.push_back(argument.data());
  arguments.push_back(nullptr);
  execv(program.c_str(), arguments.data());
  return Fail(kCannotRun, "cannot run " + command[0] + ": " + std::strerror(errno));
}

int Main(std::vector<std::string> arguments) {
  // What follows -- is the program's and none of our options.
  const auto dashes = std::find(arguments.begin(), arguments.end(), "--");
  const bool hasCommand = dashes != arguments.end();
  std::vector<std::string> command(hasCommand ? dashes + 1 : dashes, arguments.end());
  std::vector<std::string> options(arguments.begin(), dashes);

  CLI::App app(
      "Runs a program with virtual cameras plugged in: /dev/videoN, the UVC driver and\n"
      "sysfs are simulated inside the program; cameras that are really there are hidden.");
  app.name("zocam-sim");
  app.formatter(std::make_shared<UsageFormatter>());
  app.footer(
      std::string(kCameraKeysHelp) +
      "\n\nCameras and nodes take the numbers from /dev/video0 on, in the order given. Without\n"
      "any, one camera 6103 is plugged in.\n\n"
      "Example: zocam-sim --camera 6103 --camera 6110,scene=uniform:300 -- zocam list");
  // Collected as they are parsed; a vector for each option would lose the order between them.
  std::string setup;
  std::string problem;
  ForAllCameras forAll;
  std::vector<std::pair<bool, std::string>> items;
  app.add_option_function<std::string>(
         "-c,--camera", [&](const std::string& text) { items.emplace_back(true, text); },
         "Plug in a camera (see below); may be given several times")
      ->type_name("PRODUCT[,KEY=VALUE...]")
      ->trigger_on_parse()
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  app.add_option_function<std::string>(
         "-n,--node", [&](const std::string& text) { items.emplace_back(false, text); },
         "Another video node: foreign (a webcam), none (one without USB identity), gap (a missing "
         "number)")
      ->type_name("KIND")
      ->trigger_on_parse()
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  app.add_option("--fps", forAll.fps, "Frame rate of all cameras; max: without waiting")
      ->type_name("RATE");
  app.add_flag("--no-metadata-nodes", forAll.noMetadata,
               "Cameras have one video node each, so that numbers follow each other");
  std::reverse(options.begin(), options.end());  // as CLI11 takes a vector
  try {
    app.parse(options);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);
    return Fail(kUsageError, std::string(error.what()) + "; try --help");
  }
  if (command.empty()) return Fail(kUsageError, "name the program to run after --; try --help");
  if (items.empty()) items.emplace_back(true, "6103");
  for (const auto& [isCamera, text] : items) {
    const std::string full = isCamera ? forAll.AddedTo(text) : text;
    const Parsed parsed = isCamera ? ParseCamera(full) : ParseNode(full);
    if (!parsed.request) return Fail(kUsageError, parsed.error);
    setup += (isCamera ? "camera " : "node ") + full + "\n";
  }
  return Run(command, setup);
}

}  // namespace
}  // namespace zosim::launcher

int main(int argc, char** argv) {
  return zosim::launcher::Main(std::vector<std::string>(argv + 1, argv + argc));
}
