#include "tools/picture_options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <set>
#include <string_view>

#include "tools/advice.h"

namespace {

constexpr double kMostSample = 65535.0;

// What a range may span: any temperature or difference of a camera, any count.
constexpr ValueRange LimitsOf(Quantity quantity) {
  switch (quantity) {
    case Quantity::kCounts:
      return {0.0, kMostSample};
    case Quantity::kDifference:
      return {-2000.0, 2000.0};
    default:
      return {-273.15, 2000.0};
  }
}

const char* MeaningOf(Quantity quantity) {
  switch (quantity) {
    case Quantity::kCounts:
      return "counts, for example 28000:31000";
    case Quantity::kDifference:
      return "kelvin, for example -2:2.5";
    default:
      return "degrees Celsius, for example 20:35.5";
  }
}

// A word of the command line and the code it stands for.
struct Choice {
  std::string_view name;
  uint32_t code;
};
constexpr std::array<Choice, 3> kPalettes = {
    {{"gray", ZO_FMT_GRAY8}, {"iron", ZO_FMT_IRON_RGB24}, {"rainbow", ZO_FMT_RAINBOW_RGB24}}};
constexpr std::array<Choice, 3> kGains = {
    {{"manual", ZO_GAIN_MANUAL}, {"linear", ZO_GAIN_LINEAR}, {"nonlinear", ZO_GAIN_NONLINEAR}}};

// The library takes ranges in hundredths of a kelvin, whatever the unit of its images.
int32_t SettingOf(Quantity quantity, double value, int32_t resolution) {
  const double sample = SampleOf(quantity, value, resolution);
  return static_cast<int32_t>(std::lround(std::clamp(sample, 0.0, kMostSample) * 100 / resolution));
}

std::optional<double> ParseValue(std::string_view text, ValueRange limits) {
  if (text.starts_with('+')) text.remove_prefix(1);
  double value = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  if (!(value >= limits.low && value <= limits.high)) return std::nullopt;
  return value;
}

}  // namespace

ValueRange ParseRange(const std::string& text, Quantity quantity) {
  const ValueRange limits = LimitsOf(quantity);
  const std::string_view whole = text;
  const size_t colon = whole.find(':');
  if (colon != std::string_view::npos) {
    const std::optional<double> low = ParseValue(whole.substr(0, colon), limits);
    const std::optional<double> high = ParseValue(whole.substr(colon + 1), limits);
    if (low && high && *low < *high) return {*low, *high};
  }
  throw ToolError("\"" + text + "\" is no range; write the lower and the upper end in " +
                  MeaningOf(quantity));
}

void PictureOptions::AddTo(CLI::App& command) {
  const auto choice = [&]<size_t kCount>(const char* name, const std::array<Choice, kCount>& all,
                                         uint32_t& value, const char* what, const char* type) {
    std::set<std::string> names;
    for (const Choice& one : all) names.emplace(one.name);
    command
        .add_option_function<std::string>(
            name,
            [&all, &value](const std::string& text) {
              value = std::ranges::find(all, text, &Choice::name)->code;
            },
            what)
        ->check(CLI::IsMember(names).description(""))
        ->type_name(type);
  };
  choice("--format", kPalettes, family_, "palette: gray, iron (default) or rainbow", "PALETTE");
  choice("--gain", kGains, gain_,
         "manual: the colours span --range; linear (default): the temperatures in view; "
         "nonlinear: more colours for frequent temperatures",
         "GAIN");
  command
      .add_option("--range", rangeText_,
                  "degrees Celsius (--subtract: kelvin, --by-raw: counts); with an automatic gain "
                  "its limits (manual: 16:48)")
      ->type_name("LOW:HIGH");
}

void PictureOptions::Apply(zocam::Device& device) const {
  device.SetBgrOrder(false);
  const Quantity quantity = QuantityOf(device);
  if (!rangeText_.empty()) ParseRange(rangeText_, quantity);
  if (rangeText_.empty() && IsManual() && quantity != Quantity::kTemperature)
    throw ToolError(std::string("--gain manual needs a --range here, in ") + MeaningOf(quantity));
}

void PictureOptions::ApplyRange(zocam::Device& device) const {
  const Quantity quantity = QuantityOf(device);
  // The automatic gains' own limits are temperatures.
  if (rangeText_.empty() && quantity == Quantity::kTemperature) return;
  const int32_t resolution = ZoLib_GetLastTempResolution(device.Handle());
  const ValueRange range =
      rangeText_.empty()
          ? ValueRange{ValueOf(quantity, 0, resolution), ValueOf(quantity, kMostSample, resolution)}
          : ParseRange(rangeText_, quantity);
  const zocam::Device::Range limits{SettingOf(quantity, range.low, resolution),
                                    SettingOf(quantity, range.high, resolution)};
  IsManual() ? device.SetDecodeRange(limits) : device.SetAgcRange(limits);
}

std::array<Rgb, 1024> PictureOptions::Colours() const {
  const std::array<uint32_t, 1024> palette = zocam::Palette(FormatCode());
  std::array<Rgb, 1024> colours;
  for (size_t level = 0; level < colours.size(); ++level) {
    const auto grey = static_cast<uint8_t>(level >> 2);
    colours[level] = family_ == ZO_FMT_GRAY8 ? Rgb{grey, grey, grey} : RgbOf(palette[level]);
  }
  return colours;
}

Picture RenderPicture(const zocam::Frame& frame, const PictureOptions& options) {
  const zocam::Image image = frame.Render(options.FormatCode());
  const uint32_t bytesPerPixel = zocam::BytesPerPixel(image.format);
  Picture picture(image.width, image.height);
  const uint8_t* source = image.pixels.data();
  for (Rgb& pixel : picture.pixels) {
    pixel = bytesPerPixel == 1 ? Rgb{source[0], source[0], source[0]}
                               : Rgb{source[0], source[1], source[2]};
    source += bytesPerPixel;
  }
  return picture;
}
