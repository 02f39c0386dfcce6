// Finding and opening cameras whose nodes, sysfs attributes and identity say anything. Input: which
// way, a path, and the answers.
#include <array>

#include "device/sysfs.h"
#include "fuzz/model_handle.h"
#include "fuzz/scripted_camera.h"

namespace {

constexpr std::size_t kNameRoom = 63;  // what zocam.h says suffices

void LookAt(_ZoDev* dev) {
  std::array<char, kNameRoom> name{};
  ZoLib_GetDeviceName(dev, name.data(), kNameRoom);
  Expect(std::memchr(name.data(), 0, kNameRoom) != nullptr, "63 bytes suffice for a name");
  Expect(ZoLib_GetVendorID(dev) != 0x7A11 || ZoLib_GetFrameWidth(dev) != 0, "cameras have a size");
  Expect(ZoLib_GetFirmwareVersion(dev) >= ZoLib_GetSupportedFWVersion(), "old firmware is refused");
  Expect(ZoLib_IsRealDevice(dev) == 1, "an opened camera has a node");
}

void Enumerate(Input& input) {
  const Handle known = MakeHandle();
  std::snprintf(known->devicePath, sizeof known->devicePath, "/dev/video%u", input.Byte() % 4U);
  _ZoDev* held[] = {known.get(), nullptr};
  _ZoDev** devices = nullptr;
  _ZoDev** removed = nullptr;
  uint32_t count = 0;
  uint32_t removedCount = 0;
  uint32_t hostError = 0;
  ZoLib_GetDevicesDiff(&devices, &count, &removed, &removedCount, held, input.Byte() % 3,
                       &hostError);
  Expect((devices != nullptr) == (count != 0), "an array exactly when cameras were found");
  Expect((removed != nullptr) == (removedCount != 0), "an array exactly when handles are gone");
  for (uint32_t i = 0; i < count; ++i) {
    LookAt(devices[i]);
    ZoLib_Release(devices[i]);
  }
  ZoLib_ReleaseArray(devices);
  ZoLib_ReleaseArray(removed);
}

void OpenPath(Input& input) {
  const std::string path = input.Text();
  _ZoDev* dev = nullptr;
  uint32_t hostError = 0;
  const ZoStatus status = ZoLib_GetDeviceByDeviceFile(path.c_str(), &dev, &hostError);
  Expect((status == ZO_STATUS_OK) == (dev != nullptr), "a handle exactly on success");
  const Handle handle(dev);
  if (handle) LookAt(dev);
}

// One attribute after the other into memory of exactly the size that is asked for.
void ReadAttributes(Input& input) {
  uint32_t vendor = 0;
  uint32_t product = 0;
  const auto name = std::make_unique<char[]>(kSysfsLineMax);
  if (ZoLib_Priv_OsDepReadSysfsIdentity(input.Take<int32_t>(), &vendor, &product, name.get()) == 0)
    return;
  Expect(std::memchr(name.get(), 0, kSysfsLineMax) != nullptr, "a name has an end");
  ParseHexLine(input.Text().c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  Input input(data, size);
  ScriptedCamera camera(input);
  switch (input.Byte() % 3) {
    case 0:
      Enumerate(input);
      break;
    case 1:
      OpenPath(input);
      break;
    default:
      ReadAttributes(input);
      break;
  }
  return 0;
}
