// zocam export: a recording as pictures, an array, a table or a video.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <numeric>
#include <thread>
#include <utility>

#include "tools/advice.h"
#include "tools/commands.h"
#include "tools/decode_options.h"
#include "tools/file_checks.h"
#include "tools/frame_plan.h"
#include "tools/frame_sink.h"
#include "tools/frame_workers.h"
#include "tools/interruption.h"
#include "tools/measurement.h"
#include "tools/offset_text.h"
#include "tools/output_file.h"
#include "tools/progress_bar.h"
#include "tools/source.h"

namespace {

using std::chrono::milliseconds;

enum class OutputKind { kFolder, kArray, kTable, kVideo };

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
  std::string rate;           // of a video; empty: as recorded
  uint32_t jobs = 0;          // 0: one for each core
  std::string pictureOption;  // one that was given and changes pictures only

  TimeRange Range() const { return {from.value_or(milliseconds(0)), to.value_or(TimeRange().to)}; }
  bool ShowsPictures(OutputKind kind) const {
    return kind == OutputKind::kVideo || (kind == OutputKind::kFolder && values.empty());
  }
};

OutputKind KindOf(const std::string& output) {
  if (output.empty() || output == "-")
    throw ToolError("cannot write to standard output; name a folder or a file with -o");
  const std::filesystem::path path(output);
  std::string suffix = path.extension();
  std::ranges::transform(suffix, suffix.begin(),
                         [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  std::error_code error;
  if (suffix.empty() || std::filesystem::is_directory(path, error)) return OutputKind::kFolder;
  if (suffix == ".npy") return OutputKind::kArray;
  if (suffix == ".csv") return OutputKind::kTable;
  if (suffix == ".mp4") return OutputKind::kVideo;
  throw ToolError("cannot write " + output + ": \"" + suffix +
                  "\" is no known kind of file; there are .npy, .csv, .mp4, and folders (a name "
                  "with a point needs a / at its end)");
}

// Options that the output would not show are mistakes.
void RequireFittingOptions(const ExportOptions& options, OutputKind kind) {
  const auto require = [](bool fits, const std::string& message) {
    if (!fits) throw ToolError(message);
  };
  require(kind == OutputKind::kTable || (options.spots.empty() && options.areas.empty()),
          "--spot and --area are for tables; name a .csv file with -o");
  require(kind == OutputKind::kFolder || options.values.empty(),
          "--raw16 is for folders; name one with -o");
  require(kind == OutputKind::kFolder || kind == OutputKind::kArray || !options.overwrite,
          "--overwrite is for folders and .npy files; others are replaced without it");
  require(kind == OutputKind::kVideo || options.rate.empty(),
          "--fps is for videos; name an .mp4 file with -o");
  require(options.ShowsPictures(kind) || options.pictureOption.empty(),
          options.pictureOption + " is for pictures; this writes the values themselves");
}

// Within what video programs take. Parts of a fraction that are this large stay far from overflow.
std::string RateText(uint64_t frames, uint64_t seconds) {
  constexpr uint64_t kMost = 1000;  // frames per second, and seconds per frame
  if (frames / kMost >= seconds) return std::to_string(kMost);
  if (seconds / kMost >= frames) return "1/" + std::to_string(kMost);
  const uint64_t common = std::gcd(frames, seconds);
  return std::to_string(frames / common) + "/" + std::to_string(seconds / common);
}

// Another handle of the recording, for a thread that decodes: a handle decodes one frame at a time.
class FrameDecoder {
 public:
  explicit FrameDecoder(const ExportOptions& options)
      : film_(OpenRecording(options.recording)), options_(options.decoding) {
    options_.Apply(film_);
  }
  bool Decode(std::span<const uint8_t> bytes, zocam::TemperatureImage& image) {
    const zocam::Frame frame = film_.ViewFrame(bytes);
    options_.FollowResolution(film_, frame);
    return DecodeTemperatures(frame, image);
  }

 private:
  zocam::Recording film_;
  DecodeOptions options_;
};

class Export {
 public:
  explicit Export(ExportOptions& options)
      : options_(options),
        kind_(KindOf(options.output)),
        film_(OpenRecording(options.recording)),
        plan_(PlanFrames(options.recording, options.Range())),
        // Where times are in disorder, no range of them makes a gain.
        pictures_(film_, options.picture, options.layout,
                  plan_.isOrdered ? options.Range() : TimeRange()) {}

  int Run() {
    RequireOtherFile(options_.output, options_.recording);
    if (plan_.count == 0) FailOutsideRecording();
    options_.decoding.Apply(film_);
    options_.picture.Apply(film_);
    quantity_ = QuantityOf(film_);
    for (const std::vector<Region>* regions : {&options_.spots, &options_.areas})
      for (const Region& region : *regions) RequireInside(region, film_.Width(), film_.Height());
    if (!ShowsPictures()) NoticeEndSignals();
    sink_ = MakeSink();
    const Clock::time_point begin = Clock::now();
    const bool whole = AddFrames();
    if (taken_ == 0) FailWithoutFrames();
    sink_->Finish();
    PrintSummary(Clock::now() - begin);
    return whole ? kDone : kFailed;
  }

 private:
  using Clock = std::chrono::steady_clock;

  bool ShowsPictures() const { return options_.ShowsPictures(kind_); }

  std::unique_ptr<FrameSink> MakeSink() {
    const std::string& output = options_.output;
    switch (kind_) {
      case OutputKind::kArray:
        return MakeArray(output, options_.overwrite, film_);
      case OutputKind::kTable:
        return MakeTable(output, options_.spots, options_.areas, film_);
      case OutputKind::kVideo:
        return MakeVideo(output, options_.rate.empty() ? RecordedRate() : options_.rate, pictures_);
      default:
        break;
    }
    FolderOptions folder{output, FrameFile::kPicture, options_.overwrite};
    if (options_.values == "png") folder.kind = FrameFile::kPngValues;
    if (options_.values == "tiff") folder.kind = FrameFile::kTiffValues;
    return MakeFolder(folder, film_, pictures_);
  }

  // The real frames per second where times tell them.
  std::string RecordedRate() const {
    constexpr uint64_t kMsPerSecond = 1000;
    const auto length = static_cast<uint64_t>((plan_.last - plan_.first).count());
    if (plan_.isOrdered && length > 0)
      return RateText(uint64_t{plan_.count - 1} * kMsPerSecond, length * options_.every);
    return RateText(ZoLib_GetFrameRateNumerator(film_.Handle()),
                    uint64_t{ZoLib_GetFrameRateDenominator(film_.Handle())} * options_.every);
  }

  // False when a damaged record ended it.
  bool AddFrames() {
    FrameWorkers workers(JobCount(), [this](uint32_t worker, FrameJob& job) {
      if (!decoders_.empty())
        job.hasTemperatures = decoders_[worker]->Decode(job.source.Bytes(), job.frame.image);
      if (job.hasTemperatures) sink_->Encode(job.frame);
    });
    if (DecodesAnywhere())
      for (uint32_t i = 0; i < workers.Count(); ++i)
        decoders_.push_back(std::make_unique<FrameDecoder>(options_));
    ProgressBar bar(static_cast<uint32_t>(plan_.frames.size()), "frames");
    for (const PlannedFrame planned : plan_.frames) {
      ThrowIfInterrupted();
      auto frame = NextFrame(workers);
      if (!frame) break;
      bar.Show(++position_);
      if (planned == PlannedFrame::kLeave) continue;
      if (planned == PlannedFrame::kTake) lastTime_ = frame->Stamp()->timeOffset;
      if (planned == PlannedFrame::kTakeMisfit) ++misfits_;
      if (seen_++ % options_.every != 0) continue;
      workers.Add(BeginAfterOthers(std::move(*frame), workers));
      while (workers.IsFull()) Take(*workers.Take());
    }
    TakeAll(workers);
    return !damaged_;
  }

  // What fails here shows after the frames before it.
  std::unique_ptr<FrameJob> BeginAfterOthers(zocam::FrameCopy source, FrameWorkers& workers) {
    try {
      return Begin(std::move(source));
    } catch (...) {
      TakeAll(workers);
      throw;
    }
  }

  uint32_t JobCount() const {
    const uint32_t wanted =
        options_.jobs != 0 ? options_.jobs : std::thread::hardware_concurrency();
    return std::min(wanted, 1 + plan_.count / options_.every);
  }

  // Pictures are decoded and rendered by the one handle that has the gain made for all of them,
  // which costs little beside enlarging and compressing them.
  bool DecodesAnywhere() const {
    return !ShowsPictures() && !DecodeSettings::DependsOnEarlierFrames(film_);
  }

  std::optional<zocam::FrameCopy> NextFrame(FrameWorkers& workers) {
    try {
      return film_.NextFrame();
    } catch (const zocam::Error& error) {
      TakeAll(workers);
      if (error.Status() != ZO_STATUS_INVALID_FILE_FORMAT || taken_ == 0) throw;
      damaged_ = true;
      return std::nullopt;
    }
  }

  // Does what has to be done in the order of the frames.
  std::unique_ptr<FrameJob> Begin(zocam::FrameCopy source) {
    auto job = std::make_unique<FrameJob>(FrameJob{std::move(source), {}, false, nullptr, false});
    job->frame.stamp = *job->source.Stamp();
    job->frame.position = Position();
    job->frame.quantity = quantity_;
    if (!decoders_.empty()) return job;
    options_.decoding.FollowResolution(film_, job->source);
    job->hasTemperatures = DecodeTemperatures(job->source, job->frame.image);
    if (job->hasTemperatures && ShowsPictures()) job->frame.picture = PictureOf(job->source);
    return job;
  }

  Picture PictureOf(const zocam::Frame& frame) {
    if (!picturesPrepared_) PreparePictures(frame);
    picturesPrepared_ = true;
    return pictures_.Render(frame);
  }

  void TakeAll(FrameWorkers& workers) {
    while (!workers.IsEmpty()) Take(*workers.Take());
  }

  void Take(const FrameJob& job) {
    ThrowIfInterrupted();
    if (job.hasTemperatures) {
      ++taken_;
      sink_->Add(job.frame);
      return;
    }
    if (taken_ == 0) RequireOwnModel(job.source, film_);
    ++undecoded_;
  }

  // A signal ends the long scan at once, which has begun nothing that would have to be taken back.
  void PreparePictures(const zocam::Frame& frame) {
    pictures_.Prepare(frame);
    NoticeEndSignals();
  }

  std::optional<uint32_t> Position() const {
    return plan_.isOrdered ? std::nullopt : std::optional(position_);
  }

  void PrintSummary(std::chrono::duration<double> time) const {
    std::string text =
        options_.output + ": " + std::to_string(taken_) + (taken_ == 1 ? " frame" : " frames");
    if (undecoded_ > 0) text += ", " + std::to_string(undecoded_) + " without temperatures";
    const double rate = taken_ / std::max(time.count(), 1e-6);
    std::printf("%s (%.*f per second)\n", text.c_str(), rate < 10.0 ? 1 : 0, rate);
    if (misfits_ > 0)
      std::fprintf(stderr,
                   "zocam: %u of the frames in %s have a number, time or date that cannot be; "
                   "zocam check tells which\n",
                   misfits_, film_.Label().c_str());
    if (!plan_.isOrdered && kind_ == OutputKind::kFolder)
      std::fprintf(stderr, "zocam: files are numbered by the frames' places in %s\n",
                   film_.Label().c_str());
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
                    OffsetText(plan_.start) + " to " + OffsetText(plan_.end));
  }

  ExportOptions& options_;
  const OutputKind kind_;
  zocam::Recording film_;
  const FramePlan plan_;
  SteadyPictures pictures_;
  std::unique_ptr<FrameSink> sink_;
  Quantity quantity_ = Quantity::kTemperature;
  std::vector<std::unique_ptr<FrameDecoder>> decoders_;  // one for each worker, or none
  bool picturesPrepared_ = false;
  uint32_t position_ = 0;  // of the last frame read
  uint32_t seen_ = 0;      // in the range
  uint32_t taken_ = 0;
  uint32_t undecoded_ = 0;
  uint32_t misfits_ = 0;
  milliseconds lastTime_{};
  bool damaged_ = false;
};

int ExportRecording(ExportOptions& options) {
  RequireFittingOptions(options, KindOf(options.output));
  if (options.from && options.to && *options.from > *options.to)
    throw ToolError("--from is later than --to");
  return RunInterruptibly([&] { return Export(options).Run(); });
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
                   "a folder for pictures (PNG), or a file: .npy all values (and a .json that "
                   "describes them), .csv values over time, .mp4 a video")
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
  command->add_flag("--overwrite", options->overwrite,
                    "folder: it need not be empty; .npy: the .json may replace any");
  AddRegionOptions(*command, options->spots, options->areas);
  command->add_option("--fps", options->rate, "video: frames per second (as recorded)")
      ->check(CLI::Validator(CheckRate, ""))
      ->type_name("N");
  command->add_option("-j,--jobs", options->jobs, "threads that work at once (one for each core)")
      ->check(CLI::Range(1, 256).description(""))
      ->type_name("N");
  command->callback([command, &action, options] {
    for (const char* name : {"--format", "--gain", "--range", "--scale", "--no-bar"})
      if (command->count(name) != 0) options->pictureOption = name;
    action = [options] { return ExportRecording(*options); };
  });
}
