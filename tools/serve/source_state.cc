#include "tools/serve/source_state.h"

#include <algorithm>
#include <functional>

#include "tools/camera_summary.h"
#include "tools/serve/request_error.h"

namespace serve {
namespace {

constexpr size_t kMostSpotNameBytes = 64;
constexpr uint16_t kHighestThreshold = 100;

uint32_t Number(const Json& spot, const char* name, uint32_t least, uint32_t most) {
  const auto found = spot.find(name);
  if (found == spot.end()) return 1;
  const Json& value = *found;
  if (!value.is_number_integer())
    throw RequestError(std::string("a spot's ") + name + " is no whole number");
  const auto number = value.get<int64_t>();
  if (number < least || number > most)
    throw RequestError(std::string("a spot's ") + name + " lies outside of the image");
  return static_cast<uint32_t>(number);
}

Spot SpotOf(const Json& json, uint32_t width, uint32_t height) {
  if (!json.is_object() || !json.contains("x") || !json.contains("y"))
    throw RequestError("a spot is an object with x, y, width and height");
  Spot spot;
  if (json.contains("name")) {
    if (!json["name"].is_string() || json["name"].get<std::string>().size() > kMostSpotNameBytes)
      throw RequestError("a spot's name is a text of at most 64 bytes");
    spot.name = json["name"].get<std::string>();
  }
  spot.area.x = Number(json, "x", 0, width - 1);
  spot.area.y = Number(json, "y", 0, height - 1);
  spot.area.width = Number(json, "width", 1, width - spot.area.x);
  spot.area.height = Number(json, "height", 1, height - spot.area.y);
  return spot;
}

Json JsonOf(const Spot& spot) {
  return {{"name", spot.name},
          {"x", spot.area.x},
          {"y", spot.area.y},
          {"width", spot.area.width},
          {"height", spot.area.height}};
}

bool Flag(const std::string& name, const Json& value) {
  if (!value.is_boolean()) throw RequestError(name + " is true or false");
  return value.get<bool>();
}

uint16_t Threshold(const Json& value) {
  const bool isWhole = value.is_number_integer();
  const int64_t threshold = isWhole ? value.get<int64_t>() : -1;
  if (threshold < 0 || threshold > kHighestThreshold)
    throw RequestError("noiseFilter is a number from 1 to 100, or 0 for off");
  return static_cast<uint16_t>(threshold);
}

}  // namespace

void SpotList::Set(const Json& spots, uint32_t width, uint32_t height) {
  if (!spots.is_array() || spots.size() > kMost)
    throw RequestError("spots are a list of at most " + std::to_string(kMost));
  std::vector<Spot> list;
  for (const Json& spot : spots) list.push_back(SpotOf(spot, width, height));
  const std::lock_guard lock(mutex_);
  spots_ = std::move(list);
}

Json SpotList::Describe() const {
  const std::lock_guard lock(mutex_);
  Json list = Json::array();
  for (const Spot& spot : spots_) list.push_back(JsonOf(spot));
  return list;
}

Json SpotList::Measure(const FramePtr& frame) const {
  const std::lock_guard lock(mutex_);
  Json list = Json::array();
  for (const Spot& spot : spots_) {
    Json measured = JsonOf(spot);
    if (frame) {
      const AreaValues values = ValuesIn(*frame, spot.area);
      measured.update({{"min", values.minimum},
                       {"max", values.maximum},
                       {"mean", values.mean},
                       {"hottest", values.hottest},
                       {"coldest", values.coldest}});
    }
    list.push_back(std::move(measured));
  }
  return list;
}

Json SettingsOf(const zocam::Device& device) {
  return {{"noiseFilter", device.NoiseFilter() ? device.NoiseFilterThreshold() : 0},
          {"undistortion", device.Undistortion()},
          {"circumference", device.CircumferenceCorrection()},
          {"window", device.WindowCorrection() != 0},
          {"upsideDown", device.UpsideDown()}};
}

Json AvailableSettings(zocam::Device& device) {
  Json available = {"noiseFilter", "undistortion", "window", "upsideDown"};
  // A model without this correction does not take it.
  const bool was = device.CircumferenceCorrection();
  device.SetCircumferenceCorrection(!was);
  if (device.CircumferenceCorrection() != was) available.push_back("circumference");
  device.SetCircumferenceCorrection(was);
  return available;
}

void ChangeSettings(zocam::Device& device, const Json& changes) {
  if (!changes.is_object()) throw RequestError("settings are an object");
  std::vector<std::function<void()>> actions;  // none before all are known to be right
  for (const auto& [key, value] : changes.items()) {
    if (key == "noiseFilter") {
      actions.emplace_back([&device, threshold = Threshold(value)] {
        device.SetNoiseFilter(threshold != 0);
        if (threshold != 0) device.SetNoiseFilterThreshold(threshold);
      });
      continue;
    }
    const bool on = value.is_boolean() && value.get<bool>();
    if (key == "undistortion") {
      actions.emplace_back([&device, on] { device.SetUndistortion(on); });
    } else if (key == "circumference") {
      actions.emplace_back([&device, on] { device.SetCircumferenceCorrection(on); });
    } else if (key == "window") {
      actions.emplace_back([&device, on] { device.SetWindowCorrection(on ? 1 : 0); });
    } else if (key == "upsideDown") {
      actions.emplace_back([&device, on] { device.SetUpsideDown(on); });
    } else {
      throw RequestError("there is no setting \"" + key + "\"");
    }
    Flag(key, value);
  }
  for (const auto& action : actions) action();
}

Json IdentityOf(const zocam::Device& device) {
  return {{"product", ProductText(device.ProductId())},
          {"serial", std::to_string(device.SerialNumber())},
          {"firmware", FirmwareText(device.FirmwareVersion())},
          {"width", device.Width()},
          {"height", device.Height()},
          {"referenceColumns", device.ReferenceColumns()}};
}

}  // namespace serve
