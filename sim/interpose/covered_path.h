// Whether a path that a program names is the virtual host's.
#pragma once

#include <fcntl.h>

#include <optional>
#include <string>

namespace zosim::interpose {

// Sorts out nearly all paths with a few comparisons and no C++ library, since sanitizer runtimes
// open files before they can bear instrumented code.
[[gnu::always_inline]] inline bool MightBeCovered(int directory, const char* path) {
  if (path == nullptr) return false;
  if (*path != '/') return *path != '\0' && directory != AT_FDCWD;
  constexpr const char* kStarts[] = {"/dev/", "/sys/"};
  for (const char* const start : kStarts) {
    int same = 0;
    while (start[same] != '\0' && path[same] == start[same]) ++same;
    if (start[same] == '\0') return true;
  }
  return false;
}

// The absolute path to ask the virtual kernel about; none: the path is somebody else's. `directory`
// is the descriptor that relative paths start from, or AT_FDCWD.
std::optional<std::string> CoveredPath(int directory, const char* path);

// Whether the descriptor or path is the real /dev, whose listing the virtual nodes join.
bool IsDeviceDirectory(int fd);
bool IsDeviceDirectory(const char* path);

}  // namespace zosim::interpose
