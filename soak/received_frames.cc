#include "soak/received_frames.h"

namespace soak {

DecodeSettings DecodeSettings::Random(Dice& dice) {
  return {!dice.OneIn(3), dice.OneIn(2), dice.OneIn(2), dice.OneIn(4), dice.OneIn(4)};
}

void DecodeSettings::Apply(_ZoDev* dev) const {
  ZoLib_SetWindowCorrection(dev, window);  // first: it switches the circumference correction off
  ZoLib_SetNoiseFilter(dev, noiseFilter);
  ZoLib_SetUndistortion(dev, undistortion);
  ZoLib_SetCircumferenceCorrection(dev, circumference);
  ZoLib_SetUpsideDown(dev, upsideDown);
}

uint64_t HashOf(const std::vector<uint16_t>& image) {
  uint64_t hash = 0xCBF29CE484222325;
  for (const uint16_t value : image) hash = (hash ^ value) * 0x100000001B3;
  return hash;
}

ReceivedFrames::ReceivedFrames(SharedState& shared, Camera& camera, Dice& dice)
    : shared_(shared),
      camera_(camera),
      dice_(dice.Below(~uint64_t{0})),
      slowMs_(dice.OneIn(6) ? dice.Between(20, 200) : 0),
      firstNumber_(camera.device->model().NextFrameNumber()),
      deliveredBefore_(camera.device->FramesDelivered()),
      lostBefore_(camera.device->FramesLost()),
      image_(size_t{camera.device->product().width} * camera.device->product().height),
      picture_(image_.size() * 4) {}

int ReceivedFrames::OnFrame(_ZoDev* dev, uint8_t* frame, uint64_t length, void* user) {
  static_cast<ReceivedFrames*>(user)->Take(dev, frame, length);
  return 0;
}

void ReceivedFrames::Take(_ZoDev* dev, uint8_t* frame, uint64_t length) {
  const size_t frameBytes = camera_.device->product().FrameBytes();
  if (length < frameBytes) return shared_.findings.Found(Count::kTorn, "short buffer");
  const std::span<const uint8_t> bytes(frame, frameBytes);
  const auto stamp = zosim::ReadStamp(bytes);
  if (!stamp) return shared_.findings.Found(Count::kTorn, "live frame");
  const std::string name = std::to_string(stamp->camera) + "/" + std::to_string(stamp->number);
  if (stamp->camera != camera_.serial) return shared_.findings.Found(Count::kForeign, name);
  const uint64_t next = frames_.empty() ? firstNumber_ : frames_.back().stamp.number + 1;
  if (stamp->number < next) shared_.findings.Found(Count::kRepeated, name);

  const auto imageBytes = static_cast<uint32_t>(2 * image_.size());
  const ZoStatus decoded = ZoLib_Decode(dev, frame, image_.data(), imageBytes, 0, ZO_FMT_TEMP16);
  // A pulled cable and ZoLib_Invalidate leave the frame in hand undecoded.
  const bool gone = decoded == ZO_STATUS_DEVICE_NOT_READY;
  shared_.findings.Expect("ZoLib_Decode", decoded, {ZO_STATUS_OK, ZO_STATUS_DEVICE_NOT_READY});
  const auto format = static_cast<uint32_t>(10 * dice_.Between(1, 8) + dice_.Between(0, 2));
  shared_.findings.Expect(
      "ZoLib_Decode of a picture",
      ZoLib_Decode(dev, frame, picture_.data(), static_cast<uint32_t>(picture_.size()), 0, format),
      {ZO_STATUS_OK, ZO_STATUS_DEVICE_NOT_READY});
  ZoLib_FinishDecode(dev);
  if (dice_.OneIn(50)) {
    ZoLib_Release(dev);  // nothing, here
    shared_.findings.Expect("ZoLib_CaptureStop in its callback", ZoLib_CaptureStop(dev),
                            {ZO_STATUS_INVALID_STATE, ZO_STATUS_DEVICE_NOT_READY});
  }
  if (slowMs_ > 0 && dice_.OneIn(4)) shared_.Sleep(slowMs_);

  frames_.push_back({*stamp, gone ? 0 : HashOf(image_)});
  shared_.findings.Add(Count::kSeen);
  if (zosim::ReadStamp(bytes) != stamp) shared_.findings.Found(Count::kTorn, name + " in hand");
}

void ReceivedFrames::Account() {
  image_ = {};
  picture_ = {};
  const uint64_t made = camera_.device->model().NextFrameNumber() - firstNumber_;
  const uint64_t delivered = camera_.device->FramesDelivered() - deliveredBefore_;
  const uint64_t noBuffer = camera_.device->FramesLost() - lostBefore_;
  const uint64_t notDelivered = made - delivered;
  shared_.findings.Add(Count::kLostNoBuffer, noBuffer);
  shared_.findings.Add(Count::kLostOnTheBus, notDelivered - noBuffer);
  // In the sequence that was seen, only frames that reached no buffer may be missing.
  const uint64_t seen = frames_.size();
  const uint64_t span = seen == 0 ? 0 : frames_.back().stamp.number + 1 - firstNumber_;
  if (span > seen + notDelivered) {
    shared_.findings.Found(Count::kMissing, std::to_string(span - seen) + " missing, " +
                                                std::to_string(notDelivered) + " not delivered");
  }
  if (seen > delivered) return shared_.findings.Found(Count::kRepeated, "more than were made");
  // A stream has two buffers; what is in them when it ends is seen by nobody.
  const uint64_t left = delivered - seen;
  shared_.findings.Add(Count::kLeftInBuffers, left);
  if (left > 2) shared_.findings.Found(Count::kMissing, std::to_string(left) + " in buffers");
}

}  // namespace soak
