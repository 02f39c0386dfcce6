#include "tools/commands.h"

void AddExportCommand(CLI::App&, Action&) {}
