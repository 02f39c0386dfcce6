#include "tools/serve/picture_wish.h"

#include <CLI/CLI.hpp>
#include <ctime>
#include <utility>

#include "tools/advice.h"
#include "tools/measurement.h"
#include "tools/serve/access.h"
#include "tools/serve/request_error.h"

namespace serve {
namespace {

std::string LocalTimeText() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  char text[64] = "";
  if (localtime_r(&now, &local) != nullptr)
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S%z", &local);
  return text;
}

// The ranges are the device's: whoever renders with others gives these back.
class RangeKeeper {
 public:
  explicit RangeKeeper(zocam::Device& device)
      : device_(device), decode_(device.DecodeRange()), gain_(device.AgcRange()) {}
  ~RangeKeeper() {
    try {
      device_.SetDecodeRange(decode_);
      device_.SetAgcRange(gain_);
    } catch (const zocam::Error&) {
      // Of a handle that takes no settings any more nobody renders.
    }
  }
  RangeKeeper(const RangeKeeper&) = delete;
  RangeKeeper& operator=(const RangeKeeper&) = delete;

 private:
  zocam::Device& device_;
  const zocam::Device::Range decode_;
  const zocam::Device::Range gain_;
};

}  // namespace

PictureStyle StyleOf(const std::string& target) {
  // The words mean what they mean on the command line, and are checked in the same way.
  PictureStyle style;
  CLI::App words;
  style.options.AddTo(words);
  style.layout.AddTo(words);
  std::vector<std::string> arguments;  // from the last one
  const auto add = [&](const char* name, const char* option) {
    const std::string value = QueryValue(target, name);
    if (!value.empty()) arguments.push_back(std::string(option) + "=" + value);
  };
  add("palette", "--format");
  add("gain", "--gain");
  add("range", "--range");
  add("scale", "--scale");
  if (QueryValue(target, "bar") == "0") arguments.emplace_back("--no-bar");
  const std::string turn = QueryValue(target, "turn");
  if (turn.size() > 1 || turn.find_first_not_of("0123") != std::string::npos)
    throw RequestError("turn is how often to turn the picture by 90 degrees: 0 to 3");
  if (!turn.empty()) style.turns = static_cast<uint32_t>(turn[0] - '0');
  try {
    words.parse(arguments);
    const std::string range = QueryValue(target, "range");
    if (!range.empty()) ParseRange(range, Quantity::kTemperature);
  } catch (const CLI::ParseError& error) {
    throw RequestError(error.what());
  } catch (const ToolError& error) {
    throw RequestError(error.what());
  }
  return style;
}

WishedPicture MakePicture(const zocam::Frame& frame, const zocam::TemperatureImage& image,
                          zocam::Device& device, const PictureStyle& style) {
  const RangeKeeper ranges(device);
  style.options.Apply(device);
  style.options.ApplyRange(device);
  Picture picture = RenderPicture(frame, style.options);
  const zocam::Image grey = frame.Render(style.options.GreyCode());
  Measurement measurement;
  measurement.quantity = QuantityOf(device);
  measurement.image = image;
  return {std::move(picture), ColourScale(measurement, grey, device, style.options), image,
          DescribeOrigin(device, LocalTimeText())};
}

Picture Compose(const WishedPicture& wished, const PictureStyle& style) {
  if (!wished.scale) return {};
  Picture picture = wished.picture;
  for (uint32_t turn = 0; turn < style.turns; ++turn) picture = Turn(picture);
  return style.layout.Compose(picture, style.layout.ScaleBarFor(picture.height, *wished.scale));
}

}  // namespace serve
