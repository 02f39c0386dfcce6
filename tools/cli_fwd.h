// Names of the command-line parser, for interfaces: its own header takes seconds to compile, and is
// for the files that add options.
#ifndef ZOCAM_TOOLS_CLI_FWD_H
#define ZOCAM_TOOLS_CLI_FWD_H

namespace CLI {
class App;
class Option;
}  // namespace CLI

#endif
