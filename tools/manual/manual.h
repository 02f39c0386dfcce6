// A command's manual page and shell completion, made from the tables behind its --help.
#ifndef ZOCAM_TOOLS_MANUAL_MANUAL_H
#define ZOCAM_TOOLS_MANUAL_MANUAL_H

#include <string>

#include "tools/cli_fwd.h"

// A page of section 1, as troff source. @param version e.g. "zocam 1.9.3". @param seeAlso other
// pages, as "zocam-sim(1)".
std::string ManPage(const CLI::App& app, const std::string& version, const std::string& seeAlso);

// A script for bash: the words that the command knows, files for what follows.
std::string BashCompletion(const CLI::App& app);

#endif
