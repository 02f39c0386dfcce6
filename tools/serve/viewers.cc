#include "tools/serve/viewers.h"

namespace serve {
namespace {

constexpr int kTicksPerSecond = 4;

}  // namespace

void Viewers::Add(const std::string& source, Viewer& viewer) {
  audiences_[source].viewers.insert(&viewer);
  if (house_.Camera(source) == nullptr) return;
  std::string essence;
  viewer.Tell(StateOf(source, &essence));
  if (const FramePtr frame = house_.Camera(source)->Newest()) viewer.Offer(frame);
}

void Viewers::Remove(const std::string& source, Viewer& viewer) {
  const auto audience = audiences_.find(source);
  if (audience == audiences_.end()) return;
  audience->second.viewers.erase(&viewer);
  if (audience->second.viewers.empty()) audiences_.erase(audience);
}

size_t Viewers::Count(const std::string& source) const {
  const auto audience = audiences_.find(source);
  return audience == audiences_.end() ? 0 : audience->second.viewers.size();
}

void Viewers::Distribute(const std::string& source) {
  const auto audience = audiences_.find(source);
  CameraStation* const camera = house_.Camera(source);
  if (audience == audiences_.end() || camera == nullptr) return;
  const FramePtr frame = camera->Newest();
  if (!frame) return;  // the camera has gone since
  for (Viewer* viewer : audience->second.viewers) viewer->Offer(frame);
}

std::string Viewers::StateOf(const std::string& source, std::string* essence) const {
  Json text = house_.Camera(source)->Describe();
  text["type"] = "state";
  text["viewers"] = Count(source);
  Json rest = text;
  for (const char* count : {"framesPerSecond", "frames", "dropped"}) rest.erase(count);
  if (rest["recording"].is_object()) rest["recording"] = rest["recording"]["name"];
  *essence = rest.dump(-1, ' ', false, Json::error_handler_t::replace);
  return text.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void Viewers::TellStates() {
  for (auto& [source, audience] : audiences_) {
    if (house_.Camera(source) == nullptr) continue;
    std::string essence;
    const std::string text = StateOf(source, &essence);
    if (essence == audience.told && ++audience.ticks < kTicksPerSecond) continue;
    audience.told = essence;
    audience.ticks = 0;
    for (Viewer* viewer : audience.viewers) viewer->Tell(text);
  }
}

}  // namespace serve
