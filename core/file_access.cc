#include "core/file_access.h"

#include <sys/stat.h>

#include <cerrno>

std::FILE* ZoLib_Priv_OsDepFOpen(const char* path, const char* mode) {
  char closedOnExec[16];
  if (path == nullptr || mode == nullptr ||
      static_cast<std::size_t>(std::snprintf(closedOnExec, sizeof closedOnExec, "%se", mode)) >=
          sizeof closedOnExec) {
    errno = EINVAL;
    return nullptr;
  }
  std::FILE* file = nullptr;
  do {
    errno = 0;
    file = std::fopen(path, closedOnExec);
  } while (file == nullptr && errno == EINTR);
  return file;
}

File OpenRegularFile(const char* path) {
  struct stat info {};
  if (path == nullptr || stat(path, &info) != 0 || !S_ISREG(info.st_mode)) return nullptr;
  return File(ZoLib_Priv_OsDepFOpen(path, "rb"));
}
