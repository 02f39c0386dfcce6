#include "tools/progress_bar.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "tools/terminal_window.h"

namespace {

constexpr size_t kBarCells = 20;
constexpr uint32_t kPlainLines = 10;

uint32_t ShareOf(uint32_t done, uint32_t total, uint32_t parts) {
  return static_cast<uint32_t>(uint64_t{done} * parts / total);
}

}  // namespace

StatusLine::StatusLine() : isTerminal_(isatty(STDERR_FILENO) != 0) {}

void StatusLine::Close() {
  if (lineOpen_) std::fputc('\n', stderr);
  lineOpen_ = false;
}

void StatusLine::Show(const std::string& text) {
  if (!isTerminal_) return;
  // A line as wide as the window would be followed by another one on some terminals.
  const uint32_t columns = WindowSize(STDERR_FILENO).columns - 1;
  std::fprintf(stderr, "\r%s\x1b[K", CutToColumns(text, columns).c_str());
  lineOpen_ = true;
}

void StatusLine::Say(const std::string& text) {
  std::fprintf(stderr, "%s%s\n", lineOpen_ ? "\r\x1b[K" : "", text.c_str());
  lineOpen_ = false;
}

std::string BarText(double share) {
  std::string bar(kBarCells + 2, '-');
  const double cells = std::clamp(share, 0.0, 1.0) * static_cast<double>(kBarCells);
  std::fill_n(bar.begin() + 1, static_cast<size_t>(cells), '#');
  bar.front() = '[';
  bar.back() = ']';
  return bar;
}

ProgressBar::ProgressBar(uint32_t total, std::string unit)
    : total_(total), unit_(std::move(unit)) {}

void ProgressBar::Show(uint32_t done) {
  const std::string text = std::to_string(done) + " of " + std::to_string(total_) + " " + unit_;
  if (line_.IsTerminal()) {
    line_.Show(BarText(static_cast<double>(done) / total_) + " " + text);
  } else if (done != 0 &&
             ShareOf(done, total_, kPlainLines) != ShareOf(done - 1, total_, kPlainLines)) {
    line_.Say(text);
  }
}
