// Frames as they come, as a picture of text with lines below: a terminal's whole screen, or
// pictures one after the other where standard output is no terminal.
#ifndef ZOCAM_TOOLS_LIVE_VIEW_H
#define ZOCAM_TOOLS_LIVE_VIEW_H

#include <chrono>
#include <string>
#include <vector>

#include "zocam/zocam.hpp"

#include "tools/cli_fwd.h"
#include "tools/decode_options.h"
#include "tools/picture.h"
#include "tools/picture_options.h"
#include "tools/terminal_screen.h"

// What the commands that show frames have in common.
struct ViewOptions {
  std::string source;  // camera or recording
  DecodeOptions decoding;
  PictureOptions picture;
  uint64_t frames = 0;  // 0: until told to stop

  // All but the source.
  void AddTo(CLI::App& command);
};

class LiveView {
 public:
  // The keys are named in a terminal's last line. Device and options must outlive the view.
  LiveView(zocam::Device& device, ViewOptions& options, std::string keys);

  bool IsTerminal() const { return screen_.IsTerminal(); }
  bool HasKeys() const { return screen_.HasKeys(); }
  // As TerminalScreen::NextKey().
  std::string NextKey(std::chrono::milliseconds timeout) { return screen_.NextKey(timeout); }
  static bool IsQuit(const std::string& key);

  // Shows a frame, or why it cannot be shown, its values between the two texts.
  void ShowFrame(const zocam::Frame& frame, const std::string& before, const std::string& after);
  // Shows a text in place of the values. Keeps the last picture; lines that stay are not repeated.
  void ShowNotice(const std::string& text);
  // Fits what is shown to a window whose size has changed.
  void FollowWindow();

 private:
  void Show(const std::string& status);
  std::string AsScreen(const std::vector<std::string>& rows, CellSize window) const;

  TerminalScreen screen_;
  zocam::Device& device_;
  ViewOptions& options_;
  const std::string title_;
  Picture picture_;
  std::string status_;
  std::string notice_;
  CellSize window_{0, 0};
};

#endif
