// zocam watch: the live picture in a terminal.
#include <chrono>
#include <csignal>
#include <cstdio>
#include <deque>
#include <memory>
#include <optional>

#include "tools/advice.h"
#include "tools/camera_summary.h"
#include "tools/commands.h"
#include "tools/decode_options.h"
#include "tools/half_blocks.h"
#include "tools/measurement.h"
#include "tools/picture_options.h"
#include "tools/source.h"
#include "tools/terminal_screen.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kKeyPause = 100ms;     // how long a key or signal may wait to be noticed
constexpr auto kSilence = 2s;         // without a frame for this long, say so
constexpr auto kTooLongSilent = 10s;  // and give up when nobody can press a key

struct WatchOptions {
  std::string device;
  DecodeOptions decoding;
  PictureOptions picture;
  uint64_t frames = 0;  // 0: until told to stop
  bool highRate = false;
};

// Frames per second over the last second or two.
class RateMeter {
 public:
  void Count(Clock::time_point now) {
    times_.push_back(now);
    while (times_.size() > 2 && now - times_.front() > 2s) times_.pop_front();
  }
  double PerSecond() const {
    if (times_.size() < 2) return 0.0;
    const std::chrono::duration<double> span = times_.back() - times_.front();
    return static_cast<double>(times_.size() - 1) / span.count();
  }

 private:
  std::deque<Clock::time_point> times_;
};

// The columns of a text in UTF-8 that has no wide characters.
std::string CutToColumns(const std::string& text, uint32_t columns) {
  size_t end = 0;
  uint32_t used = 0;
  for (; end < text.size(); ++end) {
    const bool begins = (static_cast<unsigned char>(text[end]) & 0xC0) != 0x80;
    if (begins && used++ == columns) break;
  }
  return text.substr(0, end);
}

class WatchView {
 public:
  WatchView(zocam::Device& device, const PictureOptions& options)
      : device_(device),
        options_(options),
        title_(device.Label() + "  " + device.ProductName() + "  " +
               std::to_string(device.SerialNumber())) {}

  bool StopRequested() const {
    return TerminalScreen::EndSignal() != 0 || screen_.KeyPressed("qQ\x03");
  }
  bool IsTerminal() const { return screen_.IsTerminal(); }

  void ShowFrame(const zocam::Frame& frame, double rate) {
    const zocam::TemperatureImage image = frame.Temperatures();
    const Quantity quantity = QuantityOf(device_);
    char rateText[32];
    std::snprintf(rateText, sizeof rateText, "   %.1f frames/s", rate);
    options_.ApplyRange(device_);
    picture_ = RenderPicture(frame, options_);
    const int decimals = quantity == Quantity::kDifference ? 2 : 1;
    Show(SummaryText(Summarise(image, quantity, device_), quantity, decimals) + rateText);
  }

  // Keeps the last picture. Lines that stay are not repeated.
  void ShowNotice(const std::string& text) {
    if (IsTerminal() || text != notice_) Show(text);
    notice_ = text;
  }

 private:
  void Show(const std::string& status) {
    const CellSize window = screen_.Size();
    const uint32_t textRows = window.rows > 4 ? 2 : 1;
    std::vector<std::string> rows;
    if (picture_.width != 0 && window.rows > textRows) {
      rows = HalfBlockRows(picture_, FitCells(picture_.width, picture_.height,
                                              {window.columns, window.rows - textRows}));
    }
    rows.push_back(CutToColumns(status, window.columns));
    if (textRows == 2) rows.push_back(CutToColumns(title_ + "   q quits", window.columns));
    screen_.Write(screen_.IsTerminal() ? AsScreen(rows, window) : AsLines(rows));
  }

  // In one go over what was there before, so that nothing flickers.
  std::string AsScreen(const std::vector<std::string>& rows, CellSize window) {
    const bool resized = window.columns != window_.columns || window.rows != window_.rows;
    window_ = window;
    std::string text = resized ? "\x1b[?2026h\x1b[2J\x1b[H" : "\x1b[?2026h\x1b[H";
    for (size_t i = 0; i < rows.size(); ++i) {
      text += rows[i] + "\x1b[K";
      if (i + 1 < rows.size()) text += "\r\n";
    }
    return text + "\x1b[J\x1b[?2026l";
  }

  static std::string AsLines(const std::vector<std::string>& rows) {
    std::string text;
    for (const std::string& row : rows) text += row + "\n";
    return text;
  }

  TerminalScreen screen_;
  zocam::Device& device_;
  const PictureOptions& options_;
  std::string title_;
  Picture picture_;
  std::string notice_;
  CellSize window_{0, 0};
};

// Shows a frame, or why it cannot be shown.
void ShowOrExplain(WatchView& view, const zocam::Frame& frame, double rate) {
  try {
    view.ShowFrame(frame, rate);
  } catch (const zocam::Error& error) {
    if (error.Status() != ZO_STATUS_INVALID_STATE) throw;
    view.ShowNotice(frame.Check() == ZO_STATUS_OK
                        ? "waiting for the camera's first flat-field correction"
                        : "the frames are not those of this model (another telemetry revision)");
  }
}

int Watch(WatchOptions& options) {
  zocam::Device device = OpenSource(options.device);
  options.decoding.Apply(device);
  options.picture.Apply(device);
  // Only the newest frame is worth showing.
  device.StartQueue(1, options.highRate);
  WatchView view(device, options.picture);
  RateMeter rate;
  uint64_t shown = 0;
  Clock::time_point lastFrame = Clock::now();
  while (!view.StopRequested()) {
    const auto frame = device.NextFrame(kKeyPause);
    const Clock::time_point now = Clock::now();
    if (frame) {
      lastFrame = now;
      rate.Count(now);
      options.decoding.FollowResolution(device, *frame);
      ShowOrExplain(view, *frame, rate.PerSecond());
      if (++shown == options.frames) return kDone;
      continue;
    }
    const auto silent = std::chrono::duration_cast<std::chrono::seconds>(now - lastFrame);
    const std::string notice = "no frame for " + std::to_string(silent.count()) + " s";
    if (silent >= kTooLongSilent && !view.IsTerminal())
      throw ToolError(device.Label() + ": " + notice);
    if (silent >= kSilence && view.IsTerminal()) view.ShowNotice(notice);
  }
  const int signal = TerminalScreen::EndSignal();
  return signal == 0 || signal == SIGINT ? kDone : 128 + signal;
}

}  // namespace

void AddWatchCommand(CLI::App& app, Action& action) {
  CLI::App* command = app.add_subcommand("watch", "show the live picture in the terminal");
  const auto options = std::make_shared<WatchOptions>();
  AddSourceArgument(*command, options->device);
  options->picture.AddTo(*command);
  options->decoding.AddTo(*command);
  command->add_option("--frames", options->frames, "end after so many frames")->type_name("N");
  command->add_flag("--high-rate", options->highRate,
                    "25.9 instead of 8.6 frames per second, on models that have it");
  command->callback([&action, options] { action = [options] { return Watch(*options); }; });
}
