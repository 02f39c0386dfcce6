// zocam watch: the live picture in a terminal.
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <memory>

#include "tools/advice.h"
#include "tools/commands.h"
#include "tools/end_signal.h"
#include "tools/live_view.h"
#include "tools/play.h"
#include "tools/rate_meter.h"
#include "tools/source.h"

namespace {

using namespace std::chrono_literals;
using Clock = RateMeter::Clock;

constexpr auto kKeyPause = 100ms;     // how long a key or signal may wait to be noticed
constexpr auto kSilence = 2s;         // without a frame for this long, say so
constexpr auto kTooLongSilent = 10s;  // and give up when nobody can press a key

struct WatchOptions {
  ViewOptions view;
  bool highRate = false;
};

bool StopRequested(LiveView& view) {
  for (std::string key; !(key = view.NextKey(0ms)).empty();)
    if (LiveView::IsQuit(key)) return true;
  return EndSignal() != 0;
}

int WatchCamera(WatchOptions& options) {
  zocam::Device device = OpenCamera(options.view.source);
  options.view.decoding.Apply(device);
  options.view.picture.Apply(device);
  // Only the newest frame is worth showing.
  device.StartQueue(1, options.highRate);
  LiveView view(device, options.view, "q quits");
  RateMeter rate;
  uint64_t shown = 0;
  Clock::time_point lastFrame = Clock::now();
  while (!StopRequested(view)) {
    const auto frame = device.NextFrame(kKeyPause);
    const Clock::time_point now = Clock::now();
    if (frame) {
      lastFrame = now;
      rate.Count(now, ++shown);
      char rateText[32];
      std::snprintf(rateText, sizeof rateText, "   %.1f frames/s", rate.PerSecond());
      view.ShowFrame(*frame, "", rateText);
      if (shown == options.view.frames) return kDone;
      continue;
    }
    const auto silent = std::chrono::duration_cast<std::chrono::seconds>(now - lastFrame);
    const std::string notice = "no frame for " + std::to_string(silent.count()) + " s";
    if (silent >= kTooLongSilent && !view.IsTerminal())
      throw ToolError(device.Label() + ": " + notice);
    if (silent >= kSilence && view.IsTerminal()) view.ShowNotice(notice);
  }
  return StatusAfterSignal(EndSignal());
}

int Watch(WatchOptions& options) {
  if (!NamesRecording(options.view.source)) return WatchCamera(options);
  PlayOptions play;
  play.view = options.view;
  return Play(play);
}

}  // namespace

void AddWatchCommand(CLI::App& app, Action& action) {
  CLI::App* command = app.add_subcommand("watch", "show the live picture in the terminal");
  const auto options = std::make_shared<WatchOptions>();
  AddSourceArgument(*command, options->view.source);
  options->view.AddTo(*command);
  command->add_flag("--high-rate", options->highRate,
                    "25.9 instead of 8.6 frames per second, on models that have it");
  command->callback([&action, options] { action = [options] { return Watch(*options); }; });
}
