// What this process holds, as the kernel counts it.
#pragma once

#include <cstddef>

namespace soak {

struct ProcessSample {
  size_t residentKiB = 0;
  size_t heapKiB = 0;  // handed out by malloc; 0 where that is not told
  size_t descriptors = 0;
  size_t threads = 0;
};

ProcessSample SampleProcess();

}  // namespace soak
