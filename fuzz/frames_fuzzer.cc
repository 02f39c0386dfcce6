// Raw frames with any telemetry through every decoder, setting and format of every model, once at
// each level of instruction sets: the pictures are the same. Input: model, settings, frames.
#include "core/byte_order.h"
#include "fuzz/model_handle.h"
#include "simd/stage_table.h"

namespace {

constexpr uint32_t kMostFrames = 3;
constexpr uint32_t kMostPictures = 3;
constexpr uint8_t kUntouched = 0xEE;

// Footer offsets of what the decoders read; see decode/raw_frame.h.
constexpr uint16_t kTelemetry[] = {2, 4, 6, 48, 52, 58, 60, 62, 64, 330, 416, 418, 160, 162, 164};

// Values that are few, many, or all the same, around a temperature or anywhere.
std::vector<uint16_t> TakeImage(Input& input, std::size_t count) {
  std::vector<uint16_t> image(count);
  const uint16_t low = input.Word();
  const uint32_t spread = uint32_t{1} << input.Byte() % 17;
  uint32_t state = input.Word();
  for (uint16_t& value : image) {
    state = state * 1664525 + 1013904223;
    value = static_cast<uint16_t>(low + (state >> 12) % spread);
  }
  return image;
}

Bytes TakeFrame(Input& input, const _ZoDev& dev) {
  Bytes frame(dev.rawFrameBytes);
  const auto image = TakeImage(input, dev.pixelCount);
  for (std::size_t k = 0; k < image.size(); ++k) WriteBe16(&frame[2 * k], image[k]);
  uint8_t* footer = &frame[dev.imageBytes];
  footer[1] = dev.telemetryRevision;
  const uint32_t footerBytes = dev.rawFrameBytes - dev.imageBytes;
  const uint32_t patches = input.Byte() % 24;
  for (uint32_t i = 0; i < patches; ++i) {
    const uint16_t place = input.Byte();
    const uint32_t offset =
        place < 0xF0 ? kTelemetry[place % std::size(kTelemetry)] : input.Word() % (footerBytes - 1);
    WriteBe16(footer + offset, input.Word());
  }
  return frame;
}

void ApplySettings(Input& input, _ZoDev* dev) {
  const auto choice = input.Take<uint32_t>();
  ZoLib_SetNoiseFilter(dev, choice & 1);
  ZoLib_SetUndistortion(dev, choice >> 1 & 1);
  ZoLib_SetWindowCorrection(dev, choice >> 2 & 3);
  ZoLib_SetUpsideDown(dev, choice >> 4 & 1);
  ZoLib_SetColorizeByRaw(dev, choice >> 5 & 1);
  ZoLib_SetCircumferenceCorrection(dev, choice >> 6 & 1);
  ZoLib_SetSubtractionTemp(dev, choice >> 7 & 1);
  ZoLib_SetRGBOrder(dev, choice >> 8 & 1);
  ZoLib_SetNoiseFilterThreshold(dev, static_cast<uint16_t>(choice >> 9 & 0x7F));
  if ((choice >> 16 & 1) != 0) {
    ZoLib_SetSubtractionTempTable(dev, TakeImage(input, dev->pixelCount).data(), dev->imageBytes);
  }
  if ((choice >> 17 & 1) != 0) {
    const auto low = input.Take<uint32_t>();
    ZoLib_SetDecodeRange(dev, low, input.Take<uint32_t>());
  }
  if ((choice >> 18 & 1) != 0) {
    const auto low = input.Take<int32_t>();
    ZoLib_SetAGCRange(dev, low, input.Take<int32_t>());
  }
  if ((choice >> 19 & 1) != 0) {
    std::vector<uint32_t> mask(dev->pixelCount);
    const uint32_t every = input.Between(1, dev->pixelCount);
    for (std::size_t k = input.Word() % mask.size(); k < mask.size(); k += every) mask[k] = every;
    ZoLib_SetAGCROIMask(dev, mask.data());
  }
  if ((choice >> 20 & 1) != 0) ZoLib_ReflectCorrGenStart(dev);
  if ((choice >> 21 & 1) != 0) {
    Bytes zorc(dev->imageBytes + 8);
    std::memcpy(zorc.data(), "ZORC", 4);
    WriteLe16(&zorc[6], dev->identityBlock.productId);
    const auto corrections = TakeImage(input, dev->pixelCount);
    std::memcpy(&zorc[8], corrections.data(), dev->imageBytes);
    ZoLib_SetReflectCorrData(dev, zorc.data(), static_cast<uint32_t>(zorc.size()));
  }
  if ((choice >> 22 & 1) != 0) {  // as a scan of a recording leaves it
    const ScopedLock lock(*dev->decodeLock);
    dev->tbLinearMin = input.Word();
    dev->tbLinearMax = std::max(dev->tbLinearMin, input.Word());
    dev->tbLinearValid = true;
    ZoLib_SetTimeBasedAGC(dev, 1);
  }
}

// A picture in a buffer of exactly the size that it takes, or one byte less.
void AddPicture(Input& input, _ZoDev* dev, const Bytes& frame, Bytes& results) {
  const uint32_t format = input.Byte() % 96;
  const uint8_t choice = input.Byte();
  const uint32_t lineBytes = dev->frameWidth * std::max(PixelBytes(format), 1U);
  const uint32_t stride = (choice & 1) == 0 ? 0 : lineBytes + (choice >> 1 & 15);
  const bool strided = stride != 0 && format > ZO_FMT_TEMP16;
  uint32_t size = (strided ? stride : lineBytes) * (dev->frameHeight - 1) + lineBytes;
  if ((choice >> 5 & 7) == 7) --size;
  Bytes out(size, kUntouched);
  const ZoStatus status = ZoLib_Decode(dev, frame.data(), out.data(), size, stride, format);
  if (status != ZO_STATUS_OK) {
    Expect(std::ranges::all_of(out, [](uint8_t byte) { return byte == kUntouched; }),
           "nothing is written on failure");
  }
  results.push_back(static_cast<uint8_t>(status));
  results.insert(results.end(), out.begin(), out.end());
}

Bytes Decode(Input input) {
  const Handle handle = MakeModelHandle(input.OneOf(kProducts));
  _ZoDev* dev = handle.get();
  Bytes results;
  const uint32_t frames = input.Byte() % kMostFrames + 1;
  for (uint32_t i = 0; i < frames; ++i) {
    if (input.Flag()) ApplySettings(input, dev);
    const Bytes frame = TakeFrame(input, *dev);
    const uint32_t pictures = input.Byte() % kMostPictures + 1;
    for (uint32_t k = 0; k < pictures; ++k) AddPicture(input, dev, frame, results);
    ZoLib_FinishDecode(dev);
  }
  uint16_t* zorc = nullptr;
  uint32_t zorcBytes = 0;
  if (ZoLib_ReflectCorrGenStop(dev, &zorc, &zorcBytes) == ZO_STATUS_OK) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(zorc);
    results.insert(results.end(), bytes, bytes + zorcBytes);
  }
  ZoLib_ReflectCorrDataRelease(zorc);
  return results;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  const Input input(data, size);
  ZoLib_Priv_ForceSimdLevel(0);
  const Bytes expected = Decode(input);
  for (const int32_t level : {1, 2}) {
    if (ZoLib_Priv_ForceSimdLevel(level) != ZO_STATUS_OK) continue;
    Expect(Decode(input) == expected, "every level makes the same pictures");
  }
  return 0;
}
