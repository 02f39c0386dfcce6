// Plays recordings from the shelf: straight, or sought, paused, sped up and stopped by two threads.
#include "soak/stored_recording.h"

namespace soak {
namespace {

class Playback {
 public:
  Playback(SharedState& shared, std::shared_ptr<const StoredRecording> recording, bool straight,
           Dice& dice)
      : shared_(shared), recording_(std::move(recording)), straight_(straight), dice_(dice) {
    const ZoStatus status =
        ZoLib_FileReadSetup(&dev_, recording_->path.c_str(), OnFrame, OnEnd, this);
    if (!shared_.findings.Expect("ZoLib_FileReadSetup", status, {0})) return;
    const ZoStatus next = ZoLib_FileReadPassiveNext(dev_, nullptr, 0);
    shared_.findings.Expect("ZoLib_FileReadPassiveNext of nothing", next, {20});
    picture_.resize(size_t{ZoLib_GetFrameWidth(dev_)} * ZoLib_GetFrameHeight(dev_) * 4);
  }
  ~Playback() { ZoLib_Release(dev_); }
  Playback(const Playback&) = delete;
  Playback& operator=(const Playback&) = delete;

  void Run() {
    if (dev_ == nullptr || dice_.OneIn(10)) return;  // opened and let go
    shared_.findings.Add(Count::kPlaybacks);
    if (straight_) ZoLib_SetFileReadSpeed(dev_, 0.0);
    shared_.findings.Expect("ZoLib_CaptureStart of playback", ZoLib_CaptureStart(dev_), {0});
    if (straight_) {
      WaitForEnd();
    } else {
      std::thread other([this, seed = dice_.Below(~uint64_t{0})] { Control(Dice(seed)); });
      Seek();
      other.join();
    }
    if (dice_.OneIn(3)) return;  // released while it plays
    shared_.findings.Expect("ZoLib_CaptureStop of playback", ZoLib_CaptureStop(dev_), {0});
    if (ZoLib_GetFileError(dev_) != 0) {
      Differs("playback ended with " + std::to_string(ZoLib_GetFileError(dev_)));
    }
  }

 private:
  static int OnFrame(_ZoDev* dev, uint8_t* frame, uint64_t length, void* user) {
    static_cast<Playback*>(user)->Take(dev, frame, length);
    return 0;
  }
  static int OnEnd(_ZoDev* dev, void* user) {
    auto* self = static_cast<Playback*>(user);
    self->shared_.findings.Expect("ZoLib_FileReadSeek at the end", ZoLib_FileReadSeek(dev, 0),
                                  {22});
    ++self->ends_;
    return 0;
  }

  void Differs(const std::string& what) {
    shared_.findings.Found(Count::kPlaybackDiffers, recording_->path + ": " + what);
  }

  void Take(_ZoDev* dev, uint8_t* frame, uint64_t length) {
    const auto& known = recording_->frames;
    if (length != recording_->frameBytes) return Differs("length");
    const auto stamp = zosim::ReadStamp({frame, static_cast<size_t>(length)});
    if (!stamp) return Differs("a torn frame");
    const auto found = std::ranges::lower_bound(
        known, stamp->number, {}, [](const ReceivedFrame& each) { return each.stamp.number; });
    if (found == known.end() || found->stamp != *stamp) return Differs("a frame of another film");
    const auto place = static_cast<size_t>(found - known.begin());
    if (straight_ && place != next_) {
      Differs(std::to_string(place) + " came instead of " + std::to_string(next_));
    }
    // Backwards only by a seek. The frame in hand when a seek ends may still come after it.
    const uint64_t ended = seeksEnded_;
    if (place < next_ && seeksBegun_ <= endedTwoFramesAgo_) Differs("a frame came again");
    endedTwoFramesAgo_ = endedAFrameAgo_;
    endedAFrameAgo_ = ended;
    next_ = place + 1;
    const ZoStatus decoded =
        ZoLib_Decode(dev, frame, picture_.data(), static_cast<uint32_t>(picture_.size()), 0,
                     ZO_FMT_IRON_RGB32 + ZO_GAIN_NONLINEAR);
    shared_.findings.Expect("ZoLib_Decode of playback", decoded, {0});
    ZoLib_FinishDecode(dev);
    shared_.findings.Add(Count::kPlayed);
  }

  void WaitForEnd() {
    while (ends_ == 0 && ZoLib_GetFileError(dev_) == 0 && !shared_.ends) {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    if (ends_ == 0 || shared_.ends) return;
    // The end is told by the thread that delivered all frames.
    if (next_ != recording_->frames.size()) {
      Differs("ended after " + std::to_string(next_) + " of " +
              std::to_string(recording_->frames.size()));
    }
  }

  void Seek() {
    const uint64_t lastMs = ZoLib_GetFileTimeLength(dev_);
    for (int i = dice_.Between(1, 20); i > 0 && shared_.Sleep(dice_.Between(0, 120)); --i) {
      ++seeksBegun_;
      const ZoStatus status = ZoLib_FileReadSeek(dev_, dice_.Below(lastMs + 50));
      ++seeksEnded_;
      shared_.findings.Expect("ZoLib_FileReadSeek", status, {0, 25});
      shared_.findings.Add(Count::kSeeks);
    }
  }

  void Control(Dice dice) {
    constexpr std::array<double, 4> kSpeeds = {0.0, 0.5, 1.0, 16.0};
    for (int i = dice.Between(1, 20); i > 0 && shared_.Sleep(dice.Between(0, 120)); --i) {
      switch (dice.Below(3)) {
        case 0:
          ZoLib_FileReadPause(dev_);
          shared_.findings.Add(Count::kPauses);
          break;
        case 1:
          ZoLib_FileReadResume(dev_);
          break;
        default:
          ZoLib_SetFileReadSpeed(dev_, kSpeeds[dice.Below(kSpeeds.size())]);
      }
    }
  }

  SharedState& shared_;
  const std::shared_ptr<const StoredRecording> recording_;
  const bool straight_;
  Dice& dice_;
  _ZoDev* dev_ = nullptr;
  std::vector<uint8_t> picture_;
  std::atomic<uint32_t> ends_ = 0;
  std::atomic<uint64_t> seeksBegun_ = 0;
  std::atomic<uint64_t> seeksEnded_ = 0;
  // Of the playback thread.
  std::atomic<size_t> next_ = 0;
  uint64_t endedAFrameAgo_ = 0;
  uint64_t endedTwoFramesAgo_ = 0;
};

std::shared_ptr<const StoredRecording> Choose(SharedState& shared, Dice& dice) {
  const std::lock_guard lock(shared.shelfMutex);
  if (shared.shelf.empty()) return nullptr;
  return shared.shelf[dice.Below(shared.shelf.size())];
}

}  // namespace

void PlayRecordings(SharedState& shared, Dice dice, Pulse& pulse) {
  while (shared.Sleep(dice.Between(1, 100))) {
    pulse.Beat();
    if (auto recording = Choose(shared, dice)) {
      Playback(shared, std::move(recording), dice.OneIn(3), dice).Run();
    }
  }
}

}  // namespace soak
