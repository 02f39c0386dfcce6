// A recording of any contents, opened, walked, sought, scanned and decoded, with or without the
// playback thread, while its file changes. Input: mode, count of steps, steps of five bytes (kind
// and flags, argument), the folded file.
#include <unistd.h>

#include <array>
#include <atomic>
#include <optional>

#include "fuzz/model_handle.h"

namespace {

constexpr std::size_t kMostFileBytes = 256 * 1024;
constexpr int kMostWaits = 20;  // of a millisecond, for a played recording

void DecodeSome(_ZoDev* dev, const uint8_t* frame, uint32_t choice) {
  const uint32_t format = choice % 96;
  const uint32_t gap = choice >> 8 & 7;
  const uint32_t pixelBytes = std::max(PixelBytes(format), 1U);
  const uint32_t stride = dev->frameWidth * pixelBytes + gap;
  const uint32_t size = format <= ZO_FMT_TEMP16
                            ? dev->imageBytes
                            : stride * (dev->frameHeight - 1) + dev->frameWidth * pixelBytes;
  Bytes out(size);
  const ZoStatus status = ZoLib_Decode(dev, frame, out.data(), size, stride, format);
  if (status == ZO_STATUS_OK && (choice >> 11 & 7) == 0) {
    std::vector<uint16_t> image(dev->pixelCount);
    Expect(ZoLib_GetTempTable(dev, image.data(), dev->imageBytes) != ZO_STATUS_NOT_ENOUGH_SIZE,
           "a temperature image has imageBytes");
    ZoLib_DumpFrame(dev, "/dev/null", image.data(), dev->imageBytes,
                    ZoLib_GetTelemetryData(dev, frame), nullptr, choice >> 14 & 1);
  }
  if ((choice >> 15 & 1) == 0) ZoLib_FinishDecode(dev);
}

void ReadAccessors(_ZoDev* dev) {
  DateTime16 time{};
  ZoLib_GetFileHeadDateTime(dev, &time);
  ZoLib_GetFileCurrentDateTime(dev, &time);
  std::array<uint16_t, 4> serial{};
  ZoLib_GetSerialNumber(dev, serial.data());
  ZoLib_GetFileTimeLength(dev);
  ZoLib_GetFileCurrentTimeOffset(dev);
  ZoLib_GetFileCurrentFrameNumber(dev);
}

struct Player {
  std::atomic<uint32_t> frames = 0;
  uint32_t choice = 0;

  static int OnFrame(_ZoDev* dev, uint8_t* frame, uint64_t length, void* user) {
    auto* self = static_cast<Player*>(user);
    const uint32_t count = ++self->frames;
    Expect(length == dev->rawFrameBytes, "callbacks get whole frames");
    if (count < 8) DecodeSome(dev, frame, self->choice + count);
    if (count == 3) ZoLib_CaptureStop(dev);  // refused
    return 0;
  }
  static int OnEnd(_ZoDev* dev, void*) {
    Expect(ZoLib_FileReadSeek(dev, 0) == ZO_STATUS_INVALID_STATE, "no seek in the end's callback");
    ZoLib_FileReadPause(dev);
    return 0;
  }
};

void RunStep(_ZoDev* dev, const MemoryFile& file, uint8_t step, uint32_t argument) {
  switch (step & 15) {
    case 0:
    case 1:
    case 2: {
      Bytes frame(dev->rawFrameBytes);
      const ZoStatus status = ZoLib_FileReadPassiveNext(dev, frame.data(), dev->rawFrameBytes);
      if (status == ZO_STATUS_OK) DecodeSome(dev, frame.data(), argument);
      break;
    }
    case 3:
    case 4:
      ZoLib_FileReadSeek(dev, (step & 0x80) != 0 ? uint64_t{argument} << 32 | argument : argument);
      break;
    case 5:
    case 6:
      ZoLib_FinishDecode(dev);
      ZoLib_FileTimeBasedAGCSetup(dev, step & 0x80, argument & 0xF, argument >> 4 & 0xFF,
                                  (step & 0x40) != 0 ? UINT64_MAX : argument);
      ZoLib_SetTimeBasedAGC(dev, 1);
      break;
    case 7:
      ZoLib_FileReadPause(dev);
      break;
    case 8:
      ZoLib_FileReadResume(dev);
      break;
    case 9:
      file.Resize(argument % kMostFileBytes);
      break;
    case 10:
      file.Put(argument % kMostFileBytes, Bytes(6, static_cast<uint8_t>(argument >> 24)));
      break;
    case 11:
      ZoLib_SetFileReadSpeed(dev, argument % 4 == 0 ? 0.0 : argument / 1000.0);
      break;
    case 12:
      ReadAccessors(dev);
      if ((argument & 7) == 0) ZoLib_CaptureStart(dev);
      if ((argument & 7) == 1) ZoLib_CaptureStop(dev);
      break;
    default:
      ZoLib_SetUpsideDown(dev, argument & 1);
      ZoLib_SetUndistortion(dev, argument & 2);
      ZoLib_SetWindowCorrection(dev, argument & 4);
      ZoLib_SetColorizeByRaw(dev, argument & 8);
      ZoLib_SetSubtractionTemp(dev, argument & 16);
      break;
  }
}

// Until playback has come to its end, or long enough.
void WaitForPlayback(_ZoDev* dev) {
  for (int i = 0; i < kMostWaits; ++i) {
    if (ZoLib_GetFileReadEOF(dev) != 0 || ZoLib_GetFileError(dev) != 0) return;
    usleep(1000);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  Input input(data, size);
  const uint8_t mode = input.Byte();
  struct Step {
    uint8_t kind;
    uint32_t argument;
  };
  std::array<Step, 16> steps{};
  const std::size_t stepCount = input.Byte() % steps.size();
  for (std::size_t i = 0; i < stepCount; ++i) {
    steps[i].kind = input.Byte();
    steps[i].argument = input.Take<uint32_t>();
  }
  const MemoryFile file(Unfold(input.Rest(), kMostFileBytes));

  const bool passive = (mode & 1) == 0;
  Player player{.choice = mode};
  _ZoDev* dev = nullptr;
  const ZoStatus status =
      passive ? ZoLib_FileReadPassiveSetup(&dev, file.path())
              : ZoLib_FileReadSetup(&dev, file.path(), Player::OnFrame, Player::OnEnd, &player);
  Expect((status == ZO_STATUS_OK) == (dev != nullptr), "a handle exactly on success");
  const Handle handle(dev);
  if (!handle) {
    Expect(status == ZO_STATUS_FILE_IO_ERROR || status == ZO_STATUS_INVALID_FILE_FORMAT,
           "opening answers 0, 23 or 24");
    return 0;
  }
  if ((mode & 2) != 0) ZoLib_SetFileReadSpeed(dev, 0.0);
  if ((mode & 4) == 0) ZoLib_CaptureStart(dev);
  for (std::size_t i = 0; i < stepCount; ++i) {
    RunStep(dev, file, steps[i].kind, steps[i].argument);
  }
  if (!passive) WaitForPlayback(dev);
  if ((mode & 8) != 0) ZoLib_CaptureStop(dev);
  return 0;
}
