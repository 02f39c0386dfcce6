// zocam play: a recording in the terminal, as it was recorded or frame by frame.
#include "tools/play.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <map>
#include <memory>

#include "tools/advice.h"
#include "tools/commands.h"
#include "tools/end_signal.h"
#include "tools/offset_text.h"
#include "tools/parsed_option.h"
#include "tools/playhead.h"
#include "tools/source.h"

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr Seconds kSignalPause = 50ms;  // how long a signal may wait to be noticed
constexpr Seconds kLongestGap = 10s;    // a longer one (no camera, a wrong time) is cut short
constexpr auto kJump = 10s;
constexpr double kSlowest = 1.0 / 64;
constexpr double kFastest = 64.0;
constexpr double kMostSpeed = 1000.0;  // as an option
constexpr const char* kKeys =
    "space pauses  , . step  [ ] jump  + - speed  0 start  l loop  q quits";

// What is played, and how; the picture follows at once.
class Player {
 public:
  Player(zocam::Recording& film, Playhead& playhead, const PlayOptions& options, LiveView& view)
      : film_(film), playhead_(playhead), view_(view), speed_(options.speed), loop_(options.loop) {}

  // Returns when told to stop, after that many frames (0: all) and, where nobody can press a key,
  // at the end.
  void Run(uint64_t frames);

 private:
  bool AtEnd() { return !playhead_.Gap(); }
  Seconds UntilNextFrame();
  bool PlayOn();
  bool Obey(const std::string& key);
  void PauseOrPlay();
  void Step(bool forward);
  void GoBy(milliseconds distance);
  void ChangeSpeed(double factor);
  std::string StateText();
  void Show();

  zocam::Recording& film_;
  Playhead& playhead_;
  LiveView& view_;
  double speed_;
  bool loop_;
  bool paused_ = false;
  Clock::time_point shownAt_ = Clock::now();  // when the frame here was due
};

// How long the frame here stays; never longer than a gap may be.
Seconds StayOf(milliseconds gap, double speed) {
  if (speed == 0.0) return 0s;
  return std::min<Seconds>(Seconds(gap) / speed, kLongestGap);
}

Seconds Player::UntilNextFrame() {
  const auto gap = playhead_.Gap();
  if (paused_ || !gap) return kSignalPause;
  const Seconds shownFor = Clock::now() - shownAt_;
  return std::clamp<Seconds>(StayOf(*gap, speed_) - shownFor, 0s, kSignalPause);
}

// To the frame that is due now, if there is one. On a terminal, frames that come too late to be
// seen are passed over.
bool Player::PlayOn() {
  if (paused_) return false;
  const Clock::time_point now = Clock::now();
  bool moved = false;
  for (auto gap = playhead_.Gap(); gap; gap = playhead_.Gap()) {
    const auto due = shownAt_ + std::chrono::duration_cast<Clock::duration>(StayOf(*gap, speed_));
    if (due > now) return moved;
    playhead_.Forward();
    // After a stop of the whole program, play on from here.
    shownAt_ = speed_ == 0.0 || now - due > 1s ? now : due;
    moved = true;
    if (speed_ == 0.0 || !view_.IsTerminal()) return true;
  }
  if (moved || !loop_ || playhead_.Damage()) return moved;
  const auto lastFor = std::chrono::duration_cast<Clock::duration>(100ms);
  if (now - shownAt_ < lastFor && speed_ != 0.0) return false;
  playhead_.GoTo(0ms);
  shownAt_ = now;
  return true;
}

void Player::Run(uint64_t frames) {
  Show();
  for (uint64_t shown = 1; shown != frames && EndSignal() == 0;) {
    const auto wait = std::chrono::ceil<milliseconds>(UntilNextFrame());
    const std::string key = view_.NextKey(wait);
    if (LiveView::IsQuit(key)) return;
    if (!key.empty()) {
      if (Obey(key)) Show();
    } else if (PlayOn()) {
      ++shown;
      Show();
    } else if (AtEnd() && !paused_) {
      if (!view_.HasKeys() && (!loop_ || playhead_.Damage())) return;
      view_.FollowWindow();
    } else {
      view_.FollowWindow();
    }
  }
}

// False for a key that does nothing.
bool Player::Obey(const std::string& key) {
  static const std::map<std::string_view, void (*)(Player&)> acts = {
      {" ", [](Player& player) { player.PauseOrPlay(); }},
      {".", [](Player& player) { player.Step(true); }},
      {kKeyRight, [](Player& player) { player.Step(true); }},
      {",", [](Player& player) { player.Step(false); }},
      {kKeyLeft, [](Player& player) { player.Step(false); }},
      {"+", [](Player& player) { player.ChangeSpeed(2.0); }},
      {kKeyUp, [](Player& player) { player.ChangeSpeed(2.0); }},
      {"-", [](Player& player) { player.ChangeSpeed(0.5); }},
      {kKeyDown, [](Player& player) { player.ChangeSpeed(0.5); }},
      {"[", [](Player& player) { player.GoBy(-kJump); }},
      {kKeyPageUp, [](Player& player) { player.GoBy(-kJump); }},
      {"]", [](Player& player) { player.GoBy(kJump); }},
      {kKeyPageDown, [](Player& player) { player.GoBy(kJump); }},
      {"0", [](Player& player) { player.playhead_.GoTo(0ms); }},
      {kKeyHome, [](Player& player) { player.playhead_.GoTo(0ms); }},
      {kKeyEnd, [](Player& player) { player.playhead_.GoToEnd(); }},
      {"l", [](Player& player) { player.loop_ = !player.loop_; }},
  };
  const auto act = acts.find(key);
  if (act == acts.end()) return false;
  act->second(*this);
  shownAt_ = Clock::now();
  return true;
}

void Player::PauseOrPlay() {
  const bool atEnd = AtEnd();
  if (atEnd) playhead_.GoTo(0ms);
  paused_ = !atEnd && !paused_;
}

void Player::Step(bool forward) {
  paused_ = true;
  forward ? playhead_.Forward() : playhead_.Back();
}

void Player::GoBy(milliseconds distance) {
  playhead_.GoTo(std::max<milliseconds>(playhead_.Stamp().timeOffset + distance, 0ms));
}

void Player::ChangeSpeed(double factor) {
  const double from = speed_ == 0.0 ? kFastest : speed_;
  speed_ = std::clamp(from * factor, std::min(from, kSlowest), std::max(from, kFastest));
}

std::string Player::StateText() {
  if (AtEnd()) return playhead_.Damage() ? "damaged" : "end";
  if (paused_) return "paused";
  if (speed_ == 0.0) return "unpaced";
  char text[32];
  std::snprintf(text, sizeof text, "x%g", speed_);
  return text;
}

// "0:12.345 / 1:30.000  frame 107  x2  "
void Player::Show() {
  const zocam::FrameStamp& stamp = playhead_.Stamp();
  const std::string state = StateText() + (loop_ ? " loop" : "");
  view_.ShowFrame(playhead_.Frame(),
                  OffsetText(stamp.timeOffset) + " / " + OffsetText(film_.Length()) + "  frame " +
                      std::to_string(stamp.number) + "  " + state + "  ",
                  "  " + DateTimeText(stamp.dateTime));
}

std::optional<double> ParseSpeed(std::string_view text) {
  double speed = 0.0;
  const auto [end, error] =
      std::from_chars(text.data(), text.data() + text.size(), speed, std::chars_format::fixed);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  if (!(speed >= 0.0 && speed <= kMostSpeed)) return std::nullopt;
  return speed;
}

// One gain of all frames, made before the first is shown.
void MakeSteadyGain(zocam::Recording& film, const zocam::Frame& first, PlayOptions& options) {
  PictureOptions& picture = options.view.picture;
  if (picture.IsManual())
    throw ToolError("--steady is for the automatic gains; with --gain manual the range is fixed");
  std::fprintf(stderr, "%s: looking through all frames for one gain\n", film.Label().c_str());
  // Both depend on the unit that a frame tells.
  options.view.decoding.FollowResolution(film, first);
  picture.ApplyRange(film);
  film.ScanGain(picture.GreyCode() == ZO_FMT_GRAY8 + ZO_GAIN_NONLINEAR);
  film.SetSteadyGain(true);
}

}  // namespace

int Play(PlayOptions& options) {
  ViewOptions& view = options.view;
  zocam::Recording film = OpenRecording(view.source, options.from.value_or(0ms));
  view.decoding.Apply(film);
  view.picture.Apply(film);
  Playhead playhead(film);
  if (options.steady) MakeSteadyGain(film, playhead.Frame(), options);
  {
    LiveView screen(film, view, kKeys);
    Player(film, playhead, options, screen).Run(view.frames);
  }
  if (const auto& damage = playhead.Damage())
    throw ToolError(view.source + ": damaged after " + OffsetText(playhead.Stamp().timeOffset) +
                    ", " + damage->Reason() +
                    "; zocam check tells more, and can save what is intact");
  return StatusAfterSignal(EndSignal());
}

void AddPlayCommand(CLI::App& app, Action& action) {
  CLI::App* command = app.add_subcommand("play", "show a recording in the terminal");
  const auto options = std::make_shared<PlayOptions>();
  AddRecordingArgument(*command, options->view.source);
  AddOffsetOption(*command, "--from", options->from, "where to begin");
  AddParsed(*command, "--speed", options->speed, ParseSpeed,
            "2 is twice as fast, 0 without waiting", "a number from 0 to 1000")
      ->type_name("FACTOR")
      ->default_str("1");
  command->add_flag("--loop", options->loop, "begin again at the end");
  command->add_flag("--steady", options->steady,
                    "keep one gain for the whole recording, so that its brightness tells");
  options->view.AddTo(*command);
  command->callback([&action, options] { action = [options] { return Play(*options); }; });
}
