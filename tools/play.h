// Playing recordings in the terminal: what watch does when it is given one.
#ifndef ZOCAM_TOOLS_PLAY_H
#define ZOCAM_TOOLS_PLAY_H

#include <chrono>
#include <optional>

#include "tools/live_view.h"

struct PlayOptions {
  ViewOptions view;
  std::optional<std::chrono::milliseconds> from;
  double speed = 1.0;  // 0: as fast as possible
  bool loop = false;
  bool steady = false;  // one gain for the whole recording
};

// Returns the exit status.
int Play(PlayOptions& options);

#endif
