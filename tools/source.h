// What DEVICE and FILE on the command line mean.
#ifndef ZOCAM_TOOLS_SOURCE_H
#define ZOCAM_TOOLS_SOURCE_H

#include <chrono>
#include <string>

#include "zocam/zocam.hpp"

#include "tools/cli_fwd.h"
#include "tools/open_camera.h"

// Adds the optional DEVICE argument: a camera.
void AddCameraArgument(CLI::App& command, std::string& name);
// Adds the same for a camera or a recording.
void AddSourceArgument(CLI::App& command, std::string& name);
// Adds the FILE argument that a command on recordings needs.
void AddRecordingArgument(CLI::App& command, std::string& path);

// Opens a recording to read it frame by frame, and starts it: the frame at that time comes next.
// Throws ToolError, also when the recording ends before.
zocam::Recording OpenRecording(const std::string& path, std::chrono::milliseconds from = {});

// A camera, or a recording as OpenRecording() leaves it, to be read by NextFrame(). A camera is to
// be started.
zocam::Device OpenSource(const std::string& name);

#endif
