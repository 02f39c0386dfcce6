#include "tools/progress_bar.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "tools/terminal_window.h"

namespace {

constexpr size_t kMostCells = 20, kLeastCells = 5;  // of a bar
constexpr uint32_t kPlainLines = 10;

// "[######------] " in front of a text, or nothing where that leaves too little room.
std::string BarText(double share, size_t textColumns, size_t columns) {
  const size_t rest = columns - std::min(columns, textColumns + 3);
  if (rest < kLeastCells) return "";
  const size_t cells = std::min(rest, kMostCells);
  std::string bar(cells + 3, '-');
  const double done = std::clamp(share, 0.0, 1.0) * static_cast<double>(cells);
  std::fill_n(bar.begin() + 1, static_cast<size_t>(done), '#');
  bar.front() = '[';
  bar[cells + 1] = ']';
  bar.back() = ' ';
  return bar;
}

uint32_t ShareOf(uint32_t done, uint32_t total, uint32_t parts) {
  return static_cast<uint32_t>(uint64_t{done} * parts / total);
}

}  // namespace

StatusLine::StatusLine() : isTerminal_(isatty(STDERR_FILENO) != 0) {}

void StatusLine::Close() {
  if (lineOpen_) std::fputc('\n', stderr);
  lineOpen_ = false;
}

void StatusLine::Show(const std::string& text, std::optional<double> share) {
  if (!isTerminal_) return;
  // A line as wide as the window would be followed by another one on some terminals.
  const uint32_t columns = WindowSize(STDERR_FILENO).columns - 1;
  const std::string bar = share ? BarText(*share, text.size(), columns) : "";
  std::fprintf(stderr, "\r%s\x1b[K", CutToColumns(bar + text, columns).c_str());
  lineOpen_ = true;
}

void StatusLine::Say(const std::string& text) {
  std::fprintf(stderr, "%s%s\n", lineOpen_ ? "\r\x1b[K" : "", text.c_str());
  lineOpen_ = false;
}

ProgressBar::ProgressBar(uint32_t total, std::string unit)
    : total_(total), unit_(std::move(unit)) {}

void ProgressBar::Show(uint32_t done) {
  const std::string text = std::to_string(done) + " of " + std::to_string(total_) + " " + unit_;
  if (line_.IsTerminal()) {
    line_.Show(text, static_cast<double>(done) / total_);
  } else if (done != 0 &&
             ShareOf(done, total_, kPlainLines) != ShareOf(done - 1, total_, kPlainLines)) {
    line_.Say(text);
  }
}
