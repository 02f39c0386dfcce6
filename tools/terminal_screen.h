// The terminal while a program has it to itself: alternate screen, keys without Enter, and both
// given back however the program ends. Also the signals that end it.
#ifndef ZOCAM_TOOLS_TERMINAL_SCREEN_H
#define ZOCAM_TOOLS_TERMINAL_SCREEN_H

#include <string>
#include <string_view>

#include "tools/half_blocks.h"

// At most one exists at a time.
class TerminalScreen {
 public:
  // Takes the terminal over when standard output is one; else text just passes through.
  TerminalScreen();
  ~TerminalScreen();
  TerminalScreen(const TerminalScreen&) = delete;
  TerminalScreen& operator=(const TerminalScreen&) = delete;

  bool IsTerminal() const { return isTerminal_; }
  // The window's size now; 80 x 24 when it cannot be told.
  CellSize Size() const;
  // True once one of the keys was pressed.
  bool KeyPressed(std::string_view keys) const;
  // The signal that asked the program to end, or 0.
  static int EndSignal();

  // Writes all of the text at once; throws ToolError.
  void Write(std::string_view text) const;

 private:
  bool isTerminal_;
};

#endif
