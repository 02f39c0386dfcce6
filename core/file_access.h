// Opening files, with 64-bit offsets on every platform.
#ifndef ZOCAM_CORE_FILE_ACCESS_H
#define ZOCAM_CORE_FILE_ACCESS_H

#include <cstdio>
#include <memory>

#include "zocam/zocam.h"

struct CloseFile {
  void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

// Opens a regular file for reading; null for anything else: a device or a pipe could keep a reader
// waiting for ever.
File OpenRegularFile(const char* path);

extern "C" {

// Opens a file; null on failure, with errno set. The descriptor is not inherited by children.
ZO_API std::FILE* ZoLib_Priv_OsDepFOpen(const char* path, const char* mode);
}

#endif
