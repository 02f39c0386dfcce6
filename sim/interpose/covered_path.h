// Whether a path that a program names is the virtual host's.
#pragma once

#include <optional>
#include <string>

namespace zosim::interpose {

// The absolute path to ask the virtual kernel about; none: the path is somebody else's. `directory`
// is the descriptor that relative paths start from, or AT_FDCWD.
std::optional<std::string> CoveredPath(int directory, const char* path);

// Whether the descriptor or path is the real /dev, whose listing the virtual nodes join.
bool IsDeviceDirectory(int fd);
bool IsDeviceDirectory(const char* path);

}  // namespace zosim::interpose
