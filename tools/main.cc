// zocam: find, look through and talk to the cameras from a terminal.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "zocam/zocam.hpp"

#include "tools/advice.h"
#include "tools/commands.h"

namespace {

int Run(int argc, char** argv) {
  CLI::App app;
  Action action;
  SetUpApp(app, action);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kDone : kBadUsage;
  }
  const int status = action();
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
    throw ToolError("cannot write to standard output");
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (const ToolError& error) {
    std::fprintf(stderr, "zocam: %s\n", error.what());
  } catch (const zocam::Error& error) {
    std::fprintf(stderr, "zocam: %s\n", WithAdvice(error.what(), Advice(error)).c_str());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "zocam: %s\n", error.what());
  }
  return kFailed;
}
