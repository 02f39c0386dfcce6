// The terminal while a program has it to itself: alternate screen, keys without Enter, and both
// given back however the program ends.
#ifndef ZOCAM_TOOLS_TERMINAL_SCREEN_H
#define ZOCAM_TOOLS_TERMINAL_SCREEN_H

#include <chrono>
#include <string>
#include <string_view>

#include "tools/half_blocks.h"

// Keys that a terminal sends as several bytes.
inline constexpr std::string_view kKeyUp = "\x1b[A";
inline constexpr std::string_view kKeyDown = "\x1b[B";
inline constexpr std::string_view kKeyRight = "\x1b[C";
inline constexpr std::string_view kKeyLeft = "\x1b[D";
inline constexpr std::string_view kKeyHome = "\x1b[H";
inline constexpr std::string_view kKeyEnd = "\x1b[F";
inline constexpr std::string_view kKeyPageUp = "\x1b[5~";
inline constexpr std::string_view kKeyPageDown = "\x1b[6~";

// At most one exists at a time. It notices the signals that end the program.
class TerminalScreen {
 public:
  // Takes the terminal over when standard output is one; else text just passes through.
  TerminalScreen();
  ~TerminalScreen();
  TerminalScreen(const TerminalScreen&) = delete;
  TerminalScreen& operator=(const TerminalScreen&) = delete;

  bool IsTerminal() const { return isTerminal_; }
  // Whether anybody can press a key.
  bool HasKeys() const;
  CellSize Size() const;

  // The next key, as the terminal sends it, or nothing when none is pressed within the time and
  // when a signal comes. Home and End have one name each here, whatever the terminal calls them.
  std::string NextKey(std::chrono::milliseconds timeout);

  // Writes all of the text at once; throws ToolError.
  void Write(std::string_view text) const;

 private:
  bool ReadKeys(std::chrono::milliseconds timeout);

  bool isTerminal_;
  std::string typed_;  // bytes of keys not yet taken
};

#endif
