// How far a longer piece of work has come, on standard error.
#ifndef ZOCAM_TOOLS_PROGRESS_BAR_H
#define ZOCAM_TOOLS_PROGRESS_BAR_H

#include <cstdint>
#include <string>

// One line that is drawn again on a terminal; elsewhere a line for every tenth of the work.
class ProgressBar {
 public:
  ProgressBar(uint32_t total, std::string unit);
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  void Show(uint32_t done);

 private:
  const uint32_t total_;
  const std::string unit_;  // of the work, plural
  const bool isTerminal_;
  bool lineOpen_ = false;
};

#endif
