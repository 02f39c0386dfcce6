#include "soak/process_sample.h"

#include <dirent.h>
#include <malloc.h>
#include <unistd.h>

#include <fstream>

namespace soak {
namespace {

size_t EntriesOf(const char* path) {
  DIR* directory = opendir(path);
  if (directory == nullptr) return 0;
  size_t count = 0;
  while (const dirent* entry = readdir(directory)) {
    if (entry->d_name[0] != '.') ++count;
  }
  closedir(directory);
  return count;
}

// Resident memory has what malloc keeps for later in it; this has not.
size_t HeapKiB() {
#ifdef __GLIBC__
  const struct mallinfo2 info = mallinfo2();
  return (info.uordblks + info.hblkhd) / 1024;
#else
  return 0;
#endif
}

}  // namespace

ProcessSample SampleProcess() {
  ProcessSample sample;
  size_t totalPages = 0;
  size_t residentPages = 0;
  std::ifstream("/proc/self/statm") >> totalPages >> residentPages;
  sample.residentKiB = residentPages * static_cast<size_t>(sysconf(_SC_PAGESIZE)) / 1024;
  sample.heapKiB = HeapKiB();
  sample.descriptors = EntriesOf("/proc/self/fd") - 1;  // without the one that looks
  sample.threads = EntriesOf("/proc/self/task");
  return sample;
}

}  // namespace soak
