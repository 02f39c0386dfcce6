// zocam dump: one frame as text, its telemetry and its values.
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <bit>
#include <cerrno>
#include <memory>

#include "tools/advice.h"
#include "tools/commands.h"
#include "tools/decode_options.h"
#include "tools/file_checks.h"
#include "tools/input_file.h"
#include "tools/measurement.h"
#include "tools/offset_text.h"
#include "tools/output_file.h"
#include "tools/source.h"

namespace {

constexpr size_t kLongestText = size_t{1} << 22;  // far more than any frame comes to

struct DumpOptions {
  std::string source;
  std::optional<std::chrono::milliseconds> at;
  std::optional<uint32_t> number;
  DecodeOptions decoding;
  std::string outputPath;
  bool raw = false;

  bool ChoosesFrame() const { return at || number; }
};

std::vector<uint16_t> WordsOf(const zocam::Frame& frame) {
  std::vector<uint16_t> words(size_t{frame.Width()} * frame.Height());
  for (size_t i = 0; i < words.size(); ++i)
    words[i] = static_cast<uint16_t>(frame.Bytes()[2 * i] << 8 | frame.Bytes()[2 * i + 1]);
  return words;
}

// To the path, or to standard output when there is none.
void DumpTo(const char* path, const DumpOptions& options, const zocam::Device& device,
            const zocam::Frame& frame, const std::vector<uint16_t>& values) {
  std::array<uint16_t, 8> dateTime{};
  if (frame.Stamp()) dateTime = std::bit_cast<std::array<uint16_t, 8>>(frame.Stamp()->dateTime);
  const bool isTemperature = !options.raw && QuantityOf(device) == Quantity::kTemperature;
  const ZoStatus status = ZoLib_DumpFrame(
      device.Handle(), path, values.data(), static_cast<uint32_t>(values.size() * 2),
      frame.Footer().data(), frame.Stamp() ? dateTime.data() : nullptr, isTemperature);
  if (status != ZO_STATUS_OK) throw zocam::Error(status, "cannot write a frame as text");
}

void Write(const DumpOptions& options, const zocam::Device& device, const zocam::Frame& frame,
           const std::vector<uint16_t>& values) {
  if (options.outputPath.empty()) return DumpTo(nullptr, options, device, frame, values);
  RequireOtherFile(options.outputPath, options.source);
  // By way of memory, because the library does not tell when a file cannot be written to its end.
  const int memory = memfd_create("frame", MFD_CLOEXEC);
  if (memory < 0) throw ToolError("cannot write " + options.outputPath + ": " + ErrnoText(errno));
  const std::unique_ptr<const int, void (*)(const int*)> owner(&memory,
                                                               [](const int* fd) { close(*fd); });
  const std::string path = "/proc/self/fd/" + std::to_string(memory);
  DumpTo(path.c_str(), options, device, frame, values);
  WriteOutputFile(options.outputPath, ReadInputFile(path, kLongestText));
}

// The frame at the time that was sought, or the first one with the number.
zocam::FrameCopy ChosenFrame(zocam::Recording& film, const DumpOptions& options) {
  while (auto frame = film.NextFrame()) {
    if (!options.number || frame->Stamp()->number == *options.number) return std::move(*frame);
  }
  throw ToolError(film.Label() + " has no frame number " + std::to_string(*options.number) +
                  "; its last one is number " + std::to_string(film.LastFrameNumber()));
}

void DumpChosenFrame(DumpOptions& options) {
  zocam::Recording film =
      OpenRecording(options.source, options.at.value_or(std::chrono::milliseconds(0)));
  options.decoding.Apply(film);
  const zocam::FrameCopy frame = ChosenFrame(film, options);
  if (options.raw) return Write(options, film, frame, WordsOf(frame));
  options.decoding.FollowResolution(film, frame);
  try {
    Write(options, film, frame, frame.Temperatures().values);
  } catch (const zocam::Error& error) {
    if (error.Status() != ZO_STATUS_INVALID_STATE) throw;
    throw ToolError(film.Label() + ": this frame has no temperatures; --raw shows its words");
  }
}

void DumpNextFrame(DumpOptions& options) {
  zocam::Device device = OpenSource(options.source);
  options.decoding.Apply(device);
  ForEachDecodedFrame(device, options.decoding, 1,
                      [&](const zocam::Frame& frame, const zocam::TemperatureImage& image) {
                        Write(options, device, frame, options.raw ? WordsOf(frame) : image.values);
                      });
}

int Dump(DumpOptions& options) {
  const bool isRecording = NamesRecording(options.source);
  if (options.ChoosesFrame() && !isRecording)
    throw ToolError("--at and --frame are for recordings; a camera shows what is now");
  // Of a recording, --raw without a choice means the very first frame, decodable or not.
  if (options.ChoosesFrame() || (isRecording && options.raw)) {
    DumpChosenFrame(options);
  } else {
    DumpNextFrame(options);
  }
  return kDone;
}

}  // namespace

void AddDumpCommand(CLI::App& app, Action& action) {
  CLI::App* command = app.add_subcommand("dump", "print a frame as text: telemetry and kelvin");
  const auto options = std::make_shared<DumpOptions>();
  AddSourceArgument(*command, options->source);
  CLI::Option* at = AddOffsetOption(*command, "--at", options->at,
                                    "of a recording: the time of the frame to print");
  command
      ->add_option("--frame", options->number,
                   "of a recording: its number; default: the first one with temperatures")
      ->check(CLI::Range(uint32_t{1}, UINT32_MAX).description(""))
      ->type_name("N")
      ->excludes(at);
  command->add_flag("--raw", options->raw, "the words of the frame instead of temperatures");
  command->add_option("-o,--output", options->outputPath, "a file instead of standard output")
      ->type_name("FILE");
  options->decoding.AddTo(*command);
  command->callback([&action, options] { action = [options] { return Dump(*options); }; });
}
