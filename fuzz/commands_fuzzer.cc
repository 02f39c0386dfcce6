// Every command of a camera that answers anything. Input: model, commands, and between them the
// answers.
#include <array>

#include "device/commands.h"
#include "fuzz/model_handle.h"
#include "fuzz/scripted_camera.h"

namespace {

constexpr uint32_t kMostCommands = 16;
constexpr uint16_t kUntouched = 0xEEEE;

void ExpectStatus(ZoStatus status, std::initializer_list<ZoStatus> known) {
  Expect(std::ranges::find(known, status) != known.end(), "a status that the interface promises");
}

// Words in memory of exactly their number.
void ReadWords(Input& input, _ZoDev* dev) {
  const uint32_t count = input.Byte() % 18;
  std::vector<uint16_t> words(std::max(count, 1U), kUntouched);
  const uint16_t high = input.Word();
  const uint16_t low = input.Word();
  const ZoStatus status = ZoLib_CommandGet(dev, high, low, words.data(), count);
  ExpectStatus(status, {0, 1, 4, 10, 11, 13, 21});
  if (status != ZO_STATUS_OK) {
    Expect(std::ranges::count(words, kUntouched) == static_cast<long>(words.size()),
           "words are written on success only");
  }
}

void WriteWords(Input& input, _ZoDev* dev) {
  std::vector<uint16_t> words(input.Byte() % 18);
  for (uint16_t& word : words) word = input.Word();
  const uint16_t high = input.Word();
  const uint16_t low = input.Word();
  ExpectStatus(ZoLib_CommandSet(dev, high, low, words.data(), static_cast<uint32_t>(words.size())),
               {0, 1, 4, 10, 11, 13, 20, 21});
}

void ReadSettings(_ZoDev* dev) {
  uint16_t config = kUntouched;
  const ZoStatus status = ZoLib_GetConfig(dev, &config);
  ExpectStatus(status, {0, 4, 13});
  Expect(status == ZO_STATUS_OK || config == kUntouched, "config is written on success only");
  uint32_t active = 0;
  ExpectStatus(ZoLib_GetActive(dev, &active), {0, 4, 13});
  Expect(active <= 255, "the active state is a byte");
}

void RunCommand(Input& input, _ZoDev* dev) {
  switch (input.Byte() % 8) {
    case 0: {
      const uint16_t high = input.Word();
      ExpectStatus(ZoLib_CommandRun(dev, high, input.Word()), {0, 1, 4, 10, 11, 13});
      break;
    }
    case 1:
    case 2:
      ReadWords(input, dev);
      break;
    case 3:
      WriteWords(input, dev);
      break;
    case 4:
      ReadSettings(dev);
      ExpectStatus(ZoLib_SetConfig(dev, input.Word()), {0, 4, 13});
      break;
    case 5:
      ExpectStatus(ZoLib_EnableHighGainMode(dev), {0, 1, 4, 10, 11, 13, 26});
      break;
    case 6:
      ExpectStatus(ZoLib_Priv_DeviceGetInfo(dev), {0, 13});
      ExpectStatus(ZoLib_Priv_SetTime(dev), {0, 4, 13});
      break;
    default:
      ExpectStatus(ZoLib_Reconnect(dev), {0, 3, 13});
      dev->connected = 1;  // the handle may have lost its node
      break;
  }
  const int32_t sensorError = ZoLib_GetSensorError(dev);
  Expect(sensorError >= -128 && sensorError <= 127, "a sensor error is a signed byte");
  Expect(ZoLib_GetSensorError(dev) == 0 || ZoLib_GetFirmwareError(dev) == 0,
         "one of the errors ends a command");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  Input input(data, size);
  ScriptedCamera camera(input);
  const Handle handle = MakeModelHandle(input.OneOf(kProducts));
  _ZoDev* dev = handle.get();
  std::strcpy(dev->devicePath, "/dev/video0");
  dev->deviceFd = camera.Open();
  camera.MayInvalidate(dev);
  for (uint32_t i = 0; i < kMostCommands && !input.empty(); ++i) RunCommand(input, dev);
  return 0;
}
