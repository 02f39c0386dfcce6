// How far a longer piece of work has come, on standard error.
#ifndef ZOCAM_TOOLS_PROGRESS_BAR_H
#define ZOCAM_TOOLS_PROGRESS_BAR_H

#include <cstdint>
#include <optional>
#include <string>

// The last line of a terminal, drawn again and again; lines that stay go above it.
class StatusLine {
 public:
  StatusLine();
  ~StatusLine() { Close(); }
  StatusLine(const StatusLine&) = delete;
  StatusLine& operator=(const StatusLine&) = delete;

  bool IsTerminal() const { return isTerminal_; }
  // Cut to the window's width; with a share from 0 to 1, a bar stands before the text where there
  // is room for it. Nothing when standard error is no terminal.
  void Show(const std::string& text, std::optional<double> share = std::nullopt);
  // A line that stays.
  void Say(const std::string& text);
  // Leaves the line as it is, so that other output begins below.
  void Close();

 private:
  const bool isTerminal_;
  bool lineOpen_ = false;
};

// One line that is drawn again on a terminal; elsewhere a line for every tenth of the work.
class ProgressBar {
 public:
  ProgressBar(uint32_t total, std::string unit);

  void Show(uint32_t done);

 private:
  const uint32_t total_;
  const std::string unit_;  // of the work, plural
  StatusLine line_;
};

#endif
