// Where a command's frames come from: the one place that decides what DEVICE on the command line
// means.
#ifndef ZOCAM_TOOLS_SOURCE_H
#define ZOCAM_TOOLS_SOURCE_H

#include <CLI/CLI.hpp>
#include <string>

#include "zocam/zocam.hpp"

struct Source {
  std::string place;  // the camera's node
  zocam::Device device;
};

// Adds the optional DEVICE argument.
void AddSourceArgument(CLI::App& command, std::string& name);

// Opens what name says: a node path, a serial number (decimal, or hexadecimal after 0x), or, when
// it is empty, the only camera there is.
Source OpenSource(const std::string& name);

#endif
