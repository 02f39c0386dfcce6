// zocam snapshot: one picture, and the measured values behind it.
#include <CLI/CLI.hpp>
#include <array>
#include <cstdio>
#include <ctime>
#include <memory>

#include "tools/advice.h"
#include "tools/commands.h"
#include "tools/decode_options.h"
#include "tools/file_checks.h"
#include "tools/measurement.h"
#include "tools/offset_text.h"
#include "tools/output_file.h"
#include "tools/picture_options.h"
#include "tools/png_file.h"
#include "tools/scale_bar.h"
#include "tools/source.h"

namespace {

struct SnapshotOptions {
  std::string device;
  std::optional<std::chrono::milliseconds> at;
  DecodeOptions decoding;
  PictureOptions picture;
  PictureLayout layout;
  std::string picturePath;
  std::string valuesPath;
  std::string csvPath;
  uint32_t average = 1;
};

// When the picture was taken. A recording tells local time only, not the zone.
std::string TimeText(const Measurement& measurement) {
  if (measurement.stamp) return DateTimeText(measurement.stamp->dateTime);
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  char text[64] = "";
  if (localtime_r(&now, &local) != nullptr)
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S%z", &local);
  return text;
}

void WritePicture(const SnapshotOptions& options, const Measurement& measurement,
                  zocam::Device& device) {
  options.picture.ApplyRange(device);
  const RenderedMeasurement rendered = RenderMeasurement(measurement, device, options.picture);
  const ColourScale scale(measurement, rendered.grey, device, options.picture);
  const Picture bar = options.layout.ScaleBarFor(rendered.picture.height, scale);
  WriteOutputFile(options.picturePath, EncodePng(options.layout.Compose(rendered.picture, bar),
                                                 DescribeOrigin(device, TimeText(measurement))));
}

// One line per image row: degrees Celsius, kelvin or counts.
void WriteCsv(const std::string& path, const Measurement& measurement) {
  const zocam::TemperatureImage& image = measurement.image;
  const int decimals = measurement.quantity == Quantity::kCounts ? 0 : 2;
  std::vector<uint8_t> text;
  for (size_t i = 0; i < image.values.size(); ++i) {
    char cell[16];
    const double value = ValueOf(measurement.quantity, image.values[i], image.resolution);
    const int length = std::snprintf(cell, sizeof cell, "%.*f%c", decimals, value,
                                     (i + 1) % image.width == 0 ? '\n' : ',');
    text.insert(text.end(), cell, cell + length);
  }
  WriteOutputFile(path, text);
}

zocam::Device OpenFor(const SnapshotOptions& options) {
  if (!options.at) return OpenSource(options.device);
  if (NamesRecording(options.device)) return OpenRecording(options.device, *options.at);
  throw ToolError("--at is for recordings; a camera shows what is now");
}

int TakeSnapshot(SnapshotOptions& options) {
  if (options.picturePath.empty() && options.valuesPath.empty() && options.csvPath.empty())
    throw ToolError("nothing to write; name a file with -o, --raw16 or --csv");
  RequireDistinctFiles(options.device,
                       std::array{options.picturePath, options.valuesPath, options.csvPath});
  zocam::Device device = OpenFor(options);
  options.decoding.Apply(device);
  options.picture.Apply(device);
  const Measurement measurement = Measure(device, options.decoding, options.average);
  if (!options.picturePath.empty()) WritePicture(options, measurement, device);
  if (!options.valuesPath.empty())
    WriteOutputFile(options.valuesPath, EncodePng(measurement.image, measurement.quantity,
                                                  DescribeOrigin(device, TimeText(measurement))));
  if (!options.csvPath.empty()) WriteCsv(options.csvPath, measurement);
  const ValueSummary seen = Summarise(measurement.image, measurement.quantity, device);
  std::printf("%s\n", SummaryText(seen, measurement.quantity, 2).c_str());
  return kDone;
}

}  // namespace

void AddSnapshotCommand(CLI::App& app, Action& action) {
  CLI::App* command = app.add_subcommand("snapshot", "take a picture and its temperatures");
  const auto options = std::make_shared<SnapshotOptions>();
  AddSourceArgument(*command, options->device);
  command->add_option("-o,--output", options->picturePath, "the picture, a PNG")->type_name("FILE");
  AddOffsetOption(*command, "--at", options->at, "of a recording: the time of the frame to take");
  options->picture.AddTo(*command);
  options->layout.AddTo(*command);
  options->decoding.AddTo(*command);
  command->add_option("--average", options->average, "number of frames to take the mean of")
      ->check(CLI::Range(1, 1000).description(""))
      ->type_name("N")
      ->capture_default_str();
  command
      ->add_option("--raw16", options->valuesPath,
                   "the measured values, a 16-bit PNG that says their unit")
      ->type_name("FILE");
  command
      ->add_option("--csv", options->csvPath,
                   "the values, a table: degrees Celsius (--subtract: kelvin, --by-raw: counts)")
      ->type_name("FILE");
  command->callback([&action, options] { action = [options] { return TakeSnapshot(*options); }; });
}
