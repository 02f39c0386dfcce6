// zocam export: a recording as pictures, an array, a table or a video.
#include <algorithm>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>

#include "tools/advice.h"
#include "tools/commands.h"
#include "tools/decode_options.h"
#include "tools/frame_sink.h"
#include "tools/measurement.h"
#include "tools/offset_text.h"
#include "tools/progress_bar.h"
#include "tools/source.h"

namespace {

using std::chrono::milliseconds;

struct ExportOptions {
  std::string recording;
  std::string output;
  std::optional<milliseconds> from;
  std::optional<milliseconds> to;
  uint32_t every = 1;
  DecodeOptions decoding;
  PictureOptions picture;
  PictureLayout layout;
  std::string values;  // "", "png" or "tiff"
  bool overwrite = false;
  std::vector<Region> spots;
  std::vector<Region> areas;
  std::string rate;  // of a video; empty: as recorded

  TimeRange Range() const { return {from.value_or(milliseconds(0)), to.value_or(TimeRange().to)}; }
};

enum class OutputKind { kFolder, kArray, kTable, kVideo };

OutputKind KindOf(const std::string& output) {
  const std::filesystem::path path(output);
  const std::string suffix = path.extension();
  if (std::filesystem::is_directory(path) || suffix.empty()) return OutputKind::kFolder;
  if (suffix == ".npy") return OutputKind::kArray;
  if (suffix == ".csv") return OutputKind::kTable;
  if (suffix == ".mp4") return OutputKind::kVideo;
  throw ToolError("cannot write " + output + ": \"" + suffix +
                  "\" is no known kind of file; there are .npy, .csv, .mp4, and folders, whose "
                  "names have no point");
}

void RequireFittingOptions(const ExportOptions& options, OutputKind kind) {
  const auto require = [](bool fits, const char* message) {
    if (!fits) throw ToolError(message);
  };
  require(kind == OutputKind::kTable || (options.spots.empty() && options.areas.empty()),
          "--spot and --area are for tables; name a .csv file with -o");
  require(kind == OutputKind::kFolder || (options.values.empty() && !options.overwrite),
          "--raw16 and --overwrite are for folders; name one with -o");
  require(kind == OutputKind::kVideo || options.rate.empty(),
          "--fps is for videos; name an .mp4 file with -o");
}

// How many whole records a recording has. When it was started again in the middle, these are more
// than its last frame's number tells.
uint32_t CountRecords(const zocam::Recording& film) {
  std::ifstream file(film.Label(), std::ios::binary);
  std::string header;
  std::getline(file, header);
  std::error_code error;
  const auto bytes = std::filesystem::file_size(film.Label(), error);
  constexpr size_t kMarkerBytes = 6;
  const size_t recordBytes = kMarkerBytes + film.RawFrameBytes() + size_t{2} * film.Width();
  if (error || bytes < header.size()) return film.LastFrameNumber();
  return static_cast<uint32_t>((bytes - header.size()) / recordBytes);
}

class Export {
 public:
  explicit Export(ExportOptions& options)
      : options_(options),
        range_(options.Range()),
        film_(OpenRecording(options.recording)),
        records_(CountRecords(film_)),
        restarted_(records_ > film_.LastFrameNumber()),
        pictures_(film_, options.picture, options.layout, range_) {}

  int Run() {
    options_.decoding.Apply(film_);
    options_.picture.Apply(film_);
    quantity_ = QuantityOf(film_);
    for (const std::vector<Region>* regions : {&options_.spots, &options_.areas})
      for (const Region& region : *regions) RequireInside(region, film_.Width(), film_.Height());
    GoToStart();
    sink_ = MakeSink();
    const bool whole = AddFrames();
    if (taken_ == 0) FailWithoutFrames();
    sink_->Finish();
    PrintSummary();
    return whole ? kDone : kFailed;
  }

 private:
  std::unique_ptr<FrameSink> MakeSink() {
    const std::string& output = options_.output;
    switch (KindOf(output)) {
      case OutputKind::kArray:
        return MakeArray(output, film_);
      case OutputKind::kTable:
        return MakeTable(output, options_.spots, options_.areas, film_);
      case OutputKind::kVideo:
        return MakeVideo(output, options_.rate.empty() ? RecordedRate() : options_.rate, pictures_);
      default:
        break;
    }
    FolderOptions folder{output, FrameFile::kPicture, options_.overwrite, restarted_};
    if (options_.values == "png") folder.kind = FrameFile::kPngValues;
    if (options_.values == "tiff") folder.kind = FrameFile::kTiffValues;
    return MakeFolder(folder, film_, pictures_);
  }

  // The real frames per second, as a fraction.
  std::string RecordedRate() const {
    const uint64_t frames = records_ - 1;
    const auto length = (film_.Length() - film_.HeadTimeOffset()).count();
    if (restarted_ || frames == 0 || length <= 0) {
      char text[32];
      std::snprintf(text, sizeof text, "%.3f", film_.FrameRate() / options_.every);
      return text;
    }
    return std::to_string(frames * 1000) + "/" +
           std::to_string(static_cast<uint64_t>(length) * options_.every);
  }

  // Frames before the range's first one are passed over later; a recording that was started again
  // has no order of times to seek in.
  void GoToStart() {
    if (restarted_ || range_.from <= film_.HeadTimeOffset()) return;
    if (!film_.Seek(range_.from - milliseconds(1))) FailOutsideRecording();
  }

  // False when a damaged record ended it.
  bool AddFrames() {
    ProgressBar bar(TotalSteps(), restarted_ ? "frames" : "s");
    while (const auto frame = NextFrame()) {
      ++position_;
      const milliseconds time = frame->Stamp()->timeOffset;
      ShowProgress(bar, time);
      if (time > range_.to && !restarted_) break;
      if (time < range_.from || time > range_.to) continue;
      lastTime_ = time;
      if (seen_++ % options_.every == 0) Take(*frame);
    }
    return !damaged_;
  }

  std::optional<zocam::FrameCopy> NextFrame() {
    try {
      return film_.NextFrame();
    } catch (const zocam::Error& error) {
      if (error.Status() != ZO_STATUS_INVALID_FILE_FORMAT || taken_ == 0) throw;
      damaged_ = true;
      return std::nullopt;
    }
  }

  void Take(const zocam::Frame& frame) {
    options_.decoding.FollowResolution(film_, frame);
    if (DecodeTemperatures(frame, image_)) {
      sink_->Add({frame, image_, quantity_, *frame.Stamp(), position_});
      ++taken_;
      return;
    }
    if (taken_ == 0) RequireOwnModel(frame, film_);
    ++undecoded_;
  }

  // Times tell how far the work is, unless they begin again and again.
  uint32_t TotalSteps() const {
    if (restarted_) return records_;
    return std::max(SecondsIntoRange(std::min(range_.to, film_.Length())), 1u);
  }
  uint32_t SecondsIntoRange(milliseconds time) const {
    const milliseconds start = std::max(range_.from, film_.HeadTimeOffset());
    return time <= start ? 0 : static_cast<uint32_t>((time - start).count() / 1000);
  }
  void ShowProgress(ProgressBar& bar, milliseconds time) {
    const uint32_t done = restarted_ ? position_ : SecondsIntoRange(time);
    if (done <= shown_ || done > TotalSteps()) return;
    shown_ = done;
    bar.Show(done);
  }

  void PrintSummary() const {
    std::string text =
        options_.output + ": " + std::to_string(taken_) + (taken_ == 1 ? " frame" : " frames");
    if (undecoded_ > 0) text += ", " + std::to_string(undecoded_) + " without temperatures";
    std::printf("%s\n", text.c_str());
    if (damaged_)
      std::fprintf(stderr, "zocam: %s is damaged after %s; zocam check can save the rest\n",
                   film_.Label().c_str(), OffsetText(lastTime_).c_str());
  }

  [[noreturn]] void FailWithoutFrames() const {
    if (undecoded_ == 0) FailOutsideRecording();
    throw ToolError(film_.Label() + ": none of " + std::to_string(undecoded_) +
                    " frames has temperatures: the camera had not made its first flat-field "
                    "correction");
  }
  [[noreturn]] void FailOutsideRecording() const {
    throw ToolError(film_.Label() + " has no frame at these times; it goes from " +
                    OffsetText(film_.HeadTimeOffset()) + " to " + OffsetText(film_.Length()));
  }

  ExportOptions& options_;
  const TimeRange range_;
  zocam::Recording film_;
  const uint32_t records_;
  const bool restarted_;
  SteadyPictures pictures_;
  std::unique_ptr<FrameSink> sink_;
  Quantity quantity_ = Quantity::kTemperature;
  zocam::TemperatureImage image_;
  uint32_t position_ = 0;  // of the last frame read; without a seek that in the recording
  uint32_t seen_ = 0;      // in the range
  uint32_t taken_ = 0;
  uint32_t undecoded_ = 0;
  uint32_t shown_ = 0;
  milliseconds lastTime_{};
  bool damaged_ = false;
};

int ExportRecording(ExportOptions& options) {
  RequireFittingOptions(options, KindOf(options.output));
  if (options.from && options.to && *options.from > *options.to)
    throw ToolError("--from is later than --to");
  return Export(options).Run();
}

std::string CheckRate(const std::string& text) {
  double rate = 0.0;
  const auto [end, error] =
      std::from_chars(text.data(), text.data() + text.size(), rate, std::chars_format::fixed);
  const bool good = error == std::errc{} && end == text.data() + text.size();
  return good && rate >= 0.1 && rate <= 1000.0 ? "" : "\"" + text + "\" is not from 0.1 to 1000";
}

}  // namespace

void AddExportCommand(CLI::App& app, Action& action) {
  CLI::App* command =
      app.add_subcommand("export", "write a recording as pictures, array, table or video");
  const auto options = std::make_shared<ExportOptions>();
  AddRecordingArgument(*command, options->recording);
  command
      ->add_option("-o,--output", options->output,
                   "a folder for pictures (PNG), or a file: .npy all values, .csv values over "
                   "time, .mp4 a video")
      ->type_name("DIR|FILE")
      ->required();
  AddOffsetOption(*command, "--from", options->from, "time of the first frame");
  AddOffsetOption(*command, "--to", options->to, "time of the last frame");
  command->add_option("--every", options->every, "take every N-th frame")
      ->check(CLI::Range(1, 1000000).description(""))
      ->type_name("N")
      ->capture_default_str();
  options->picture.AddTo(*command);
  options->layout.AddTo(*command);
  options->decoding.AddTo(*command);
  command
      ->add_option("--raw16", options->values,
                   "folder: the measured values instead of pictures, 16-bit files that say their "
                   "unit")
      ->check(CLI::IsMember({"png", "tiff"}).description(""))
      ->type_name("png|tiff");
  command->add_flag("--overwrite", options->overwrite, "folder: it need not be empty");
  AddRegionOptions(*command, options->spots, options->areas);
  command->add_option("--fps", options->rate, "video: frames per second (as recorded)")
      ->check(CLI::Validator(CheckRate, ""))
      ->type_name("N");
  command->callback(
      [&action, options] { action = [options] { return ExportRecording(*options); }; });
}
