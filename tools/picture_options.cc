#include "tools/picture_options.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <set>
#include <string_view>

#include "tools/advice.h"

namespace {

constexpr double kAbsoluteZero = -273.15;
constexpr double kHottest = 2000.0;

// A word of the command line and the code it stands for.
struct Choice {
  std::string_view name;
  uint32_t code;
};
constexpr std::array<Choice, 3> kPalettes = {
    {{"gray", ZO_FMT_GRAY8}, {"iron", ZO_FMT_IRON_RGB24}, {"rainbow", ZO_FMT_RAINBOW_RGB24}}};
constexpr std::array<Choice, 3> kGains = {
    {{"manual", ZO_GAIN_MANUAL}, {"linear", ZO_GAIN_LINEAR}, {"nonlinear", ZO_GAIN_NONLINEAR}}};

int32_t CentiKelvin(double celsius) {
  return static_cast<int32_t>(std::lround((celsius - kAbsoluteZero) * 100.0));
}

std::optional<double> ParseTemperature(std::string_view text) {
  if (text.starts_with('+')) text.remove_prefix(1);
  double value = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  if (!(value >= kAbsoluteZero && value <= kHottest)) return std::nullopt;
  return value;
}

}  // namespace

CelsiusRange ParseCelsiusRange(const std::string& text) {
  const std::string_view whole = text;
  const size_t colon = whole.find(':');
  if (colon != std::string_view::npos) {
    const std::optional<double> low = ParseTemperature(whole.substr(0, colon));
    const std::optional<double> high = ParseTemperature(whole.substr(colon + 1));
    if (low && high && *low < *high) return {*low, *high};
  }
  throw ToolError(
      "\"" + text +
      "\" is no temperature range; write the lower and the upper end in degrees Celsius, "
      "for example 20:35.5");
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
                  "degrees Celsius; with an automatic gain its limits (manual: 16:48)")
      ->type_name("LOW:HIGH");
}

void PictureOptions::Apply(zocam::Device& device) const {
  device.SetBgrOrder(false);
  if (rangeText_.empty()) return;
  const CelsiusRange range = ParseCelsiusRange(rangeText_);
  const zocam::Device::Range limits{CentiKelvin(range.low), CentiKelvin(range.high)};
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
