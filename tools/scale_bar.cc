#include "tools/scale_bar.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <string_view>

#include "tools/label_text.h"

namespace {

constexpr Rgb kBackground = {22, 22, 24};
constexpr Rgb kInk = {232, 232, 232};
constexpr double kTopLevel = 1023.0;

// The value of a device's range setting, which is in hundredths of a kelvin.
double ValueOfSetting(Quantity quantity, int32_t setting, int32_t resolution) {
  return ValueOf(quantity, setting * resolution / 100.0, resolution);
}

// The widest of 1, 2 and 5 times a power of ten that gives at most most steps.
double TickStep(double span, double most) {
  const double least = span / most;
  const double power = std::pow(10.0, std::floor(std::log10(least)));
  for (double factor : {1.0, 2.0, 5.0})
    if (factor * power >= least) return factor * power;
  return 10.0 * power;
}

std::string TickText(double value, double step) {
  const int decimals = std::clamp(static_cast<int>(std::ceil(-std::log10(step) - 1e-9)), 0, 4);
  char text[32];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  // No "-0.0".
  const bool isZero = std::string_view(text).find_first_not_of("-0.") == std::string_view::npos;
  return isZero && text[0] == '-' ? text + 1 : text;
}

void FillBox(Picture& picture, uint32_t left, uint32_t top, uint32_t width, uint32_t height,
             Rgb colour) {
  Paste(picture, Picture(width, height, colour), left, top);
}

Picture DrawScaleBar(uint32_t height, const ColourScale& scale) {
  const auto [low, high] = scale.Range();
  const uint32_t digits = std::clamp(height / 32, uint32_t{9}, uint32_t{24});
  const uint32_t barTop = digits * 5 / 2;
  const uint32_t barBottom = height - digits;
  const uint32_t barHeight = barBottom - barTop;
  const uint32_t tick = std::max(digits / 3, uint32_t{3});
  const double step = TickStep(high - low, std::max(1.0, barHeight / (2.6 * digits)));
  std::vector<double> ticks;
  const auto firstTick = static_cast<int>(std::ceil(low / step - 1e-6));
  const auto lastTick = static_cast<int>(std::floor(high / step + 1e-6));
  for (int i = firstTick; i <= lastTick; ++i) ticks.push_back(i * step);

  uint32_t labelWidth = LabelWidth(scale.Unit(), digits);
  for (double value : ticks)
    labelWidth = std::max(labelWidth, LabelWidth(TickText(value, step), digits));
  const uint32_t barLeft = digits;
  const uint32_t barWidth = digits * 3 / 2;
  const uint32_t labelLeft = barLeft + barWidth + 2 * tick;
  Picture bar(labelLeft + labelWidth + digits / 2, height, kBackground);

  const uint32_t frame = std::max(digits / 12, uint32_t{1});
  FillBox(bar, barLeft - frame, barTop - frame, barWidth + 2 * frame, barHeight + 2 * frame, kInk);
  for (uint32_t y = 0; y < barHeight; ++y) {
    const double share = (y + 0.5) / barHeight;
    FillBox(bar, barLeft, barTop + y, barWidth, 1, scale.ColourAt(high - share * (high - low)));
  }
  for (double value : ticks) {
    const double share = std::clamp((high - value) / (high - low), 0.0, 1.0);
    const auto y = static_cast<uint32_t>(std::lround(barTop + share * barHeight));
    FillBox(bar, barLeft + barWidth + frame, y - frame, tick, frame, kInk);
    DrawLabel(bar, labelLeft, y - digits / 2, digits, TickText(value, step), kInk);
  }
  DrawLabel(bar, labelLeft, digits / 2, digits, scale.Unit(), kInk);
  return bar;
}

}  // namespace

ColourScale::ColourScale(const Measurement& measurement, const zocam::Image& grey,
                         const zocam::Device& device, const PictureOptions& options)
    : quantity_(measurement.quantity), colours_(options.Colours()) {
  const int32_t resolution = measurement.image.resolution;
  if (options.IsManual()) {
    const zocam::Device::Range range = device.DecodeRange();
    range_ = {ValueOfSetting(quantity_, range.low, resolution),
              ValueOfSetting(quantity_, range.high, resolution)};
    levels_ = {{range_.low, 0.0}, {range_.high, kTopLevel}};
    return;
  }
  // What an automatic gain did shows in the picture itself.
  const ValueSummary seen = Summarise(measurement.image, measurement.quantity, device);
  const zocam::Device::Range limits = device.AgcRange();
  range_ = {std::max(seen.minimum, ValueOfSetting(quantity_, limits.low, resolution)),
            std::min(seen.maximum, ValueOfSetting(quantity_, limits.high, resolution))};
  for (size_t i = 0; i < grey.pixels.size(); ++i)
    levels_[ValueOf(quantity_, measurement.image.values[i], resolution)] =
        grey.pixels[i] * kTopLevel / 255.0;
  constexpr double kLeastSpan = 1.0;  // a uniform view still gets a scale
  const double missing = kLeastSpan - (range_.high - range_.low);
  if (missing > 0.0) range_ = {range_.low - missing / 2, range_.high + missing / 2};
}

Rgb ColourScale::ColourAt(double value) const {
  const auto above = levels_.lower_bound(value);
  double level = 0.0;
  if (above == levels_.begin()) {
    level = above->second;
  } else if (above == levels_.end()) {
    level = std::prev(above)->second;
  } else {
    const auto below = std::prev(above);
    const double share = (value - below->first) / (above->first - below->first);
    level = below->second + (above->second - below->second) * share;
  }
  return colours_[static_cast<size_t>(std::clamp(level, 0.0, kTopLevel))];
}

void PictureLayout::AddTo(CLI::App& command) {
  command.add_flag("--no-bar", noBar_, "leave out the colour scale");
  command.add_option("--scale", scale_, "picture pixels per camera pixel")
      ->check(CLI::Range(1, 16).description(""))
      ->type_name("N")
      ->capture_default_str();
}

Picture PictureLayout::ScaleBarFor(uint32_t rows, const ColourScale& scale) const {
  return noBar_ ? Picture() : DrawScaleBar(rows * scale_, scale);
}

Picture PictureLayout::Compose(const Picture& picture, const Picture& bar) const {
  Picture enlarged = Enlarge(picture, scale_);
  if (bar.width == 0) return enlarged;
  Picture whole(enlarged.width + bar.width, enlarged.height);
  Paste(whole, enlarged, 0, 0);
  Paste(whole, bar, enlarged.width, 0);
  return whole;
}
