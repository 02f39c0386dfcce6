// Prints the manual page or the shell completion of a command. Used while building only.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>

#include "sim/launcher/options.h"
#include "tools/commands.h"
#include "tools/manual/manual.h"

int main(int argc, char** argv) {
  const std::string kind = argc == 3 ? argv[1] : "";
  const std::string name = argc == 3 ? argv[2] : "";
  if ((kind != "man" && kind != "bash") || (name != "zocam" && name != "zocam-sim")) {
    std::fprintf(stderr, "usage: zocam_manual man|bash zocam|zocam-sim\n");
    return 2;
  }
  CLI::App app;
  Action action;
  zosim::launcher::Options options;
  if (name == "zocam") {
    SetUpApp(app, action);
  } else {
    zosim::launcher::SetUpApp(app, options);
  }
  const std::string other = name == "zocam" ? "zocam-sim(1)" : "zocam(1)";
  const std::string text =
      kind == "man" ? ManPage(app, "zocam " ZOCAM_VERSION, other) : BashCompletion(app);
  return std::fputs(text.c_str(), stdout) < 0 ? 1 : 0;
}
