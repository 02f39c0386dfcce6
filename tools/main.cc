// zocam: find, look through and talk to the cameras from a terminal.
#include <cstdio>
#include <exception>

#include "zocam/zocam.hpp"

#include "tools/advice.h"
#include "tools/commands.h"

namespace {

int Run(int argc, char** argv) {
  CLI::App app(
      "Small USB thermal cameras: list them, take pictures, watch, record, play, send commands.",
      "zocam");
  app.set_version_flag("--version", "zocam " ZOCAM_VERSION);
  app.require_subcommand(1);
  Action action;
  AddListCommand(app, action);
  AddInfoCommand(app, action);
  AddSnapshotCommand(app, action);
  AddWatchCommand(app, action);
  AddRecordCommand(app, action);
  AddPlayCommand(app, action);
  AddExportCommand(app, action);
  AddDumpCommand(app, action);
  AddCheckCommand(app, action);
  AddReflectionCommand(app, action);
  AddCommandCommand(app, action);
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
