// Failures in words for the person at the terminal: what went wrong, on what, and what to do.
#ifndef ZOCAM_TOOLS_ADVICE_H
#define ZOCAM_TOOLS_ADVICE_H

#include <stdexcept>
#include <string>

#include "zocam/zocam.hpp"

// A failure of the tool itself, told in full.
class ToolError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// What to do about a failed operation on a camera; empty when nothing better than the message is
// known.
std::string Advice(const zocam::Error& error);

// "message; advice", or the message alone.
std::string WithAdvice(const std::string& message, const std::string& advice);

// The message of an errno, e.g. "No space left on device".
std::string ErrnoText(int error);

#endif
