#include "tools/serve/camera_station.h"

#include <algorithm>
#include <utility>

#include "tools/advice.h"
#include "tools/measurement.h"

namespace serve {
namespace {

using namespace std::chrono_literals;

constexpr auto kSilence = 2s;
constexpr size_t kMostWishes = 64;

double NowMs() {
  const std::chrono::duration<double, std::milli> time =
      std::chrono::system_clock::now().time_since_epoch();
  return time.count();
}

}  // namespace

CameraStation::CameraStation(uint64_t serial, bool highRate, std::function<void()> onFrame)
    : id_(std::to_string(serial)),
      serial_(serial),
      highRate_(highRate),
      onFrame_(std::move(onFrame)) {}

CameraStation::~CameraStation() { LetGo(State::kDisconnected, ""); }

const char* CameraStation::NameOf(State state) {
  switch (state) {
    case State::kWaiting:
      return "waiting";
    case State::kLive:
      return "live";
    case State::kSilent:
      return "silent";
    case State::kDisconnected:
      return "disconnected";
    default:
      return "failed";
  }
}

void CameraStation::TakeCamera(zocam::Device device, const std::string& node) {
  device_ = std::move(device);
  try {
    Begin(node);
  } catch (const zocam::Error& error) {
    LetGo(State::kFailed, WithAdvice(error.what(), Advice(error)));
  } catch (const std::exception& error) {
    LetGo(State::kFailed, error.what());
  }
}

void CameraStation::Begin(const std::string& node) {
  ChangeSettings(*device_, wanted_);
  Json identity = IdentityOf(*device_);
  identity["name"] = device_->ProductName();
  identity["node"] = node;
  identity["available"] = AvailableSettings(*device_);
  {
    const std::lock_guard lock(mutex_);
    identity_ = std::move(identity);
    settings_ = SettingsOf(*device_);
    frames_ = 0;
    dropped_ = 0;
    rate_ = RateMeter();
    lastFrame_ = Clock::now();
    state_ = State::kWaiting;
    message_.clear();
  }
  counter_.reset();
  device_->Start([this](const zocam::Frame& frame) { TakeFrame(frame); }, highRate_);
}

// Frame thread.
void CameraStation::TakeFrame(const zocam::Frame& frame) {
  const Clock::time_point now = Clock::now();
  const zocam::Telemetry telemetry = frame.Telemetry();
  if (!counter_) counter_.emplace(device_->FrameRate());
  counter_->Count(telemetry.time, now);
  const bool isReady = DecodeTemperatures(frame, image_);
  auto served = std::make_shared<ServedFrame>();
  served->timeMs = NowMs();
  served->cameraTimeMs = telemetry.time.count();
  served->dropped = static_cast<uint32_t>(counter_->Total());
  served->width = image_.width;
  served->height = image_.height;
  served->resolution = static_cast<uint32_t>(image_.resolution);
  if (isReady) served->values = image_.values;
  {
    const std::lock_guard lock(mutex_);
    served->number = ++frames_;
    dropped_ = counter_->Total();
    lastFrame_ = now;
    rate_.Count(now, frames_);
    state_ = isReady ? State::kLive : State::kWaiting;
    message_ = isReady ? "" : "waiting for the camera's first flat-field correction";
    if (isReady) newest_ = std::move(served);
  }
  if (!isReady) return Disappoint();
  Fulfil(frame, image_);
  onFrame_();
}

std::vector<PictureWish> CameraStation::TakeWishes() {
  const std::lock_guard lock(mutex_);
  return std::exchange(wishes_, {});
}

// No frame can be expected soon.
void CameraStation::Disappoint() {
  for (const PictureWish& wish : TakeWishes()) wish.fulfil({});
}

void CameraStation::Fulfil(const zocam::Frame& frame, const zocam::TemperatureImage& image) {
  for (const PictureWish& wish : TakeWishes()) {
    WishedPicture picture;  // stays empty when it cannot be made
    try {
      picture = MakePicture(frame, image, *device_, wish.style);
    } catch (const std::exception&) {
      picture = WishedPicture();
    }
    wish.fulfil(picture);
  }
}

void CameraStation::SetState(State state, const std::string& message) {
  const std::lock_guard lock(mutex_);
  state_ = state;
  message_ = message;
}

void CameraStation::LetGo(State state, const std::string& message) {
  Json lastRecording;
  if (recording_) {
    // First: the file is ended through the camera's handle.
    lastRecording = recording_->Finish(device_->Disconnected() ? "the camera has vanished" : "");
    recording_.reset();
  }
  if (device_) {
    try {
      device_->Stop();  // its last callback is over before anything that it uses goes
    } catch (const std::exception&) {
      // It ends all the same.
    }
    device_.reset();
  }
  {
    const std::lock_guard lock(mutex_);
    newest_.reset();  // who asks for values means those of now
    if (!lastRecording.is_null()) recordingText_ = {{"last", lastRecording}};
    state_ = state;
    message_ = message;
  }
  Disappoint();
}

void CameraStation::Watch() {
  if (!device_) return;
  if (device_->Disconnected()) {
    LetGo(State::kDisconnected, "the camera was pulled out; it is looked for");
    return;
  }
  Json text;
  if (recording_) {
    recording_->Watch();
    text = recording_->Describe();
  }
  {
    const std::lock_guard lock(mutex_);
    if (recording_) recordingText_["now"] = text;
    if (Clock::now() - lastFrame_ < kSilence) return;
    state_ = State::kSilent;
    message_ = "no frame comes from the camera";
  }
  Disappoint();
}

zocam::Device& CameraStation::Camera() {
  if (!device_) throw ToolError("the camera is not connected");
  return *device_;
}

Json CameraStation::Change(const Json& settings) {
  ChangeSettings(Camera(), settings);
  wanted_.update(settings);
  Json now = SettingsOf(*device_);
  const std::lock_guard lock(mutex_);
  settings_ = now;
  return now;
}

Json CameraStation::StartRecording(const std::string& path, const std::string& name) {
  if (recording_) throw ToolError("a recording runs already; end it first");
  recording_.emplace(StationRecording::Begin(Camera(), path, name));
  Json text = recording_->Describe();
  const std::lock_guard lock(mutex_);
  recordingText_["now"] = text;
  return text;
}

Json CameraStation::StopRecording() {
  if (!recording_) throw ToolError("no recording runs");
  Json text = recording_->Finish();
  recording_.reset();
  const std::lock_guard lock(mutex_);
  recordingText_ = {{"last", text}};
  return text;
}

Json CameraStation::Describe() const {
  Json spots = spots_.Describe();
  const std::lock_guard lock(mutex_);
  Json text = {{"id", id_}, {"kind", "camera"}, {"serial", id_}};
  text.update(identity_.is_object() ? identity_ : Json::object());
  const bool flows = state_ == State::kLive || state_ == State::kWaiting;
  text.update({{"state", NameOf(state_)},
               {"message", message_},
               {"framesPerSecond", flows ? rate_.PerSecond() : 0.0},
               {"frames", frames_},
               {"dropped", dropped_},
               {"settings", settings_},
               {"recording", recordingText_.value("now", Json())},
               {"lastRecording", recordingText_.value("last", Json())},
               {"spots", spots}});
  return text;
}

FramePtr CameraStation::Newest() const {
  const std::lock_guard lock(mutex_);
  return newest_;
}

bool CameraStation::Wish(PictureWish wish) {
  const std::lock_guard lock(mutex_);
  if (state_ != State::kLive || wishes_.size() >= kMostWishes) return false;
  wishes_.push_back(std::move(wish));
  return true;
}

Json CameraStation::SetSpots(const Json& spots) {
  uint32_t width = 0;
  uint32_t height = 0;
  {
    const std::lock_guard lock(mutex_);
    if (!identity_.is_object()) throw ToolError("the camera was not connected yet");
    width = identity_["width"];
    height = identity_["height"];
  }
  spots_.Set(spots, width, height);
  return spots_.Describe();
}

}  // namespace serve
