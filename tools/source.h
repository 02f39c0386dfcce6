// What DEVICE and FILE on the command line mean: the one place where cameras and recordings are
// opened.
#ifndef ZOCAM_TOOLS_SOURCE_H
#define ZOCAM_TOOLS_SOURCE_H

#include <chrono>
#include <string>

#include "zocam/zocam.hpp"

#include "tools/cli_fwd.h"

// Adds the optional DEVICE argument: a camera.
void AddCameraArgument(CLI::App& command, std::string& name);
// Adds the same for a camera or a recording.
void AddSourceArgument(CLI::App& command, std::string& name);
// Adds the FILE argument that a command on recordings needs.
void AddRecordingArgument(CLI::App& command, std::string& path);

// Whether a name given for DEVICE is that of a recording: of any file that is no device node.
bool NamesRecording(const std::string& name);

// Opens a camera by its node's path, its serial number (decimal, or hexadecimal after 0x), or, when
// the name is empty, the only one there is. Throws ToolError.
zocam::Device OpenCamera(const std::string& name);

// Opens a recording to read it frame by frame, and starts it: the frame at that time comes next.
// Throws ToolError, also when the recording ends before.
zocam::Recording OpenRecording(const std::string& path, std::chrono::milliseconds from = {});

// A camera, or a recording as OpenRecording() leaves it, to be read by NextFrame(). A camera is to
// be started.
zocam::Device OpenSource(const std::string& name);

#endif
