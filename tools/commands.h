// The commands of the tool. Each one adds its options to the command line and, when it was chosen,
// leaves its action to be run. Commands throw what they cannot handle; main prints it.
//
// What is here: one file per command, and the pieces they share, named for what they are. No
// threads of its own: frames arrive on the library's thread and are taken from a queue.
#ifndef ZOCAM_TOOLS_COMMANDS_H
#define ZOCAM_TOOLS_COMMANDS_H

#include <functional>

#include "tools/cli_fwd.h"

// Exit statuses of the tool.
inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;
inline constexpr int kBadUsage = 2;

using Action = std::function<int()>;

// Makes the app zocam, with all its commands.
void SetUpApp(CLI::App& app, Action& action);

void AddListCommand(CLI::App& app, Action& action);
void AddInfoCommand(CLI::App& app, Action& action);
void AddSnapshotCommand(CLI::App& app, Action& action);
void AddWatchCommand(CLI::App& app, Action& action);
void AddRecordCommand(CLI::App& app, Action& action);
void AddPlayCommand(CLI::App& app, Action& action);
void AddExportCommand(CLI::App& app, Action& action);
void AddDumpCommand(CLI::App& app, Action& action);
void AddCheckCommand(CLI::App& app, Action& action);
void AddReflectionCommand(CLI::App& app, Action& action);
void AddServeCommand(CLI::App& app, Action& action);
void AddCommandCommand(CLI::App& app, Action& action);

#endif
