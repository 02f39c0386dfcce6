// Whether an object still lives in the process that made it. A forked child has neither the threads
// of the library nor the right to end its parent's stream: it may use frames, not sources.
#ifndef ZOCAM_PYTHON_PROCESS_H
#define ZOCAM_PYTHON_PROCESS_H

#include <unistd.h>

#include "zocam/zocam.hpp"

namespace zopy {

class OwningProcess {
 public:
  bool IsThisOne() const noexcept { return pid_ == getpid(); }
  void Require(const char* what) const {
    if (!IsThisOne())
      throw zocam::Error(ZO_STATUS_INVALID_STATE,
                         std::string(what) + " was made before a fork; make one in this process");
  }

 private:
  pid_t pid_ = getpid();
};

}  // namespace zopy

#endif
