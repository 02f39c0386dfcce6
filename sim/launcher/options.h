// The launcher's command line.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <utility>
#include <vector>

namespace zosim::launcher {

struct Options {
  // A camera (true) or another node, and its text, in the order given.
  std::vector<std::pair<bool, std::string>> items;
  // What holds for all cameras.
  std::string fps;
  bool noMetadata = false;
};

// Adds the options; their values go to options, which must live as long as the app.
void SetUpApp(CLI::App& app, Options& options);

// A camera's text with what holds for all cameras; its own settings win.
std::string CameraText(const Options& options, const std::string& camera);

}  // namespace zosim::launcher
