// The owner of a camera opens it, streams and records, ends all that in every way there is, and
// begins again; the commander sends it commands meanwhile.
#include "soak/stored_recording.h"

namespace soak {
namespace {

constexpr size_t kMostOnShelf = 24;

std::atomic<uint64_t> nextFile = 0;

// One stay of a handle: from its opening to its release.
class Stay {
 public:
  Stay(SharedState& shared, Camera& camera, Dice& dice, Pulse& pulse)
      : shared_(shared), camera_(camera), dice_(dice), pulse_(pulse) {}

  bool Open() {
    const std::lock_guard setup(shared_.setupMutex);
    const std::string path = camera_.device->DevicePath();
    if (path.empty()) return false;
    uint32_t hostError = 0;
    const ZoStatus status = ZoLib_GetDeviceByDeviceFile(path.c_str(), &dev_, &hostError);
    shared_.findings.Expect("ZoLib_GetDeviceByDeviceFile", status, {0, 3, 13});
    if (status != ZO_STATUS_OK) return false;
    // Another camera may have been plugged in there meanwhile.
    if (ZoLib_GetSerialNumberAsUINT64(dev_) != camera_.serial) {
      ZoLib_Release(dev_);
      return false;
    }
    shared_.findings.Add(Count::kOpens);
    return true;
  }

  void Run() {
    Lend(dev_);
    for (int session = dice_.Between(1, 4); session > 0 && !shared_.ends; --session) {
      pulse_.Beat();
      if (!Stream(session == 1)) break;
      fresh_ = false;
    }
    Close();
    for (const auto& finished : finished_) Keep(*finished);
  }

 private:
  struct Session {
    std::unique_ptr<ReceivedFrames> received;
    std::shared_ptr<StoredRecording> recording;  // or null
  };

  void Lend(_ZoDev* dev) {
    const std::unique_lock lock(camera_.handleMutex);
    camera_.handle = dev;
  }

  void TakeBack() {
    std::unique_lock nobodyUsesIt(camera_.handleMutex, std::defer_lock);
    for (int tries = 0; !nobodyUsesIt.try_lock(); ++tries) {
      // A command would wait for a busy camera for ever.
      if (tries > 200) camera_.device->firmware().StopBusy();
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    camera_.handle = nullptr;
  }

  // False when the handle cannot stream any more, or is to be closed while it streams.
  bool Stream(bool last) {
    auto session = std::make_unique<Session>();
    session->received = std::make_unique<ReceivedFrames>(shared_, camera_, dice_);
    const DecodeSettings settings = DecodeSettings::Random(dice_);
    settings.Apply(dev_);
    ZoLib_CaptureSetup(dev_, 1, ReceivedFrames::OnFrame, session->received.get());
    const int recorded = dice_.Between(0, 3);  // not, from some frame to some frame, as a whole
    if (recorded > 0) SetUpRecording(*session, settings, recorded > 1);
    Session& own = *finished_.emplace_back(std::move(session));

    const ZoStatus started = ZoLib_CaptureStart(dev_);
    if (!shared_.findings.Expect("ZoLib_CaptureStart", started, {0, 4, 13})) return false;
    if (started != ZO_STATUS_OK) {
      ZoLib_FileWriteStop(dev_);
      own.received->Account();
      own.received.reset();
      return false;
    }
    shared_.findings.Add(Count::kSessions);
    if (own.recording && !own.recording->whole) RecordAPart(own);
    const bool sees = Watch(dice_.Between(50, 4000));
    if (last && dice_.OneIn(2)) return false;  // closed while it streams
    ZoStatus stopped = ZO_STATUS_DEVICE_NOT_READY;
    if (!dice_.OneIn(4)) stopped = ZoLib_CaptureStop(dev_);
    shared_.findings.Expect("ZoLib_CaptureStop", stopped, {0, 4});
    if (stopped != ZO_STATUS_OK) ZoLib_CaptureRelease(dev_);
    own.received->Account();
    accounted_ = finished_.size();
    const ZoStatus ended = ZoLib_FileWriteStop(dev_);
    shared_.findings.Expect("ZoLib_FileWriteStop", ended, {0, 4, 22});
    return sees && ended != ZO_STATUS_DEVICE_NOT_READY;
  }

  void SetUpRecording(Session& session, const DecodeSettings& settings, bool whole) {
    auto recording = std::make_shared<StoredRecording>();
    recording->path = shared_.folder / (std::to_string(nextFile++) + ".y4m");
    recording->product = camera_.product;
    recording->frameBytes = camera_.device->product().FrameBytes();
    recording->settings = settings;
    recording->whole = whole;
    recording->startsFresh = fresh_;
    const ZoStatus status = ZoLib_FileWriteSetup(dev_, recording->path.c_str());
    if (!shared_.findings.Expect("ZoLib_FileWriteSetup", status, {0, 4}) || status != 0) return;
    if (whole) {
      const ZoStatus begun = ZoLib_FileWriteStart(dev_);
      shared_.findings.Expect("ZoLib_FileWriteStart", begun, {0, 4});
      if (begun != ZO_STATUS_OK) return;
    }
    session.recording = std::move(recording);
  }

  // Starts and, now and then, stops it in the middle of the stream.
  void RecordAPart(Session& session) {
    Watch(dice_.Between(0, 500));
    const ZoStatus begun = ZoLib_FileWriteStart(dev_);
    shared_.findings.Expect("ZoLib_FileWriteStart while streaming", begun, {0, 4});
    if (begun != ZO_STATUS_OK) return session.recording.reset();
    Watch(dice_.Between(100, 1500));
    if (dice_.OneIn(2)) {
      shared_.findings.Expect("ZoLib_FileWriteStop while streaming", ZoLib_FileWriteStop(dev_),
                              {0, 4});
    }
  }

  // Waits; false as soon as the camera has vanished.
  bool Watch(int ms) {
    for (int waited = 0; waited < ms && !shared_.ends; waited += 20) {
      if (ZoLib_GetDisconnected(dev_) != 0) {
        shared_.findings.Add(Count::kVanished);
        return false;
      }
      shared_.Sleep(20);
    }
    return true;
  }

  void Close() {
    const int way = dice_.Between(0, 3);
    if (way == 0) ZoLib_Invalidate(dev_);  // ends the command that may be under way
    TakeBack();
    if (way == 1) {
      const ZoStatus status = ZoLib_Reconnect(dev_);
      shared_.findings.Expect("ZoLib_Reconnect", status, {0, 3, 13});
      shared_.findings.Add(Count::kReconnects);
    }
    if (way == 2) ZoLib_CaptureRelease(dev_);
    ZoLib_Release(dev_);
    for (; accounted_ < finished_.size(); ++accounted_) {
      if (finished_[accounted_]->received) finished_[accounted_]->received->Account();
    }
  }

  void Keep(const Session& session) {
    pulse_.Beat();
    if (!session.received || !session.recording) return;
    if (!CompareWithStream(shared_, *session.recording, session.received->frames())) return;
    shared_.findings.Add(Count::kRecordings);
    const std::lock_guard lock(shared_.shelfMutex);
    shared_.shelf.push_back(session.recording);
    if (shared_.shelf.size() > kMostOnShelf) shared_.shelf.erase(shared_.shelf.begin());
  }

  SharedState& shared_;
  Camera& camera_;
  Dice& dice_;
  Pulse& pulse_;
  _ZoDev* dev_ = nullptr;
  bool fresh_ = true;
  std::vector<std::unique_ptr<Session>> finished_;
  size_t accounted_ = 0;
};

// One command of any kind; whatever the camera and the meddler make of it.
ZoStatus SendCommand(_ZoDev* dev, Dice& dice) {
  std::array<uint16_t, 16> words = {};
  const auto command = static_cast<uint16_t>(dice.Below(0x400) << 2);
  uint32_t active = 0;
  switch (dice.Below(7)) {
    case 0:
      return ZoLib_CommandRun(dev, command, 2);
    case 1:
      return ZoLib_CommandGet(dev, command, 0, words.data(), static_cast<uint32_t>(dice.Below(17)));
    case 2:
      return ZoLib_CommandSet(dev, command, 1, words.data(), static_cast<uint32_t>(dice.Below(17)));
    case 3:
      return ZoLib_GetConfig(dev, words.data());
    case 4:
      return ZoLib_GetActive(dev, &active);
    case 5:
      return ZoLib_EnableHighGainMode(dev);
    default:
      return ZoLib_SetConfig(dev, static_cast<uint16_t>(dice.Below(0x8000)));
  }
}

// Settings of pictures, which other threads may change while frames are decoded.
void ChangePictures(_ZoDev* dev, Dice& dice) {
  ZoLib_SetDecodeRange(dev, 28000 + static_cast<uint32_t>(dice.Below(1000)), 32000);
  ZoLib_SetAGCRange(dev, dice.Between(0, 28000), dice.Between(29000, 70000));
  ZoLib_SetRGBOrder(dev, static_cast<uint32_t>(dice.Below(2)));
  ZoLib_GetLastTempResolution(dev);
}

}  // namespace

void OwnCamera(SharedState& shared, Camera& camera, Dice dice, Pulse& pulse) {
  while (shared.Sleep(dice.Between(1, 60))) {
    pulse.Beat();
    Stay stay(shared, camera, dice, pulse);
    if (stay.Open()) stay.Run();
  }
}

void CommandCamera(SharedState& shared, Camera& camera, Dice dice, Pulse& pulse) {
  while (shared.Sleep(dice.Between(1, 120))) {
    pulse.Beat();
    if (dice.OneIn(8))
      camera.device->firmware().ScriptAnswer(
          {static_cast<unsigned>(dice.Below(20)), static_cast<uint8_t>(dice.Below(3)), 7});
    const std::shared_lock lock(camera.handleMutex);
    if (camera.handle == nullptr) continue;
    ChangePictures(camera.handle, dice);
    const ZoStatus status = SendCommand(camera.handle, dice);
    shared.findings.Expect("command", status, {0, 1, 4, 10, 11, 13, 26});
    shared.findings.Add(status == ZO_STATUS_OK ? Count::kCommands : Count::kCommandsFailed);
  }
}

}  // namespace soak
