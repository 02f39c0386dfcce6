// zocam record: a camera's frames into a file, for as long as wanted.
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
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
#include "tools/progress_bar.h"
#include "tools/rate_meter.h"
#include "tools/recorded_stream.h"
#include "tools/source.h"
#include "tools/time_of_day.h"

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr auto kPause = 50ms;       // how often the end is looked for
constexpr auto kSilence = 5s;       // without a frame for this long, say so
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

void RequireFreePlace(const std::string& path, bool overwrite) {
  struct stat file {};
  if (stat(path.c_str(), &file) != 0) return;  // what else is wrong shows when it is created
  if (S_ISDIR(file.st_mode)) throw ToolError("cannot record to " + path + ": it is a folder");
  if (!S_ISREG(file.st_mode))
    throw ToolError("cannot record to " + path + ": a recording needs a regular file");
  if (!overwrite)
    throw ToolError(path + " exists; choose another name, or replace it with --overwrite");
}

// Of one frame in the file: a marker, the raw frame, a line that says when it came.
uint64_t RecordBytes(const zocam::Device& camera) {
  constexpr uint64_t kMarkerBytes = 6;
  return kMarkerBytes + camera.RawFrameBytes() + uint64_t{2} * camera.Width();
}

// When a recording that has just begun ends by itself.
struct Limits {
  std::optional<milliseconds> time;
  std::optional<std::chrono::system_clock::time_point> clock;
  uint64_t frames = UINT64_MAX;
};

Limits LimitsOf(const RecordOptions& options, const zocam::Device& camera) {
  Limits limits;
  limits.time = options.time;
  if (options.until)
    limits.clock =
        std::chrono::system_clock::from_time_t(NextTime(*options.until, std::time(nullptr)));
  if (options.frames) limits.frames = *options.frames;
  if (!options.maxBytes) return limits;
  const uint64_t headerBytes = std::filesystem::file_size(options.path);
  const uint64_t room = *options.maxBytes - std::min(*options.maxBytes, headerBytes);
  limits.frames = std::min(limits.frames, room / RecordBytes(camera));
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

// What a closed file holds; nothing when no frame is in it.
struct Film {
  uint32_t frames;
  milliseconds length;
};

std::optional<Film> FilmIn(const std::string& path) {
  try {
    const zocam::Recording film = zocam::Recording::OpenPassive(path);
    return Film{film.LastFrameNumber(), film.Length()};
  } catch (const zocam::Error&) {
    return std::nullopt;
  }
}

std::string FilmText(const Film& film) {
  return std::to_string(film.frames) + (film.frames == 1 ? " frame, " : " frames, ") +
         OffsetText(film.length);
}

std::string AdviceOnWriting(int error) {
  switch (error) {
    case ENOSPC:
      return "make room, or record to another disk";
    case EDQUOT:
      return "your share of the disk is used up: make room, or record to another disk";
    case EFBIG:
      return "files may not become larger here: ulimit -f shows the limit, --max-size ends before "
             "it";
    default:
      return "record to another disk";
  }
}

// One recording, from the first frame to the closed file.
class Recorder {
 public:
  Recorder(const RecordOptions& options, zocam::Device& camera)
      : options_(options), camera_(camera) {}

  int Run();

 private:
  void Record(RecordedStream& stream);
  void WarnOfLowSpace();
  void WatchOver(RecordedStream& stream, const zocam::Writer& writer);
  bool IsOver(const RecordedStream& stream) const;
  bool IsLost(const zocam::Writer& writer);
  void LookForSilence(Clock::time_point now, uint64_t frames);
  void ShowProgress(Clock::time_point now, const RecordedStream& stream);
  double ShareDone(uint64_t frames) const;
  int Conclude(uint64_t dropped);

  const RecordOptions& options_;
  zocam::Device& camera_;
  StatusLine line_;
  Limits limits_;
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
  } else if (silent >= kSilence && !silenceTold_) {
    line_.Say(camera_.Label() + ": no frame for " + std::to_string(silent.count()) +
              " s; waiting for the camera");
    silenceTold_ = true;
  }
}

bool Recorder::IsOver(const RecordedStream& stream) const {
  if (EndSignalWithin(kPause) != 0 || stream.IsComplete()) return true;
  if (limits_.time && Clock::now() - begin_ >= *limits_.time) return true;
  return limits_.clock && TimeLeft(*limits_.clock) <= 0s;
}

bool Recorder::IsLost(const zocam::Writer& writer) {
  try {
    if (!camera_.Disconnected()) writer.CheckWritten();
  } catch (const zocam::Error& error) {
    failure_ = "cannot write " + options_.path + ": " + error.Reason() + "; " +
               AdviceOnWriting(error.HostErrno());
  }
  // A vanishing camera leaves an error, too.
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
  std::error_code error;
  const uint64_t bytes = std::filesystem::file_size(options_.path, error);
  char numbers[96];
  std::snprintf(numbers, sizeof numbers, "  %llu frames  %.1f/s  %llu dropped  ",
                static_cast<unsigned long long>(frames), rate_.PerSecond(),
                static_cast<unsigned long long>(stream.Dropped()));
  const std::string text = OffsetText(std::chrono::duration_cast<milliseconds>(now - begin_)) +
                           numbers + (error ? "" : ByteSizeText(bytes));
  const bool hasEnd = limits_.time || limits_.clock || limits_.frames != UINT64_MAX;
  if (!line_.IsTerminal()) return line_.Say(text);
  line_.Show((hasEnd ? BarText(ShareDone(frames)) + " " : "") + text);
}

void Recorder::WarnOfLowSpace() {
  std::error_code error;
  const auto disk = std::filesystem::space(options_.path, error);
  const std::optional<double> frames = ExpectedFrames(limits_, camera_);
  if (error || !frames) return;
  const double needed = *frames * static_cast<double>(RecordBytes(camera_));
  if (needed <= static_cast<double>(disk.available)) return;
  const uint64_t framesLeft = disk.available / RecordBytes(camera_);
  const double seconds = static_cast<double>(framesLeft) / camera_.FrameRate();
  line_.Say("the recording will take " + ByteSizeText(static_cast<uint64_t>(needed)) + ", " +
            ByteSizeText(disk.available) + " are free: the disk is full after " +
            OffsetText(milliseconds(static_cast<int64_t>(seconds) * 1000)));
}

void Recorder::WatchOver(RecordedStream& stream, const zocam::Writer& writer) {
  while (!IsOver(stream) && !IsLost(writer)) {
    const Clock::time_point now = Clock::now();
    LookForSilence(now, stream.Frames());
    ShowProgress(now, stream);
  }
  // Also what failed at the last moment.
  IsLost(writer);
}

// From the stream's first frame on.
void Recorder::Record(RecordedStream& stream) {
  zocam::Writer writer(camera_, options_.path);
  limits_ = LimitsOf(options_, camera_);
  WarnOfLowSpace();
  begin_ = lastFrame_ = lastShown_ = Clock::now();
  rate_.Count(begin_, 0);
  if (limits_.frames == 0) {
    failure_ = "--max-size leaves no room for a frame";
    return;
  }
  stream.Record(limits_.frames);
  WatchOver(stream, writer);
  try {
    writer.Finish();
  } catch (const zocam::Error& error) {
    // The file of a camera that vanished is closed with it.
    if (failure_.empty()) failure_ = "cannot write " + options_.path + ": " + error.Reason();
  }
}

int Recorder::Conclude(uint64_t dropped) {
  line_.Close();
  const std::optional<Film> film = FilmIn(options_.path);
  if (!film) {
    std::error_code ignored;
    std::filesystem::remove(options_.path, ignored);
    if (failure_.empty()) failure_ = camera_.Label() + ": no frame came";
    throw ToolError(failure_ + "; nothing was recorded");
  }
  const std::string text = options_.path + ": " + FilmText(*film) + ", " +
                           ByteSizeText(std::filesystem::file_size(options_.path)) + ", " +
                           std::to_string(dropped) + " dropped";
  if (!failure_.empty()) throw ToolError(failure_ + "\n  safe is " + text);
  std::printf("%s\n", text.c_str());
  return kDone;
}

int Recorder::Run() {
  uint64_t dropped = 0;
  {
    RecordedStream stream(camera_, options_.highRate);
    while (!stream.HasBegun()) {
      if (camera_.Disconnected()) throw ToolError(camera_.Label() + ": the camera has vanished");
      if (EndSignalWithin(kPause) != 0)
        throw ToolError(camera_.Label() + ": no frame came; nothing was recorded");
      LookForSilence(Clock::now(), 0);
    }
    Record(stream);
    dropped = stream.Dropped();
  }
  return Conclude(dropped);
}

int Record(const RecordOptions& options) {
  RequireFreePlace(options.path, options.overwrite);
  zocam::Device camera = OpenCamera(options.device);
  NoticeEndSignals();
  // A file that has become too large is an error to be told; and nobody reading what is told is no
  // reason to end a recording.
  std::signal(SIGXFSZ, SIG_IGN);
  std::signal(SIGPIPE, SIG_IGN);
  return Recorder(options, camera).Run();
}

// An option whose text is read by parse, which gives nothing for what is wrong.
template <typename Value, typename Parse>
CLI::Option* AddParsed(CLI::App& command, const std::string& name, std::optional<Value>& value,
                       Parse parse, const std::string& what, const std::string& example) {
  return command
      .add_option_function<std::string>(
          name, [&value, parse](const std::string& text) { value = parse(text); }, what)
      ->check(CLI::Validator(
          [parse, example](const std::string& text) {
            return parse(text) ? "" : "\"" + text + "\" cannot be read; write " + example;
          },
          ""));
}

}  // namespace

void AddRecordCommand(CLI::App& app, Action& action) {
  CLI::App* command = app.add_subcommand("record", "record a camera into a file");
  const auto options = std::make_shared<RecordOptions>();
  AddCameraArgument(*command, options->device);
  command->add_option("-o,--output", options->path, "the recording, usually a .y4m")
      ->type_name("FILE")
      ->required();
  CLI::Option* time = AddOffsetOption(*command, "--seconds", options->time, "end after this time");
  CLI::Option* frames = command->add_option("--frames", options->frames, "end after so many frames")
                            ->check(CLI::PositiveNumber.description(""))
                            ->type_name("N")
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
