// What a name of a camera means: the one place where cameras are opened.
#ifndef ZOCAM_TOOLS_OPEN_CAMERA_H
#define ZOCAM_TOOLS_OPEN_CAMERA_H

#include <string>

#include "zocam/zocam.hpp"

// Whether a name given for DEVICE is that of a recording: of any file that is no device node.
bool NamesRecording(const std::string& name);

// Opens a camera by its node's path, its serial number (decimal, or hexadecimal after 0x), or, when
// the name is empty, the only one there is. Throws ToolError.
zocam::Device OpenCamera(const std::string& name);

#endif
