// What all sources have: an identity, spots, and a description in JSON.
#ifndef ZOCAM_TOOLS_SERVE_SOURCE_STATE_H
#define ZOCAM_TOOLS_SERVE_SOURCE_STATE_H

#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tools/serve/served_frame.h"

namespace serve {

using Json = nlohmann::ordered_json;

struct Spot {
  std::string name;
  Area area;
};

// The spots of a source: all viewers share them. Any thread.
class SpotList {
 public:
  static constexpr size_t kMost = 16;

  // Replaces all; throws ToolError when one does not lie within an image of this size.
  void Set(const Json& spots, uint32_t width, uint32_t height);
  Json Describe() const;
  // With their values in a frame, if there is one.
  Json Measure(const FramePtr& frame) const;

 private:
  mutable std::mutex mutex_;
  std::vector<Spot> spots_;
};

// A device's decode settings as JSON, and those its model has.
Json SettingsOf(const zocam::Device& device);
Json AvailableSettings(zocam::Device& device);
// Changes what is named; throws ToolError, with nothing changed, for what is unknown or wrong.
void ChangeSettings(zocam::Device& device, const Json& changes);

// Who a device is: product, serial number, firmware, size.
Json IdentityOf(const zocam::Device& device);

}  // namespace serve

#endif
