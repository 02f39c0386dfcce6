// Correction images of any contents, from memory and from a file. Input: model, frame's value, the
// folded image.
#include "decode/reflection_correction.h"
#include "fuzz/model_handle.h"

namespace {

constexpr std::size_t kMostBytes = 40000;

bool HasCorrections(_ZoDev* dev) {
  const ScopedLock lock(*dev->decodeLock);
  return dev->reflectCorrData != nullptr;
}

std::vector<uint16_t> DecodeFlat(_ZoDev* dev, uint16_t value) {
  Bytes frame(dev->rawFrameBytes);
  for (uint32_t k = 0; k < dev->imageBytes; ++k)
    frame[k] = static_cast<uint8_t>(k % 2 == 0 ? value >> 8 : value);
  frame[dev->imageBytes + 1] = dev->telemetryRevision;
  std::vector<uint16_t> image(dev->pixelCount);
  ZoLib_Decode(dev, frame.data(), image.data(), dev->imageBytes, 0, ZO_FMT_TEMP16);
  ZoLib_FinishDecode(dev);
  return image;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  Input input(data, size);
  const Handle handle = MakeModelHandle(input.OneOf(kProducts));
  _ZoDev* dev = handle.get();
  const uint16_t value = input.Word();
  const Bytes image = Unfold(input.Rest(), kMostBytes);
  const auto imageBytes = static_cast<uint32_t>(image.size());

  const ZoStatus fromMemory = ZoLib_SetReflectCorrData(dev, image.data(), imageBytes);
  const auto corrected = DecodeFlat(dev, value);
  if (image.data() != nullptr) {
    Expect((fromMemory == ZO_STATUS_OK) == HasCorrections(dev), "installed exactly on success");
  }
  ZoLib_SetReflectCorrData(dev, nullptr, 0);

  const MemoryFile file(image);
  const ZoStatus fromFile = ZoLib_SetReflectCorrFile(dev, file.path());
  const bool wrongSize = imageBytes != ZoLib_Priv_GetReflectCorrFmtSize(dev);
  Expect(fromFile == (wrongSize ? ZoStatus{ZO_STATUS_INVALID_FILE_FORMAT} : fromMemory),
         "a file is judged as memory is");
  if (fromFile == ZO_STATUS_OK) {
    Expect(DecodeFlat(dev, value) == corrected, "both correct alike");
    file.Resize(static_cast<off_t>(value % image.size()));
    Expect(ZoLib_SetReflectCorrFile(dev, file.path()) != ZO_STATUS_OK, "short files are refused");
    Expect(DecodeFlat(dev, value) == corrected, "a failure keeps what is installed");
  }

  ZoLib_ReflectCorrGenStart(dev);
  DecodeFlat(dev, value);
  uint16_t* made = nullptr;
  uint32_t madeBytes = 0;
  if (ZoLib_ReflectCorrGenStop(dev, &made, &madeBytes) == ZO_STATUS_OK) {
    Expect(ZoLib_SetReflectCorrData(dev, made, madeBytes) == ZO_STATUS_OK,
           "what is learnt can be installed");
  }
  ZoLib_ReflectCorrDataRelease(made);
  return 0;
}
