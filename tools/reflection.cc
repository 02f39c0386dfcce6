// zocam reflection make: learns the reflections that a camera sees, for snapshot and watch.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <memory>
#include <span>

#include "tools/commands.h"
#include "tools/measurement.h"
#include "tools/output_file.h"
#include "tools/progress_bar.h"
#include "tools/source.h"

namespace {

constexpr size_t kHeaderBytes = 8;

struct MakeOptions {
  std::string device;
  std::string path;
  uint32_t frames = 50;
  bool upsideDown = false;
};

struct Extremes {
  double least;  // kelvin
  double most;
};

// Of the corrections in a correction image.
Extremes ExtremesOf(std::span<const uint8_t> zorc, int32_t resolution) {
  int16_t least = INT16_MAX, most = INT16_MIN;
  for (size_t i = kHeaderBytes; i + 1 < zorc.size(); i += 2) {
    const auto value = static_cast<int16_t>(zorc[i] | zorc[i + 1] << 8);
    least = std::min(least, value);
    most = std::max(most, value);
  }
  return {static_cast<double>(least) / resolution, static_cast<double>(most) / resolution};
}

int Make(const MakeOptions& options) {
  zocam::Device device = OpenSource(options.device);
  device.SetUpsideDown(options.upsideDown);
  device.StartReflectionLearning();
  {
    ProgressBar progress(options.frames, "frames");
    uint32_t taken = 0;
    DecodeOptions asTheModelHasIt;
    ForEachDecodedFrame(
        device, asTheModelHasIt, options.frames,
        [&](const zocam::Frame&, const zocam::TemperatureImage&) { progress.Show(++taken); });
  }
  const std::vector<uint8_t> zorc = device.StopReflectionLearning();
  WriteOutputFile(options.path, zorc);
  const Extremes extremes = ExtremesOf(zorc, ZoLib_GetLastTempResolution(device.Handle()));
  std::printf("%s: corrections from %.2f K to %.2f K\n", options.path.c_str(), extremes.least,
              extremes.most);
  return kDone;
}

}  // namespace

void AddReflectionCommand(CLI::App& app, Action& action) {
  CLI::App* command = app.add_subcommand("reflection", "learn to correct reflections");
  command->require_subcommand(1);
  CLI::App* make = command->add_subcommand(
      "make", "learn from a uniform view, such as a wall or a closed lid, for --reflection");
  const auto options = std::make_shared<MakeOptions>();
  AddSourceArgument(*make, options->device);
  make->add_option("-o,--output", options->path, "the correction file to write")
      ->required()
      ->type_name("FILE");
  make->add_option("--frames", options->frames, "number of frames to learn from")
      ->check(CLI::Range(1, 1000).description(""))
      ->type_name("N")
      ->capture_default_str();
  make->add_flag("--upside-down", options->upsideDown,
                 "learn for pictures turned by 180 degrees, which need a file of their own");
  make->callback([&action, options] { action = [options] { return Make(*options); }; });
}
