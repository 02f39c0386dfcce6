#include "tools/commands.h"

#include <CLI/CLI.hpp>

void SetUpApp(CLI::App& app, Action& action) {
  app.name("zocam");
  app.description(
      "Small USB thermal cameras: list them, take pictures, watch, record, play, send "
      "commands.");
  app.set_version_flag("--version", "zocam " ZOCAM_VERSION);
  app.require_subcommand(1);
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
  AddServeCommand(app, action);
  AddCommandCommand(app, action);
}
