#include "core/file_access.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

std::FILE* ZoLib_Priv_OsDepFOpen(const char* path, const char* mode) {
  constexpr std::size_t kModeMax = 8;
  char modeWithCloseOnExec[kModeMax + 2] = {};
  if (path == nullptr || mode == nullptr || strnlen(mode, kModeMax + 1) > kModeMax) {
    errno = EINVAL;
    return nullptr;
  }
  std::strcpy(modeWithCloseOnExec, mode);
  std::strcat(modeWithCloseOnExec, "e");
  return std::fopen(path, modeWithCloseOnExec);
}

File OpenRegularFile(const char* path) {
  struct stat info {};
  if (path == nullptr || stat(path, &info) != 0 || !S_ISREG(info.st_mode)) return nullptr;
  return File(ZoLib_Priv_OsDepFOpen(path, "rb"));
}
