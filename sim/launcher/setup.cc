#include "sim/launcher/setup.h"

#include <charconv>
#include <cmath>
#include <functional>
#include <map>

namespace zosim::launcher {
namespace {

constexpr double kDefaultNoise = 0.04;  // kelvin; what a real sensor of this kind shows
constexpr double kLongestSeconds = 1e6;

struct ValueError {
  std::string text;
};

std::vector<std::string> Split(std::string_view text, char separator) {
  std::vector<std::string> parts;
  for (;;) {
    const size_t end = text.find(separator);
    parts.emplace_back(text.substr(0, end));
    if (end == std::string_view::npos) return parts;
    text.remove_prefix(end + 1);
  }
}

std::optional<uint64_t> ToInteger(std::string_view text, int base) {
  if (text.starts_with("0x") || text.starts_with("0X")) {
    text.remove_prefix(2);
    base = 16;
  }
  uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

uint64_t Integer(const std::string& text, uint64_t most) {
  const auto value = ToInteger(text, 10);
  if (!value || *value > most) {
    throw ValueError{"'" + text + "' is not a number from 0 to " + std::to_string(most)};
  }
  return *value;
}

double Number(const std::string& text, double least, double most) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || !(value >= least) ||
      !(value <= most)) {
    throw ValueError{"'" + text + "' is not a number from " + Split(std::to_string(least), '.')[0] +
                     " to " + Split(std::to_string(most), '.')[0]};
  }
  return value;
}

bool OnOff(const std::string& text) {
  if (text == "on") return true;
  if (text == "off") return false;
  throw ValueError{"'" + text + "' is neither on nor off"};
}

Scene ToScene(const std::string& text, const ProductModel& product) {
  constexpr double kHottest = 655.0;
  const std::vector<std::string> parts = Split(text, ':');
  if (text == "room") return Scene::Room(product.width, product.height);
  if (parts[0] == "uniform" && parts.size() == 2) {
    return Scene::Uniform(Number(parts[1], 0, kHottest));
  }
  if (parts[0] == "gradient" && parts.size() == 3) {
    return Scene::Gradient(Number(parts[1], 0, kHottest), Number(parts[2], 0, kHottest),
                           product.width);
  }
  throw ValueError{"'" + text + "' is no scene: room, uniform:KELVIN or gradient:KELVIN:KELVIN"};
}

using Setter = std::function<void(CameraRequest&, const std::string& value)>;

const std::map<std::string, Setter, std::less<>>& Setters() {
  static const std::map<std::string, Setter, std::less<>> setters = {
      {"firmware",
       [](CameraRequest& camera, const std::string& value) {
         camera.config.firmwareVersion = static_cast<uint16_t>(Integer(value, 0xFFFF));
       }},
      {"release",
       [](CameraRequest& camera, const std::string& value) {
         camera.config.releaseNumber = static_cast<uint16_t>(Integer(value, 0xFFFF));
       }},
      {"serial",
       [](CameraRequest& camera, const std::string& value) {
         camera.config.serialNumber = Integer(value, ~uint64_t{0});
       }},
      {"name",
       [](CameraRequest& camera, const std::string& value) { camera.config.productName = value; }},
      {"fps",
       [](CameraRequest& camera, const std::string& value) {
         camera.pace =
             value == "max" ? Pace::AsFastAsTaken() : Pace::Rate(Number(value, 0.01, 10000));
       }},
      {"noise",
       [](CameraRequest& camera, const std::string& value) {
         if (value == "on" || value == "off") {
           camera.config.noiseKelvin = OnOff(value) ? kDefaultNoise : 0.0;
         } else {
           camera.config.noiseKelvin = Number(value, 0, 100);
         }
       }},
      {"scene",
       [](CameraRequest& camera, const std::string& value) {
         camera.scene = ToScene(value, ModelOf(camera.config.productId));
       }},
      {"falloff", [](CameraRequest& camera,
                     const std::string& value) { camera.config.borderFallOff = OnOff(value); }},
      {"barrel", [](CameraRequest& camera,
                    const std::string& value) { camera.config.barrelDistortion = OnOff(value); }},
      {"drift", [](CameraRequest& camera,
                   const std::string& value) { camera.config.referenceDrift = OnOff(value); }},
      {"stretch",
       [](CameraRequest& camera, const std::string& value) {
         camera.config.stretchFlag = OnOff(value) ? 0 : 1;
       }},
      {"reflection",
       [](CameraRequest& camera, const std::string& value) {
         camera.config.reflectionKelvin = Number(value, 0, 100);
       }},
      {"metadata", [](CameraRequest& camera,
                      const std::string& value) { camera.config.metadataNode = OnOff(value); }},
      {"resolution",
       [](CameraRequest& camera, const std::string& value) {
         if (value != "10" && value != "100") throw ValueError{"it is 10 or 100"};
         camera.config.fineResolution = value == "100";
       }},
      {"revision",
       [](CameraRequest& camera, const std::string& value) {
         camera.revision = static_cast<uint8_t>(Integer(value, 0xFF));
       }},
      {"start",
       [](CameraRequest& camera, const std::string& value) {
         camera.config.startTimeMs =
             static_cast<uint32_t>(std::lround(Number(value, 0, kLongestSeconds) * 1000));
       }},
      {"unplug",
       [](CameraRequest& camera, const std::string& value) {
         camera.unplugSeconds = Number(value, 0, kLongestSeconds);
       }},
      {"replug",
       [](CameraRequest& camera, const std::string& value) {
         camera.replugSeconds = Number(value, 0, kLongestSeconds);
       }},
  };
  return setters;
}

std::string KnownKeys() {
  std::string keys;
  for (const auto& [key, setter] : Setters()) keys += (keys.empty() ? "" : ", ") + key;
  return keys;
}

CameraRequest ToCamera(const std::vector<std::string>& items) {
  CameraRequest camera;
  camera.config.noiseKelvin = kDefaultNoise;
  const auto product = ToInteger(items[0], 16);
  if (!product || *product > 0xFFFF || !IsFamilyProduct(static_cast<uint16_t>(*product))) {
    throw ValueError{"unknown product " + items[0] + ": the family is 6100 to 61ff"};
  }
  camera.config.productId = static_cast<uint16_t>(*product);
  camera.config.borderFallOff = true;
  camera.config.barrelDistortion = ModelOf(camera.config.productId).barrelLens;
  camera.config.referenceDrift = true;
  for (size_t i = 1; i < items.size(); ++i) {
    const size_t equals = items[i].find('=');
    const std::string key = items[i].substr(0, equals);
    const auto setter = Setters().find(key);
    if (equals == std::string::npos || setter == Setters().end()) {
      throw ValueError{"unknown setting '" + items[i] + "'; there are " + KnownKeys() +
                       ", each as KEY=VALUE"};
    }
    try {
      setter->second(camera, items[i].substr(equals + 1));
    } catch (const ValueError& error) {
      throw ValueError{"bad " + key + ": " + error.text};
    }
  }
  return camera;
}

}  // namespace

const char* const kCameraKeysHelp =
    "A camera is a product (6100 to 61ff) with settings after commas:\n"
    "  firmware=0x0110   firmware version; below 0x0100 is too old\n"
    "  serial=N          serial number\n"
    "  release=N         release number\n"
    "  name=TEXT         product name; nothing after the = for a camera without one\n"
    "  scene=room        what it sees; also uniform:KELVIN, gradient:KELVIN:KELVIN\n"
    "  noise=on          sensor noise: on, off, or its size in kelvin\n"
    "  reflection=0      fixed pattern of reflections, its size in kelvin\n"
    "  falloff=on        models that send counts: fewer of them towards the border\n"
    "  barrel=on         lens that compresses the scene towards the border (on for 6103 only)\n"
    "  drift=on          6120: the image drifts, as its reference body shows\n"
    "  stretch=on        6120: with it, cold things are shown too warm; the host stretches them\n"
    "  fps=N             frames per second whatever the program asks for; max: without waiting\n"
    "  start=SECONDS     camera time of the first frame; below 3 no correction was made yet\n"
    "  resolution=100    steps per kelvin of models that send temperatures: 10 or 100\n"
    "  revision=N        claim this telemetry revision in every frame\n"
    "  metadata=on       with or without the second, metadata-only video node\n"
    "  unplug=SECONDS    pull it out so long after the program's start\n"
    "  replug=SECONDS    and put it in again so long after that";

Parsed ParseCamera(std::string_view text) {
  try {
    return {ToCamera(Split(text, ',')), ""};
  } catch (const ValueError& error) {
    return {std::nullopt, error.text};
  }
}

Parsed ParseNode(std::string_view text) {
  if (text == "foreign") return {NodeRequest::kForeign, ""};
  if (text == "none") return {NodeRequest::kNone, ""};
  if (text == "gap") return {NodeRequest::kGap, ""};
  return {std::nullopt, "unknown node '" + std::string(text) + "': it is foreign, none or gap"};
}

Parsed ParseLine(std::string_view line) {
  const size_t space = line.find(' ');
  const std::string_view kind = line.substr(0, space);
  const std::string_view text = space == std::string_view::npos ? "" : line.substr(space + 1);
  if (kind == "camera") return ParseCamera(text);
  if (kind == "node") return ParseNode(text);
  return {std::nullopt, "unknown item '" + std::string(line) + "'"};
}

}  // namespace zosim::launcher
