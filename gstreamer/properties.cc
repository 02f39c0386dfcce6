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

// Between a field and the value of its property, for every type of field there is.

void Load(std::string& field, const GValue* value) {
  const char* text = g_value_get_string(value);
  field = text == nullptr ? "" : text;
}
void Store(const std::string& field, GValue* value) { g_value_set_string(value, field.c_str()); }

void Load(bool& field, const GValue* value) { field = g_value_get_boolean(value) != FALSE; }
void Store(bool field, GValue* value) { g_value_set_boolean(value, field ? TRUE : FALSE); }

void Load(double& field, const GValue* value) { field = g_value_get_double(value); }
void Store(double field, GValue* value) { g_value_set_double(value, field); }

void Load(Palette& field, const GValue* value) {
  field = static_cast<Palette>(g_value_get_enum(value));
}
void Store(Palette field, GValue* value) { g_value_set_enum(value, static_cast<gint>(field)); }

void Load(uint32_t& gain, const GValue* value) {
  gain = static_cast<uint32_t>(g_value_get_enum(value));
}
void Store(uint32_t gain, GValue* value) { g_value_set_enum(value, static_cast<gint>(gain)); }

void Load(std::optional<bool>& choice, const GValue* value) {
  choice.reset();
  if (g_value_get_enum(value) != kAuto) choice = g_value_get_enum(value) == kOn;
}
void Store(std::optional<bool> choice, GValue* value) {
  g_value_set_enum(value, !choice ? kAuto : *choice ? kOn : kOff);
}

void Load(std::optional<uint16_t>& threshold, const GValue* value) {
  threshold.reset();
  if (g_value_get_int(value) != kAsTheModelHasIt)
    threshold = static_cast<uint16_t>(g_value_get_int(value));
}
void Store(std::optional<uint16_t> threshold, GValue* value) {
  g_value_set_int(value, threshold ? *threshold : kAsTheModelHasIt);
}

// Where each property's value stands: calls use with that field; false: there is none.
template <typename AnySettings, typename Use>
bool UseField(AnySettings& settings, guint property, Use use) {
  auto& source = settings.source;
  auto& paint = settings.paint;
  switch (property) {
    case kDevice:
      return use(source.device), true;
    case kLocation:
      return use(source.location), true;
    case kHighRate:
      return use(source.highRate), true;
    case kPalette:
      return use(paint.palette), true;
    case kGain:
      return use(paint.gain), true;
    case kRangeLow:
      return use(paint.low), true;
    case kRangeHigh:
      return use(paint.high), true;
    case kNoiseFilter:
      return use(source.decoding.noiseThreshold), true;
    case kUndistortion:
      return use(source.decoding.undistortion), true;
    case kCircumference:
      return use(source.decoding.circumference), true;
    case kWindow:
      return use(source.decoding.window), true;
    case kUpsideDown:
      return use(source.decoding.upsideDown), true;
    case kReflection:
      return use(source.decoding.reflectionPath), true;
    default:
      return false;
  }
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
  return UseField(settings, property, [value](auto& field) { Load(field, value); });
}

bool GetProperty(const Settings& settings, guint property, GValue* value) {
  return UseField(settings, property, [value](const auto& field) { Store(field, value); });
}

}  // namespace zogst
