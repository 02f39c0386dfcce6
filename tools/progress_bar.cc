#include "tools/progress_bar.h"

#include <unistd.h>

#include <cstdio>
#include <utility>

namespace {

constexpr uint32_t kBarCells = 30;
constexpr uint32_t kPlainLines = 10;

uint32_t ShareOf(uint32_t done, uint32_t total, uint32_t parts) {
  return static_cast<uint32_t>(uint64_t{done} * parts / total);
}

}  // namespace

ProgressBar::ProgressBar(uint32_t total, std::string unit)
    : total_(total), unit_(std::move(unit)), isTerminal_(isatty(STDERR_FILENO) != 0) {}

ProgressBar::~ProgressBar() {
  if (lineOpen_) std::fputc('\n', stderr);
}

void ProgressBar::Show(uint32_t done) {
  if (isTerminal_) {
    const uint32_t filled = ShareOf(done, total_, kBarCells);
    const std::string bar = std::string(filled, '#') + std::string(kBarCells - filled, '-');
    std::fprintf(stderr, "\r[%s] %u of %u %s", bar.c_str(), done, total_, unit_.c_str());
    lineOpen_ = true;
  } else if (done != 0 &&
             ShareOf(done, total_, kPlainLines) != ShareOf(done - 1, total_, kPlainLines)) {
    std::fprintf(stderr, "%u of %u %s\n", done, total_, unit_.c_str());
  }
}
