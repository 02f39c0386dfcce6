// zocam record: a camera's frames into a file, for as long as wanted.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>

#include "tools/advice.h"
#include "tools/byte_size.h"
#include "tools/commands.h"
#include "tools/end_signal.h"
#include "tools/offset_text.h"
#include "tools/parsed_option.h"
#include "tools/progress_bar.h"
#include "tools/rate_meter.h"
#include "tools/recorded_file.h"
#include "tools/recorded_stream.h"
#include "tools/source.h"
#include "tools/time_of_day.h"

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr auto kPause = 50ms;       // how often the end is looked for
constexpr auto kLongSilence = 5s;   // without a frame for this long, say so
constexpr auto kShowEvery = 500ms;  // progress on a terminal
constexpr auto kSayEvery = 10s;     // and elsewhere

struct RecordOptions {
  std::string device;
  std::string path;
  std::optional<milliseconds> time;
  std::optional<uint64_t> frames;
  std::optional<TimeOfDay> until;
  std::optional<uint64_t> maxBytes;
  bool highRate = false;
  bool overwrite = false;
};

// Of one frame in the file: a marker, the raw frame, a line that says when it came.
uint64_t RecordBytes(const zocam::Device& camera) {
  constexpr uint64_t kMarkerBytes = 6;
  return kMarkerBytes + camera.RawFrameBytes() + uint64_t{2} * camera.Width();
}

// Too small a limit is refused before anything is created; a header line is shorter than this.
void RequireRoom(uint64_t maxBytes, const zocam::Device& camera) {
  constexpr uint64_t kHeaderMost = 1022;
  const uint64_t least = kHeaderMost + RecordBytes(camera);
  if (maxBytes < least)
    throw ToolError("--max-size leaves no room for a frame of this camera; " +
                    std::to_string(least) + " bytes are enough for one");
}

// When a recording ends by itself.
struct Limits {
  std::optional<milliseconds> time;  // from its first frame on
  std::optional<std::chrono::system_clock::time_point> clock;
  uint64_t frames = UINT64_MAX;
};

Limits LimitsOf(const RecordOptions& options) {
  Limits limits;
  limits.time = options.time;
  if (options.until)
    limits.clock =
        std::chrono::system_clock::from_time_t(NextTime(*options.until, std::time(nullptr)));
  if (options.frames) limits.frames = *options.frames;
  return limits;
}

Seconds TimeLeft(std::chrono::system_clock::time_point end) {
  return end - std::chrono::system_clock::now();
}

// The frames that the limits come to at the camera's rate, when there is an end at all.
std::optional<double> ExpectedFrames(const Limits& limits, const zocam::Device& camera) {
  std::optional<double> frames;
  const auto most = [&](double count) { frames = std::min(frames.value_or(count), count); };
  if (limits.time) most(Seconds(*limits.time).count() * camera.FrameRate());
  if (limits.clock) most(TimeLeft(*limits.clock).count() * camera.FrameRate());
  if (limits.frames != UINT64_MAX) most(static_cast<double>(limits.frames));
  return frames;
}

// What a closed file holds.
std::string FilmText(const std::string& path) {
  const zocam::Recording film = zocam::Recording::OpenPassive(path);
  const uint32_t frames = film.LastFrameNumber();
  return std::to_string(frames) + (frames == 1 ? " frame, " : " frames, ") +
         OffsetText(film.Length()) + ", " + ByteSizeText(std::filesystem::file_size(path));
}

// One recording, from the reserved name to the closed file.
class Recorder {
 public:
  Recorder(const RecordOptions& options, const Limits& limits, zocam::Device& camera)
      : options_(options),
        camera_(camera),
        recordBytes_(RecordBytes(camera)),
        limits_(limits),
        file_(options.path, options.overwrite) {}

  int Run();

 private:
  void AwaitFirstFrame(const RecordedStream& stream);
  zocam::Writer CreateFile();
  void Record(RecordedStream& stream);
  void KeepFirstFrame();
  void WarnOfLowSpace();
  void WatchOver(RecordedStream& stream, const zocam::Writer& writer);
  bool IsTimeOver() const { return limits_.clock && TimeLeft(*limits_.clock) <= 0s; }
  bool IsOver(const RecordedStream& stream) const;
  bool IsLost(const zocam::Writer& writer);
  std::string FailureText(const zocam::Error& error) const;
  void LookForSilence(Clock::time_point now, uint64_t frames);
  void ShowProgress(Clock::time_point now, const RecordedStream& stream);
  double ShareDone(uint64_t frames) const;
  int Conclude(uint64_t dropped);

  const RecordOptions& options_;
  zocam::Device& camera_;
  const uint64_t recordBytes_;
  Limits limits_;
  RecordedFile file_;
  uint64_t firstFrameEnd_ = 0;  // in the file
  StatusLine line_;
  Clock::time_point begin_ = Clock::now();
  RateMeter rate_;
  Clock::time_point lastShown_ = begin_;
  uint64_t framesSeen_ = 0;
  Clock::time_point lastFrame_ = begin_;
  bool silenceTold_ = false;
  std::string failure_;  // what ended the recording before its time
};

// A camera that is silent is waited for: nobody may be there to start the command again.
void Recorder::LookForSilence(Clock::time_point now, uint64_t frames) {
  const auto silent = std::chrono::duration_cast<std::chrono::seconds>(now - lastFrame_);
  if (frames != framesSeen_) {
    if (silenceTold_)
      line_.Say(camera_.Label() + ": frames again after " + std::to_string(silent.count()) + " s");
    silenceTold_ = false;
    framesSeen_ = frames;
    lastFrame_ = now;
  } else if (silent >= kLongSilence && !silenceTold_) {
    line_.Say(camera_.Label() + ": no frame for " + std::to_string(silent.count()) +
              " s; waiting for the camera");
    silenceTold_ = true;
  }
}

bool Recorder::IsOver(const RecordedStream& stream) const {
  if (EndSignalWithin(kPause) != 0 || stream.IsComplete()) return true;
  // Not in nanoseconds, of which a long time has too many.
  if (limits_.time && Seconds(Clock::now() - begin_) >= Seconds(*limits_.time)) return true;
  return IsTimeOver();
}

// A vanishing camera leaves an error, too.
std::string Recorder::FailureText(const zocam::Error& error) const {
  if (camera_.Disconnected()) return camera_.Label() + ": the camera has vanished";
  return WriteFailureText(options_.path, error.Reason(), error.HostErrno());
}

bool Recorder::IsLost(const zocam::Writer& writer) {
  try {
    if (!camera_.Disconnected()) writer.CheckWritten();
  } catch (const zocam::Error& error) {
    failure_ = FailureText(error);
  }
  if (camera_.Disconnected()) failure_ = camera_.Label() + ": the camera has vanished";
  return !failure_.empty();
}

double Recorder::ShareDone(uint64_t frames) const {
  double share = 0.0;
  const Seconds elapsed = Clock::now() - begin_;
  if (limits_.time) share = elapsed / Seconds(*limits_.time);
  if (limits_.clock)
    share = std::max(share, elapsed / (elapsed + std::max(TimeLeft(*limits_.clock), Seconds(0))));
  if (limits_.frames != UINT64_MAX)
    share = std::max(share, static_cast<double>(frames) / static_cast<double>(limits_.frames));
  return share;
}

void Recorder::ShowProgress(Clock::time_point now, const RecordedStream& stream) {
  if (now - lastShown_ < (line_.IsTerminal() ? milliseconds(kShowEvery) : milliseconds(kSayEvery)))
    return;
  lastShown_ = now;
  const uint64_t frames = stream.Frames();
  rate_.Count(now, frames);
  char rest[64];
  std::snprintf(rest, sizeof rest, "  %.1f/s  %llu dropped", rate_.PerSecond(),
                static_cast<unsigned long long>(stream.Dropped()));
  // What matters most stands where a narrow window does not cut it off.
  const std::string text =
      std::to_string(frames) + " frames  " + ByteSizeText(file_.Bytes()) + "  " +
      OffsetText(std::chrono::duration_cast<milliseconds>(now - begin_)) + rest;
  const bool hasEnd = limits_.time || limits_.clock || limits_.frames != UINT64_MAX;
  if (!line_.IsTerminal()) return line_.Say(text);
  line_.Show(text, hasEnd ? std::optional(ShareDone(frames)) : std::nullopt);
}

void Recorder::WarnOfLowSpace() {
  std::error_code error;
  const auto disk = std::filesystem::space(file_.Path(), error);
  const std::optional<double> frames = ExpectedFrames(limits_, camera_);
  if (error || !frames) return;
  const double needed = *frames * static_cast<double>(recordBytes_);
  if (needed <= static_cast<double>(disk.available)) return;
  const uint64_t framesLeft = disk.available / recordBytes_;
  const double seconds = static_cast<double>(framesLeft) / camera_.FrameRate();
  line_.Say("the recording will take " + ByteSizeText(static_cast<uint64_t>(needed)) + ", " +
            ByteSizeText(disk.available) + " are free: the disk is full after " +
            OffsetText(milliseconds(static_cast<int64_t>(seconds) * 1000)));
}

void Recorder::WatchOver(RecordedStream& stream, const zocam::Writer& writer) {
  while (!IsOver(stream) && !IsLost(writer)) {
    const Clock::time_point now = Clock::now();
    LookForSilence(now, stream.Frames());
    KeepFirstFrame();
    ShowProgress(now, stream);
  }
  // Also what failed at the last moment.
  IsLost(writer);
}

// From now on the file has its header line, and the camera's frames go into it.
zocam::Writer Recorder::CreateFile() {
  try {
    zocam::Writer writer(camera_, file_.Path());
    const uint64_t headerBytes = file_.Bytes();
    firstFrameEnd_ = headerBytes + recordBytes_;
    if (options_.maxBytes)
      limits_.frames = std::min(limits_.frames, (*options_.maxBytes - headerBytes) / recordBytes_);
    return writer;
  } catch (const zocam::Error& error) {
    throw ToolError(FailureText(error) + "; nothing was recorded");
  }
}

void Recorder::KeepFirstFrame() {
  if (!file_.IsKept() && file_.Bytes() >= firstFrameEnd_) file_.Keep();
}

// From the stream's first frame on.
void Recorder::Record(RecordedStream& stream) {
  zocam::Writer writer = CreateFile();
  WarnOfLowSpace();
  begin_ = lastShown_ = Clock::now();
  LookForSilence(begin_, framesSeen_ + 1);
  rate_.Count(begin_, 0);
  stream.Record(limits_.frames);
  WatchOver(stream, writer);
  try {
    writer.Finish();
  } catch (const zocam::Error& error) {
    // The file of a camera that vanished is closed with it.
    if (failure_.empty()) failure_ = FailureText(error);
  }
  KeepFirstFrame();
}

int Recorder::Conclude(uint64_t dropped) {
  line_.Close();
  const std::string& path = options_.path;
  if (!file_.IsKept()) {
    if (failure_.empty()) failure_ = camera_.Label() + ": no frame came";
    throw ToolError(failure_ + "; nothing was recorded");
  }
  const std::string first = failure_.empty() ? "" : failure_ + "\n  ";
  if (!file_.IsInPlace())
    throw ToolError(first + path +
                    " was moved, deleted or replaced while it was recorded; the frames are in the "
                    "file that it was");
  std::string text;
  try {
    text = path + ": " + FilmText(path) + ", " + std::to_string(dropped) + " dropped";
  } catch (const zocam::Error& error) {
    throw ToolError(first + path + " was recorded, but cannot be read again: " + error.Reason() +
                    "; the frames are in it");
  }
  if (!failure_.empty()) throw ToolError(first + "safe is " + text);
  std::printf("%s\n", text.c_str());
  return kDone;
}

void Recorder::AwaitFirstFrame(const RecordedStream& stream) {
  while (!stream.HasBegun()) {
    if (camera_.Disconnected()) throw ToolError(camera_.Label() + ": the camera has vanished");
    if (EndSignalWithin(kPause) != 0 || IsTimeOver())
      throw ToolError(camera_.Label() + ": no frame came; nothing was recorded");
    LookForSilence(Clock::now(), framesSeen_);
  }
}

int Recorder::Run() {
  uint64_t dropped = 0;
  {
    RecordedStream stream(camera_, options_.highRate);
    AwaitFirstFrame(stream);
    Record(stream);
    dropped = stream.Dropped();
  }
  return Conclude(dropped);
}

int Record(const RecordOptions& options) {
  const Limits limits = LimitsOf(options);
  zocam::Device camera = OpenCamera(options.device);
  if (options.maxBytes) RequireRoom(*options.maxBytes, camera);
  NoticeEndSignals();
  // A file that has become too large is an error to be told; and nobody reading what is told is no
  // reason to end a recording.
  std::signal(SIGXFSZ, SIG_IGN);
  std::signal(SIGPIPE, SIG_IGN);
  return Recorder(options, limits, camera).Run();
}

std::optional<milliseconds> ParseDuration(std::string_view text) {
  const std::optional<milliseconds> time = ParseOffset(text);
  return time && *time > 0ms ? time : std::nullopt;
}

}  // namespace

void AddRecordCommand(CLI::App& app, Action& action) {
  CLI::App* command = app.add_subcommand("record", "record a camera into a file");
  const auto options = std::make_shared<RecordOptions>();
  AddCameraArgument(*command, options->device);
  command->add_option("-o,--output", options->path, "the recording, usually a .y4m")
      ->type_name("FILE")
      ->required();
  CLI::Option* time =
      AddParsed(*command, "--seconds", options->time, ParseDuration, "end after this time",
                "more than 0 seconds, or minutes:seconds, as 90.5 or 1:30.5")
          ->type_name("TIME");
  CLI::Option* frames =
      AddCountOption(*command, "--frames", options->frames, "end after so many frames")
          ->excludes(time);
  AddParsed(*command, "--until", options->until, ParseTimeOfDay,
            "end when the clock shows this next", "hour:minute, as 17:30")
      ->type_name("HH:MM")
      ->excludes(time)
      ->excludes(frames);
  AddParsed(*command, "--max-size", options->maxBytes, ParseByteSize,
            "end before the file gets larger, for example 500M or 1.5G",
            "bytes, or a number with k, M, G or T, as 1.5G")
      ->type_name("SIZE");
  command->add_flag("--high-rate", options->highRate,
                    "25.9 instead of 8.6 frames per second, on models that have it");
  command->add_flag("--overwrite", options->overwrite, "replace a file that exists");
  command->footer("Ctrl-C ends a recording, too.");
  command->callback([&action, options] { action = [options] { return Record(*options); }; });
}
