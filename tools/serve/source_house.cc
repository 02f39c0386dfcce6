#include "tools/serve/source_house.h"

#include <unistd.h>

#include <utility>

#include "tools/advice.h"
#include "tools/node_scan.h"
#include "tools/recording_file.h"
#include "tools/source.h"

namespace serve {
namespace {

using namespace std::chrono_literals;

constexpr auto kSkipTime = 10s;

}  // namespace

SourceHouse::SourceHouse(const HouseOptions& options,
                         std::function<void(const std::string&)> onFrame)
    : takesAll_(options.names.empty()), highRate_(options.highRate), onFrame_(std::move(onFrame)) {
  for (const std::string& name : options.names) {
    if (NamesRecording(name)) {
      AddFilm(name);
    } else {
      zocam::Device camera = OpenCamera(name);
      AddStation(camera.SerialNumber());
      // Found again by the scan, which knows its node.
    }
  }
}

void SourceHouse::AddFilm(const std::string& path) {
  const zocam::Recording film = OpenRecording(path);
  const std::string id = "film" + std::to_string(films_.size() + 1);
  films_[id] = path;
  Json text = {{"id", id}, {"kind", "recording"}, {"state", "live"}, {"message", ""}};
  text.update(IdentityOf(film));
  text.update({{"name", std::filesystem::path(path).filename().string()},
               {"length", SecondsOf(film.Length())},
               {"frameCount", film.LastFrameNumber()},
               {"framesPerSecond", film.FrameRate()},
               {"settings", SettingsOf(film)},
               {"available", Json::array()},
               {"recording", nullptr},
               {"spots", Json::array()}});
  filmTexts_[id] = std::move(text);
}

CameraStation& SourceHouse::AddStation(uint64_t serial) {
  const std::string id = std::to_string(serial);
  const std::lock_guard lock(mutex_);
  auto& station = stations_[id];
  if (!station) {
    station = std::make_unique<CameraStation>(serial, highRate_, [this, id] { onFrame_(id); });
    order_.push_back(id);
  }
  return *station;
}

void SourceHouse::Look() {
  bool misses = takesAll_;
  for (const std::string& id : CameraIds()) {
    CameraStation& station = *Camera(id);
    station.Watch();
    if (!station.NeedsCamera()) continue;
    misses = true;
    std::erase_if(nodesInUse_, [&](const auto& used) { return used.second == station.Serial(); });
  }
  if (misses) LookForCameras();
}

void SourceHouse::LookForCameras() {
  const Clock::time_point now = Clock::now();
  for (int number = 0; number <= kLastNode; ++number) {
    const std::string node = "/dev/video" + std::to_string(number);
    if (access(node.c_str(), F_OK) != 0) {
      nodesToSkip_.erase(node);  // what comes next at this number is another device
      continue;
    }
    const auto skipped = nodesToSkip_.find(node);
    if (nodesInUse_.contains(node) || (skipped != nodesToSkip_.end() && now < skipped->second)) {
      continue;
    }
    nodesToSkip_.insert_or_assign(node, now + kSkipTime);
    TryNode(node);
  }
}

void SourceHouse::TryNode(const std::string& node) {
  try {
    Take(zocam::Device::OpenNode(node), node);
  } catch (const zocam::Error&) {
    // Not one of ours, or not yet: it is tried again later.
  }
}

void SourceHouse::Take(zocam::Device device, const std::string& node) {
  const uint64_t serial = device.SerialNumber();
  if (takesAll_) AddStation(serial);
  CameraStation* const station = Camera(std::to_string(serial));
  if (station == nullptr || !station->NeedsCamera()) return;
  station->TakeCamera(std::move(device), node);
  if (!station->NeedsCamera()) nodesInUse_[node] = serial;
}

void SourceHouse::EndAll() {
  const std::lock_guard lock(mutex_);
  stations_.clear();
}

CameraStation* SourceHouse::Camera(const std::string& id) const {
  const std::lock_guard lock(mutex_);
  const auto found = stations_.find(id);
  return found == stations_.end() ? nullptr : found->second.get();
}

std::optional<std::string> SourceHouse::Film(const std::string& id) const {
  const auto found = films_.find(id);
  return found == films_.end() ? std::nullopt : std::optional(found->second);
}

std::vector<std::string> SourceHouse::CameraIds() const {
  const std::lock_guard lock(mutex_);
  return order_;
}

Json SourceHouse::Describe() const {
  Json list = Json::array();
  for (const std::string& id : CameraIds()) list.push_back(Camera(id)->Describe());
  for (const auto& [id, text] : filmTexts_) list.push_back(text);
  return list;
}

}  // namespace serve
