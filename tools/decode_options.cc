#include "tools/decode_options.h"

#include <CLI/CLI.hpp>
#include <charconv>

#include "tools/advice.h"

namespace {

constexpr uint16_t kHighestThreshold = 100;

// 0 for "off"; nothing for what is neither that nor a threshold.
std::optional<uint16_t> ParseThreshold(const std::string& text) {
  if (text == "off") return 0;
  uint16_t threshold = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), threshold);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  if (threshold < 1 || threshold > kHighestThreshold) return std::nullopt;
  return threshold;
}

std::string CheckThreshold(const std::string& text) {
  return ParseThreshold(text) ? "" : "\"" + text + "\" is neither off nor a number from 1 to 100";
}

std::string SizeText(uint32_t width, uint32_t height) {
  return std::to_string(width) + " x " + std::to_string(height) + " pixels";
}

}  // namespace

void DecodeOptions::AddTo(CLI::App& command) {
  const std::string group = "Decoding (left out: as the model has it)";
  const auto onOff = [&](const char* name, std::optional<bool>& value, const char* what) {
    command
        .add_option_function<std::string>(
            name, [&value](const std::string& text) { value = text == "on"; }, what)
        ->check(CLI::IsMember({"on", "off"}).description(""))
        ->type_name("on|off")
        ->group(group);
  };
  command
      .add_option_function<std::string>(
          "--noise-filter",
          [this](const std::string& text) { settings_.noiseThreshold = ParseThreshold(text); },
          "smooth differences up to a threshold, 1 to 100")
      ->check(CLI::Validator(CheckThreshold, ""))
      ->type_name("N|off")
      ->group(group);
  onOff("--undistort", settings_.undistortion, "straighten the lens's picture");
  onOff("--circumference", settings_.circumference,
        "lift the border of the picture, on models that need it");
  command
      .add_flag("--window", settings_.window,
                "correct for a protective window before the camera; leaves --circumference out")
      ->group(group);
  command.add_flag("--upside-down", settings_.upsideDown, "turn the picture by 180 degrees")
      ->group(group);
  CLI::Option* subtract =
      command
          .add_option("--subtract", referencePath_,
                      "show differences in K to this image: a PNG of --raw16, or a NumPy array of "
                      "uint16 in the camera's own unit")
          ->type_name("FILE")
          ->group(group);
  CLI::Option* reflection = command
                                .add_option("--reflection", settings_.reflectionPath,
                                            "correct reflections, by a file that zocam reflection "
                                            "make wrote")
                                ->type_name("FILE")
                                ->group(group);
  // Counts are no temperatures: nothing in kelvin can be taken from them.
  command.add_flag("--by-raw", settings_.byRaw, "show the sensor's counts instead of temperatures")
      ->excludes(subtract)
      ->excludes(reflection)
      ->group(group);
}

void DecodeOptions::Apply(zocam::Device& device) {
  settings_.Apply(device);
  if (referencePath_.empty()) return;
  reference_ = ReadReferenceImage(referencePath_);
  if (reference_.width != device.Width() || reference_.height != device.Height())
    throw ToolError(referencePath_ + " has " + SizeText(reference_.width, reference_.height) +
                    ", the camera's images have " + SizeText(device.Width(), device.Height()));
  device.SetSubtraction(true);
}

void DecodeOptions::FollowResolution(zocam::Device& device, const zocam::Frame& frame) {
  if (referencePath_.empty() || frame.Check() != ZO_STATUS_OK) return;
  const int32_t resolution = ZoLib_GetLastTempResolution(device.Handle());
  if (resolution == installedResolution_) return;
  device.SetSubtractionTable(ValuesAt(reference_, resolution));
  installedResolution_ = resolution;
}
