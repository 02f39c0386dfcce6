// What the files on a command line must be, looked at before any work begins.
#ifndef ZOCAM_TOOLS_FILE_CHECKS_H
#define ZOCAM_TOOLS_FILE_CHECKS_H

#include <span>
#include <string>

// Throws ToolError when something else than a file is there: a folder, a pipe, a device.
void RequireFile(const std::string& path);

// Throws ToolError when the output is the recording that is read, whatever the names.
void RequireOtherFile(const std::string& output, const std::string& recording);

// Throws ToolError when two outputs are one file, or one is the source, whatever the names. Names
// that were not given are empty.
void RequireDistinctFiles(const std::string& source, std::span<const std::string> outputs);

#endif
