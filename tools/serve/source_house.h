// All sources of a server: which cameras there are, and which recordings it was started with.
//
// The control thread calls Look() a few times a second and is the only one that changes cameras;
// anybody may ask for a source.
#ifndef ZOCAM_TOOLS_SERVE_SOURCE_HOUSE_H
#define ZOCAM_TOOLS_SERVE_SOURCE_HOUSE_H

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tools/serve/camera_station.h"

namespace serve {

struct HouseOptions {
  std::vector<std::string> names;  // cameras and recordings; none: all cameras, whenever they come
  bool highRate = false;
};

class SourceHouse {
 public:
  // Opens what is named; throws ToolError. onFrame is called on frame threads, with the camera's
  // id.
  SourceHouse(const HouseOptions& options, std::function<void(const std::string&)> onFrame);

  // Control thread.
  void Look();
  void EndAll();

  // Any thread. A station lives as long as the house.
  CameraStation* Camera(const std::string& id) const;
  std::optional<std::string> Film(const std::string& id) const;
  std::vector<std::string> CameraIds() const;
  Json Describe() const;

 private:
  using Clock = std::chrono::steady_clock;

  void AddFilm(const std::string& path);
  CameraStation& AddStation(uint64_t serial);
  void LookForCameras();
  void TryNode(const std::string& node);
  void Take(zocam::Device device, const std::string& node);

  const bool takesAll_;
  const bool highRate_;
  const std::function<void(const std::string&)> onFrame_;

  // The control thread's.
  std::map<std::string, uint64_t> nodesInUse_;            // and the serial number there
  std::map<std::string, Clock::time_point> nodesToSkip_;  // no camera of ours, until then

  mutable std::mutex mutex_;  // guards the lists, not what is in them
  std::map<std::string, std::unique_ptr<CameraStation>> stations_;
  std::vector<std::string> order_;
  std::map<std::string, std::string> films_;  // paths by id
  std::map<std::string, Json> filmTexts_;
};

}  // namespace serve

#endif
