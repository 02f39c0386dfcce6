// zocam-sim: runs a program with virtual cameras plugged in.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "sim/launcher/options.h"
#include "sim/launcher/preload_library.h"
#include "sim/launcher/setup.h"

namespace zosim::launcher {
namespace {

constexpr int kUsageError = 2;
constexpr int kCannotRun = 126;  // as a shell reports it
constexpr int kNotFound = 127;

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
  std::vector<std::string> ours(arguments.begin(), dashes);

  CLI::App app;
  Options options;
  SetUpApp(app, options);
  std::reverse(ours.begin(), ours.end());  // as CLI11 takes a vector
  try {
    app.parse(ours);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);
    return Fail(kUsageError, std::string(error.what()) + "; try --help");
  }
  if (command.empty()) return Fail(kUsageError, "name the program to run after --; try --help");
  if (options.items.empty()) options.items.emplace_back(true, "6103");
  std::string setup;
  for (const auto& [isCamera, text] : options.items) {
    const std::string full = isCamera ? CameraText(options, text) : text;
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
