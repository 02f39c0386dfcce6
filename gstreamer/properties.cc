#include "gstreamer/properties.h"

#include <gst/gst.h>

namespace zogst {
namespace {

constexpr double kColdest = -273.15;
constexpr double kHottest = 3000.0;
constexpr int kAsTheModelHasIt = -1;
constexpr int kHighestThreshold = 100;

enum Choice { kAuto, kOff, kOn };

template <size_t kCount>
GType RegisterEnum(const char* name, const GEnumValue (&values)[kCount]) {
  return g_enum_register_static(name, values);
}

GType PaletteType() {
  static const GEnumValue values[] = {
      {static_cast<gint>(Palette::kIron), "Black, violet, red, yellow, white", "iron"},
      {static_cast<gint>(Palette::kRainbow), "Blue, green, yellow, red", "rainbow"},
      {0, nullptr, nullptr}};
  static const GType type = RegisterEnum("ZocamPalette", values);
  return type;
}

GType GainType() {
  static const GEnumValue values[] = {
      {ZO_GAIN_MANUAL, "From range-low to range-high", "manual"},
      {ZO_GAIN_NONLINEAR, "More levels for frequent temperatures", "nonlinear"},
      {ZO_GAIN_LINEAR, "The temperatures in view", "linear"},
      {0, nullptr, nullptr}};
  static const GType type = RegisterEnum("ZocamGain", values);
  return type;
}

GType ChoiceType() {
  static const GEnumValue values[] = {{kAuto, "As the model has it", "auto"},
                                      {kOff, "Never", "off"},
                                      {kOn, "Always", "on"},
                                      {0, nullptr, nullptr}};
  static const GType type = RegisterEnum("ZocamChoice", values);
  return type;
}

// Takes effect with the next frame, or when the element starts.
constexpr auto kAnyTime = static_cast<GParamFlags>(static_cast<unsigned>(G_PARAM_READWRITE) |
                                                   static_cast<unsigned>(G_PARAM_STATIC_STRINGS) |
                                                   GST_PARAM_MUTABLE_PLAYING);
constexpr auto kBeforeStart = static_cast<GParamFlags>(
    static_cast<unsigned>(G_PARAM_READWRITE) | static_cast<unsigned>(G_PARAM_STATIC_STRINGS) |
    GST_PARAM_MUTABLE_READY);
constexpr auto kReadOnly = static_cast<GParamFlags>(static_cast<unsigned>(G_PARAM_READABLE) |
                                                    static_cast<unsigned>(G_PARAM_STATIC_STRINGS));

std::string TextOf(const GValue* value) {
  const char* text = g_value_get_string(value);
  return text == nullptr ? "" : text;
}

std::optional<bool> ChoiceOf(const GValue* value) {
  const int choice = g_value_get_enum(value);
  if (choice == kAuto) return std::nullopt;
  return choice == kOn;
}

int ToChoice(std::optional<bool> value) {
  if (!value) return kAuto;
  return *value ? kOn : kOff;
}

}  // namespace

void InstallProperties(GObjectClass* objectClass) {
  const auto add = [objectClass](Property property, GParamSpec* pspec) {
    g_object_class_install_property(objectClass, property, pspec);
  };
  const Settings defaults;
  add(kDevice, g_param_spec_string("device", "Device",
                                   "Serial number or node of the camera; none: the only one",
                                   nullptr, kBeforeStart));
  add(kLocation,
      g_param_spec_string("location", "Location", "A recording, played in the place of a camera",
                          nullptr, kBeforeStart));
  add(kHighRate,
      g_param_spec_boolean("high-rate", "High rate", "Stream at the model's high frame rate", FALSE,
                           kBeforeStart));
  add(kPalette, g_param_spec_enum("palette", "Palette", "Colours of RGB pictures", PaletteType(),
                                  static_cast<gint>(defaults.paint.palette), kAnyTime));
  add(kGain, g_param_spec_enum("gain", "Gain", "Which temperatures the levels of pictures span",
                               GainType(), static_cast<gint>(defaults.paint.gain), kAnyTime));
  add(kRangeLow, g_param_spec_double("range-low", "Lower end of the range",
                                     "Of the manual gain, in degrees Celsius", kColdest, kHottest,
                                     defaults.paint.low, kAnyTime));
  add(kRangeHigh, g_param_spec_double("range-high", "Upper end of the range",
                                      "Of the manual gain, in degrees Celsius", kColdest, kHottest,
                                      defaults.paint.high, kAnyTime));
  add(kNoiseFilter,
      g_param_spec_int("noise-filter", "Noise filter",
                       "Smooth differences up to this threshold; 0: none, -1: as the "
                       "model has it",
                       kAsTheModelHasIt, kHighestThreshold, kAsTheModelHasIt, kBeforeStart));
  add(kUndistortion,
      g_param_spec_enum("undistortion", "Undistortion", "Straighten the lens's picture",
                        ChoiceType(), kAuto, kBeforeStart));
  add(kCircumference, g_param_spec_enum("circumference", "Circumference correction",
                                        "Lift the border of the picture, on models that need it",
                                        ChoiceType(), kAuto, kBeforeStart));
  add(kWindow, g_param_spec_boolean("window", "Window correction",
                                    "Correct for a protective window before the camera", FALSE,
                                    kBeforeStart));
  add(kUpsideDown, g_param_spec_boolean("upside-down", "Upside down",
                                        "Turn the picture by 180 degrees", FALSE, kBeforeStart));
  add(kReflection,
      g_param_spec_string("reflection", "Reflection correction",
                          "File that zocam reflection make wrote", nullptr, kBeforeStart));
  add(kDropped, g_param_spec_uint64("dropped", "Dropped",
                                    "Frames of the camera that came while what follows was busy", 0,
                                    G_MAXUINT64, 0, kReadOnly));
  add(kResolution, g_param_spec_int("resolution", "Resolution",
                                    "Values of a GRAY16_LE image are in 1/resolution kelvin; of "
                                    "the last frame, 0 before it",
                                    0, G_MAXINT, 0, kReadOnly));
}

bool SetProperty(Settings& settings, guint property, const GValue* value) {
  SourceChoice& source = settings.source;
  switch (property) {
    case kDevice:
      source.device = TextOf(value);
      return true;
    case kLocation:
      source.location = TextOf(value);
      return true;
    case kHighRate:
      source.highRate = g_value_get_boolean(value) != FALSE;
      return true;
    case kPalette:
      settings.paint.palette = static_cast<Palette>(g_value_get_enum(value));
      return true;
    case kGain:
      settings.paint.gain = static_cast<uint32_t>(g_value_get_enum(value));
      return true;
    case kRangeLow:
      settings.paint.low = g_value_get_double(value);
      return true;
    case kRangeHigh:
      settings.paint.high = g_value_get_double(value);
      return true;
    case kNoiseFilter: {
      const int threshold = g_value_get_int(value);
      source.decoding.noiseThreshold.reset();
      if (threshold != kAsTheModelHasIt)
        source.decoding.noiseThreshold = static_cast<uint16_t>(threshold);
      return true;
    }
    case kUndistortion:
      source.decoding.undistortion = ChoiceOf(value);
      return true;
    case kCircumference:
      source.decoding.circumference = ChoiceOf(value);
      return true;
    case kWindow:
      source.decoding.window = g_value_get_boolean(value) != FALSE;
      return true;
    case kUpsideDown:
      source.decoding.upsideDown = g_value_get_boolean(value) != FALSE;
      return true;
    case kReflection:
      source.decoding.reflectionPath = TextOf(value);
      return true;
    default:
      return false;
  }
}

bool GetProperty(const Settings& settings, guint property, GValue* value) {
  const SourceChoice& source = settings.source;
  switch (property) {
    case kDevice:
      g_value_set_string(value, source.device.c_str());
      return true;
    case kLocation:
      g_value_set_string(value, source.location.c_str());
      return true;
    case kHighRate:
      g_value_set_boolean(value, source.highRate ? TRUE : FALSE);
      return true;
    case kPalette:
      g_value_set_enum(value, static_cast<gint>(settings.paint.palette));
      return true;
    case kGain:
      g_value_set_enum(value, static_cast<gint>(settings.paint.gain));
      return true;
    case kRangeLow:
      g_value_set_double(value, settings.paint.low);
      return true;
    case kRangeHigh:
      g_value_set_double(value, settings.paint.high);
      return true;
    case kNoiseFilter: {
      const std::optional<uint16_t>& threshold = source.decoding.noiseThreshold;
      g_value_set_int(value, threshold ? *threshold : kAsTheModelHasIt);
      return true;
    }
    case kUndistortion:
      g_value_set_enum(value, ToChoice(source.decoding.undistortion));
      return true;
    case kCircumference:
      g_value_set_enum(value, ToChoice(source.decoding.circumference));
      return true;
    case kWindow:
      g_value_set_boolean(value, source.decoding.window ? TRUE : FALSE);
      return true;
    case kUpsideDown:
      g_value_set_boolean(value, source.decoding.upsideDown ? TRUE : FALSE);
      return true;
    case kReflection:
      g_value_set_string(value, source.decoding.reflectionPath.c_str());
      return true;
    default:
      return false;
  }
}

}  // namespace zogst
