#include "soak/stored_recording.h"

namespace soak {
namespace {

constexpr uint16_t kReferenceBodyProduct = 0x6120;

// Whether a frame's temperatures are a function of its bytes and the settings alone, or the quiet
// handle went through the same frames.
bool Comparable(const StoredRecording& recording) {
  const bool remembers = recording.settings.window || recording.product == kReferenceBodyProduct;
  return !remembers || (recording.whole && recording.startsFresh);
}

}  // namespace

bool CompareWithStream(SharedState& shared, StoredRecording& recording,
                       const std::vector<ReceivedFrame>& seen) {
  const auto differs = [&](const std::string& what) {
    shared.findings.Found(Count::kRecordingDiffers, recording.path + ": " + what);
    return false;
  };
  _ZoDev* dev = nullptr;
  const ZoStatus opened = ZoLib_FileReadPassiveSetup(&dev, recording.path.c_str());
  if (opened == ZO_STATUS_INVALID_FILE_FORMAT && seen.empty()) return false;  // empty
  if (opened == ZO_STATUS_INVALID_FILE_FORMAT && !recording.whole) return false;
  if (opened != ZO_STATUS_OK) return differs("status " + std::to_string(opened));
  const std::unique_ptr<_ZoDev, decltype(&ZoLib_Release)> owned(dev, ZoLib_Release);
  recording.settings.Apply(dev);
  shared.findings.Expect("ZoLib_CaptureStart of a recording", ZoLib_CaptureStart(dev), {0});

  std::vector<uint8_t> frame(recording.frameBytes);
  std::vector<uint16_t> image(size_t{ZoLib_GetFrameWidth(dev)} * ZoLib_GetFrameHeight(dev));
  size_t at = 0;
  for (uint32_t number = 1;; ++number) {
    const ZoStatus read = ZoLib_FileReadPassiveNext(dev, frame.data(), recording.frameBytes);
    if (read != ZO_STATUS_OK) return differs("read gives " + std::to_string(read));
    if (ZoLib_GetFileReadEOF(dev) != 0) break;
    const auto stamp = zosim::ReadStamp(frame);
    const std::string place = "record " + std::to_string(number);
    if (!stamp) return differs(place + " is torn");
    if (ZoLib_GetFileCurrentFrameNumber(dev) != number)
      return differs(place + " has another number");
    while (number == 1 && !recording.whole && at < seen.size() && seen[at].stamp != *stamp) ++at;
    if (at >= seen.size() || seen[at].stamp != *stamp) return differs(place + " is another frame");
    if (Comparable(recording) && seen[at].temperatures != 0) {
      const ZoStatus decoded =
          ZoLib_Decode(dev, frame.data(), image.data(), static_cast<uint32_t>(2 * image.size()), 0,
                       ZO_FMT_TEMP16);
      ZoLib_FinishDecode(dev);
      if (decoded == ZO_STATUS_OK && HashOf(image) == seen[at].temperatures) {
        shared.findings.Add(Count::kTemperaturesSame);
      } else {
        shared.findings.Found(Count::kTemperaturesDiffer, recording.path + ": " + place);
      }
    }
    recording.frames.push_back(seen[at]);
    shared.findings.Add(Count::kRecorded);
    ++at;
  }
  if (recording.whole && at != seen.size()) {
    return differs("holds " + std::to_string(at) + " of " + std::to_string(seen.size()));
  }
  return !recording.frames.empty();
}

}  // namespace soak
