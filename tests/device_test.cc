// Finding, opening, commanding and reconnecting virtual cameras, through the public functions.
#include <gtest/gtest.h>
#include <linux/uvcvideo.h>

#include <cerrno>
#include <chrono>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include "device/commands.h"
#include "device/connection.h"
#include "device/sysfs.h"
#include "sim/virtual_host.h"
#include "tests/handle.h"

namespace {

using zosim::CameraConfig;
using zosim::Host;
using zosim::Moment;

constexpr char kFirstNode[] = "/dev/video0";

struct Found {
  ZoStatus status = 0;
  std::vector<Handle> devices;
  std::vector<_ZoDev*> removed;
  uint32_t hostError = 0;
};

Found Find(std::vector<_ZoDev*> known = {}) {
  Found found;
  _ZoDev** devices = nullptr;
  _ZoDev** removed = nullptr;
  uint32_t count = 99, removedCount = 99;
  found.status = ZoLib_GetDevicesDiff(&devices, &count, &removed, &removedCount, known.data(),
                                      static_cast<int32_t>(known.size()), &found.hostError);
  if (found.status != 0 && found.status != 3) return found;
  EXPECT_EQ(devices == nullptr, count == 0);
  EXPECT_EQ(removed == nullptr, removedCount == 0);
  for (uint32_t i = 0; i < count; ++i) found.devices.emplace_back(devices[i]);
  if (devices != nullptr) {
    EXPECT_EQ(devices[count], nullptr);
  }
  found.removed.assign(removed, removed + removedCount);
  ZoLib_ReleaseArray(devices);
  ZoLib_ReleaseArray(removed);
  return found;
}

// Cameras without metadata nodes, so that node numbers read simply.
CameraConfig Product(uint16_t product) { return {.productId = product, .metadataNode = false}; }

class Device : public testing::Test {
 protected:
  void SetUp() override { Host().Reset(); }
  void TearDown() override { EXPECT_EQ(Host().Live(), zosim::LiveCounts{}) << "something leaks"; }
};
using Enumeration = Device;

TEST_F(Enumeration, OpensEveryCameraBesideForeignAndMetadataNodes) {
  Host().PlugCamera({.productId = 0x6101});
  Host().AddForeignNode();
  Host().PlugCamera(
      {.productId = 0x6110, .serialNumber = 0x4444333322221111, .productName = "Yard"});
  const Found found = Find();
  EXPECT_EQ(found.status, 0);
  ASSERT_EQ(found.devices.size(), 2);
  _ZoDev* yard = found.devices[1].get();
  char name[64];
  ZoLib_GetDeviceName(yard, name, sizeof name);
  EXPECT_STREQ(name, "Yard");
  EXPECT_EQ(ZoLib_GetProductID(yard), 0x6110);
  EXPECT_EQ(ZoLib_GetVendorID(yard), 0x7A11);
  EXPECT_EQ(ZoLib_GetSerialNumberAsUINT64(yard), 0x4444333322221111U);
  EXPECT_EQ(ZoLib_IsRealDevice(yard), 1);
  ZoLib_Invalidate(yard);
  uint16_t config = 0;
  EXPECT_EQ(ZoLib_GetConfig(yard, &config), 4);
  EXPECT_EQ(ZoLib_IsRealDevice(yard), 1);
}

TEST_F(Enumeration, EndsAtTheFirstNodeWithoutIdentity) {
  EXPECT_EQ(Find().status, 3);
  Host().PlugCamera(Product(0x6101));
  Host().AddGap();
  Host().PlugCamera(Product(0x6102));
  EXPECT_EQ(Find().devices.size(), 1);
  Host().Reset();
  Host().AddNodeWithoutIdentity();
  Host().PlugCamera(Product(0x6101));
  EXPECT_EQ(Find().status, 3);
  EXPECT_EQ(Host().CountOf("open"), 0) << "nothing was tried";
}

TEST_F(Enumeration, SurvivesDamagedSysfsFiles) {
  const auto camera = Host().PlugCamera(Product(0x6101));
  struct Damage {
    const char* file;
    std::optional<std::string> content;
    size_t found;
  };
  const std::string binary("\0\xFF\0\x7F", 4);
  const Damage damages[] = {
      {"idVendor", "", 0},          {"idVendor", "zzzz\n", 0},
      {"idVendor", binary, 0},      {"idVendor", "7a11", 1},
      {"idVendor", "0x7a11\n", 1},  {"idProduct", "99999999999\n", 0},
      {"idProduct", "6101 \n", 1},  {"product", "", 0},
      {"product", std::nullopt, 0}, {"product", std::string(500, 'x'), 1},
      {"product", "\n", 1},         {"product", binary, 1},
  };
  for (const Damage& damage : damages) {
    SCOPED_TRACE(std::string(damage.file) + " = " + damage.content.value_or("(none)"));
    camera->SetSysfsFile("idVendor", "7a11\n");
    camera->SetSysfsFile("idProduct", "6101\n");
    camera->SetSysfsFile("product", "Camera\n");
    camera->SetSysfsFile(damage.file, damage.content);
    EXPECT_EQ(Find().devices.size(), damage.found);
  }
  uint32_t vendor = 0, product = 0;
  char name[kSysfsLineMax + 1];
  camera->SetSysfsFile("product", std::string(500, 'x'));
  EXPECT_EQ(ZoLib_Priv_OsDepReadSysfsIdentity(0, &vendor, &product, name), 1);
  EXPECT_EQ(std::string(name), std::string(62, 'x'));
}

TEST_F(Enumeration, LeavesKnownCamerasAloneAndReportsThoseBeyondTheScan) {
  std::vector<std::shared_ptr<zosim::VirtualCamera>> cameras;
  for (int i = 0; i < 12; ++i) cameras.push_back(Host().PlugCamera(Product(0x6101)));
  Found all = Find();
  ASSERT_EQ(all.devices.size(), 12);
  std::vector<_ZoDev*> known;
  for (const Handle& dev : all.devices) known.push_back(dev.get());

  Host().ClearLog();
  Found again = Find(known);
  EXPECT_EQ(again.status, 3);
  EXPECT_TRUE(again.removed.empty());
  EXPECT_EQ(Host().CountOf("open"), 0);

  known.erase(known.begin() + 1);  // node 1 is new to the caller
  cameras[1]->Unplug();            // and gone, so the scan ends there
  again = Find(known);
  EXPECT_EQ(again.status, 3);
  ASSERT_EQ(again.removed.size(), 10);
  EXPECT_EQ(again.removed[0], all.devices[10].get()) << "video10 stands before video2";
  EXPECT_EQ(again.removed[1], all.devices[11].get());
  EXPECT_EQ(again.removed[2], all.devices[2].get());
}

TEST_F(Enumeration, RefusesOldFirmwareAndRemembersTheLastOpenError) {
  Host().PlugCamera({.productId = 0x6101, .firmwareVersion = 0x00FF, .metadataNode = false});
  EXPECT_EQ(Find().status, 3) << "its open succeeded";
  ZoStatus status = 0;
  EXPECT_EQ(OpenNode(kFirstNode, &status), nullptr);
  EXPECT_EQ(status, 5);
  const auto denied = Host().PlugCamera(Product(0x6101));
  denied->DenyAccess(true);
  Found found = Find();
  EXPECT_EQ(found.status, 13);
  EXPECT_EQ(found.hostError, EACCES);
  Host().PlugCamera({.productId = 0x6101, .firmwareVersion = 0x0100, .metadataNode = false});
  found = Find();
  EXPECT_EQ(found.status, 0);
  EXPECT_EQ(found.devices.size(), 1);
  EXPECT_EQ(found.hostError, 0);
}

TEST_F(Enumeration, ChecksItsArguments) {
  Host().PlugCamera(Product(0x6101));
  _ZoDev** devices = nullptr;
  _ZoDev* dev = nullptr;
  uint32_t count = 0, error = 0;
  EXPECT_EQ(ZoLib_GetDevices(nullptr, &count, &error), 20);
  EXPECT_EQ(ZoLib_GetDevices(&devices, nullptr, &error), 20);
  EXPECT_EQ(ZoLib_GetDevices(&devices, &count, nullptr), 20);
  EXPECT_EQ(ZoLib_GetDeviceByDeviceFile(nullptr, &dev, &error), 20);
  EXPECT_EQ(ZoLib_GetDeviceByDeviceFile(kFirstNode, nullptr, &error), 20);
  EXPECT_EQ(ZoLib_GetDeviceByDeviceFile(kFirstNode, &dev, nullptr), 20);
  for (const char* path : {"/dev/vide0", "/dev/videoX", "/dev/video", "/dev/video7", "",
                           "/dev/video99999999999999", "/dev/video-1"}) {
    EXPECT_EQ(ZoLib_GetDeviceByDeviceFile(path, &dev, &error), 3) << path;
  }
  const std::string longPath = "/dev/video0" + std::string(300, '/');
  EXPECT_EQ(ZoLib_GetDeviceByDeviceFile(longPath.c_str(), &dev, &error), 21);
  EXPECT_EQ(dev, nullptr);
}

TEST_F(Enumeration, SetsTheClockOfOneProductOnly) {
  Host().PlugCamera(Product(0x6110));
  Host().PlugCamera(Product(0x6102));
  Host().ClearLog();
  Find();
  const auto transfers = Host().Transfers();
  ASSERT_EQ(transfers.size(), 3);
  EXPECT_EQ(transfers[0].selector, 1);
  EXPECT_EQ(transfers[1].selector, 12);
  EXPECT_EQ(transfers[1].bytes.size(), 8);
  const auto& clock = transfers[1].bytes;
  const time_t now = time(nullptr);
  tm local{};
  localtime_r(&now, &local);
  EXPECT_EQ(clock[0] | clock[1] << 8, local.tm_year + 1900);
  EXPECT_EQ(clock[2], local.tm_mon + 1);
  EXPECT_EQ(clock[3], local.tm_mday);
  EXPECT_EQ(clock[4], local.tm_wday);
  EXPECT_EQ(clock[5], local.tm_hour);
  EXPECT_EQ(transfers[2].selector, 1);
}

// One camera, opened, with an empty log.
class OpenCommands : public Device {
 protected:
  void Open(uint16_t product = 0x6103) {
    camera = Host().PlugCamera(Product(product));
    dev = OpenNode(kFirstNode);
    ASSERT_NE(dev, nullptr);
    Host().ClearLog();
  }
  void TearDown() override {
    dev.reset();
    Device::TearDown();
  }
  static std::vector<int> Selectors() {
    std::vector<int> selectors;
    for (const auto& transfer : Host().Transfers()) selectors.push_back(transfer.selector);
    return selectors;
  }
  std::shared_ptr<zosim::VirtualCamera> camera;
  Handle dev;
};

TEST_F(OpenCommands, SendTheExactBytes) {
  Open();
  using Bytes = std::vector<uint8_t>;
  const uint16_t words[] = {0x1234, 0x5678, 0x9ABC};
  EXPECT_EQ(ZoLib_CommandSet(dev.get(), 0x0200, 0x0048, words, 1), 0);
  EXPECT_EQ(ZoLib_CommandSet(dev.get(), 0x0200, 0x0049, words, 3), 0);
  EXPECT_EQ(ZoLib_CommandRun(dev.get(), 0x0300, 0x0001), 0);
  EXPECT_EQ(ZoLib_SetConfig(dev.get(), 0x0102), 0);
  const auto log = Host().Transfers();
  ASSERT_EQ(log.size(), 7);
  EXPECT_EQ(Selectors(), (std::vector<int>{6, 8, 7, 8, 9, 10, 11}));
  EXPECT_EQ(log[0].unit, 4);
  EXPECT_EQ(log[0].bytes, (Bytes{0x48, 2, 2, 0, 0, 0, 0x34, 0x12, 0, 0}));
  Bytes longWrite = {0x49, 2, 6, 0, 0, 0, 0x34, 0x12, 0x78, 0x56, 0xBC, 0x9A};
  longWrite.resize(38);
  EXPECT_EQ(log[2].bytes, longWrite);
  EXPECT_EQ(log[4].bytes, (Bytes{1, 3, 0, 0, 0, 0}));
  EXPECT_EQ(log[6].bytes, (Bytes{2, 1}));
  uint16_t config = 0;
  EXPECT_EQ(ZoLib_GetConfig(dev.get(), &config), 0);
  EXPECT_EQ(config, 0x0102);
  camera->firmware().SetActive(200);
  uint32_t active = 0;
  EXPECT_EQ(ZoLib_GetActive(dev.get(), &active), 0);
  EXPECT_EQ(active, 200);
}

TEST_F(OpenCommands, ReadShortAndLongAnswers) {
  Open();
  std::vector<uint8_t> data(32);
  for (uint8_t i = 0; i < 32; ++i) data[i] = i;
  camera->firmware().SetRegister(0x0102, data);
  uint16_t words[16] = {};
  EXPECT_EQ(ZoLib_CommandGet(dev.get(), 0x0100, 0x0002, words, 2), 0);
  EXPECT_EQ(words[1], 0x0302);
  EXPECT_EQ(words[2], 0) << "only what was asked for";
  EXPECT_EQ(ZoLib_CommandGet(dev.get(), 0x0100, 0x0002, words, 16), 0);
  EXPECT_EQ(words[15], 0x1F1E);
  EXPECT_EQ(Selectors(), (std::vector<int>{3, 4, 3, 5}));
  EXPECT_EQ(Host().Transfers()[0].bytes, (std::vector<uint8_t>{2, 1, 4, 0, 0xFF, 0xFF}));

  Host().ClearLog();
  for (uint32_t count : {17U, 0x80000001U, 0xFFFFFFFFU}) {
    EXPECT_EQ(ZoLib_CommandGet(dev.get(), 1, 0, words, count), 21);
    EXPECT_EQ(ZoLib_CommandSet(dev.get(), 1, 0, words, count), 21);
  }
  EXPECT_EQ(ZoLib_CommandGet(dev.get(), 1, 0, nullptr, 1), 20);
  EXPECT_TRUE(Selectors().empty());

  words[0] = 0x0042;
  EXPECT_EQ(ZoLib_CommandGet(dev.get(), 0xFF00, 0x0001, words, 1), 0);
  EXPECT_EQ(Selectors(), (std::vector<int>{3, 5})) << "paged reads are always long";
  EXPECT_EQ(Host().Transfers()[0].bytes[4], 0x42);
}

TEST_F(OpenCommands, PollUntilTheCameraIsDone) {
  Open();
  camera->firmware().ScriptBusy(2);
  EXPECT_EQ(ZoLib_CommandRun(dev.get(), 1, 0), 0);
  const auto log = Host().Transfers();
  ASSERT_EQ(log.size(), 4);
  for (int i : {1, 2, 3}) {
    EXPECT_GE(log[i].at - log[i - 1].at, std::chrono::milliseconds(19)) << i;
  }
}

TEST_F(OpenCommands, SomeWritesAreAlwaysLongAndLetTheHandlePollFaster) {
  const uint16_t writes[][2] = {{0xFF01, 6}, {0xFF02, 7}, {0xFF03, 7}, {0xFF04, 7}, {0xFF05, 6}};
  for (const auto& [command, selector] : writes) {
    dev.reset();
    Host().Reset();
    Open();
    const uint16_t word = 0;
    EXPECT_EQ(ZoLib_CommandSet(dev.get(), command & 0xFF00, command & 0xFF, &word, 1), 0);
    EXPECT_EQ(Selectors()[0], selector) << std::hex << command;
    camera->firmware().ScriptBusy(20);
    EXPECT_EQ(ZoLib_CommandRun(dev.get(), 1, 0), 0);
    const auto log = Host().Transfers();
    auto shortest = std::chrono::nanoseconds::max();
    for (size_t i = log.size() - 19; i < log.size(); ++i) {
      shortest = std::min<std::chrono::nanoseconds>(shortest, log[i].at - log[i - 1].at);
    }
    EXPECT_EQ(shortest < std::chrono::milliseconds(15), selector == 7) << std::hex << command;
  }
}

TEST_F(OpenCommands, ReportWhatTheCameraReports) {
  Open();
  camera->firmware().ScriptSensorError(-5);
  EXPECT_EQ(ZoLib_CommandRun(dev.get(), 1, 0), 11);
  EXPECT_EQ(ZoLib_GetSensorError(dev.get()), -5);
  camera->firmware().ScriptFirmwareError(7);
  uint16_t word = 0xEEEE;
  EXPECT_EQ(ZoLib_CommandGet(dev.get(), 1, 0, &word, 1), 10);
  EXPECT_EQ(word, 0xEEEE);
  EXPECT_EQ(ZoLib_GetFirmwareError(dev.get()), 7);
  EXPECT_EQ(ZoLib_GetSensorError(dev.get()), 0) << "cleared by the next command";
  camera->firmware().ScriptAnswer({0, 3, 0});
  EXPECT_EQ(ZoLib_CommandRun(dev.get(), 1, 0), 1);
}

TEST_F(OpenCommands, EndWhenTheHandleIsInvalidatedOrTheCameraGoes) {
  Open();
  camera->firmware().ScriptBusy(zosim::kForever);
  camera->AtTransfer(
      Moment::kBeforeTransfer, 10, [this] { ZoLib_Invalidate(dev.get()); }, 2);
  EXPECT_EQ(ZoLib_CommandRun(dev.get(), 1, 0), 10) << "the last answer was busy";
  dev = OpenNode(kFirstNode);
  camera->AtTransfer(Moment::kBeforeTransfer, 9, [this] { ZoLib_Invalidate(dev.get()); });
  EXPECT_EQ(ZoLib_CommandRun(dev.get(), 1, 0), 1) << "never answered";
  dev = OpenNode(kFirstNode);
  camera->firmware().StopBusy();
  camera->firmware().ScriptBusy(zosim::kForever);
  camera->AtTransfer(
      Moment::kBeforeTransfer, 10, [this] { camera->Unplug(); }, 2);
  EXPECT_EQ(ZoLib_CommandRun(dev.get(), 1, 0), 13);
  EXPECT_EQ(ZoLib_CommandRun(dev.get(), 1, 0), 13);
  EXPECT_EQ(ZoLib_GetHostError(dev.get()), ENODEV);
}

TEST_F(OpenCommands, TakeTurnsOnOneHandle) {
  Open();
  const auto run = [this] {
    for (int i = 0; i < 5; ++i) EXPECT_EQ(ZoLib_CommandRun(dev.get(), 1, 0), 0);
  };
  std::thread other(run);
  run();
  other.join();
  const auto selectors = Selectors();
  ASSERT_EQ(selectors.size(), 20);
  for (size_t i = 0; i < selectors.size(); ++i) EXPECT_EQ(selectors[i], i % 2 == 0 ? 9 : 10);
}

TEST_F(OpenCommands, EndBeforeAReconnectGoesOn) {
  Open();
  camera->firmware().ScriptBusy(zosim::kForever);
  std::thread commanding([this] { EXPECT_EQ(ZoLib_CommandRun(dev.get(), 1, 0), 10); });
  while (Selectors().size() < 3) std::this_thread::yield();
  camera->SetTimings({.reconnectReturnMs = -1});
  EXPECT_EQ(ZoLib_Reconnect(dev.get()), 3) << "it never comes back";
  commanding.join();
}

TEST_F(OpenCommands, SwitchHighGainOnTheModelsThatHaveIt) {
  Open(0x6101);
  EXPECT_EQ(ZoLib_EnableHighGainMode(dev.get()), 0);
  using Bytes = std::vector<uint8_t>;
  const auto log = Host().Transfers();
  ASSERT_EQ(log.size(), 4);
  EXPECT_EQ(log[0].bytes, (Bytes{0x48, 0x02, 4, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(log[2].bytes, (Bytes{0xC4, 0x4E, 4, 0, 0, 0, 1, 0, 0, 0}));
  camera->firmware().ScriptFirmwareError(9);
  Host().ClearLog();
  EXPECT_EQ(ZoLib_EnableHighGainMode(dev.get()), 10);
  EXPECT_EQ(Host().Transfers().size(), 2) << "the second write is not sent";
  dev.reset();
  Host().Reset();
  Open(0x6102);
  EXPECT_EQ(ZoLib_EnableHighGainMode(dev.get()), 26);
  EXPECT_TRUE(Selectors().empty());
}

TEST_F(OpenCommands, ReconnectAsksTheCameraAndWaitsForItsNode) {
  Open();
  camera->firmware().SetConfigWord(0x0007);
  camera->SetTimings({.reconnectLeaveMs = 50, .reconnectReturnMs = 1500});
  EXPECT_EQ(ZoLib_Reconnect(dev.get()), 0);
  const auto log = Host().Transfers();
  ASSERT_EQ(log.size(), 2);
  EXPECT_EQ(log[1].bytes, (std::vector<uint8_t>{0x07, 0x80}));
  EXPECT_EQ(ZoLib_IsRealDevice(dev.get()), 0);
  EXPECT_EQ(ZoLib_CommandRun(dev.get(), 1, 0), 4);
  EXPECT_NE(OpenNode(kFirstNode), nullptr) << "found again under its number";
}

TEST_F(OpenCommands, ReconnectKeepsANodeThatCannotBeAskedButLetsADeadOneGo) {
  Open();
  camera->FailTransfer(11, EIO);
  EXPECT_EQ(ZoLib_Reconnect(dev.get()), 13);
  EXPECT_EQ(ZoLib_IsRealDevice(dev.get()), 1);
  EXPECT_EQ(ZoLib_CommandRun(dev.get(), 1, 0), 4);
  dev = OpenNode(kFirstNode);
  camera->Unplug();
  EXPECT_EQ(ZoLib_Reconnect(dev.get()), 13);
  EXPECT_EQ(ZoLib_IsRealDevice(dev.get()), 0);
  camera->Plug();
  EXPECT_EQ(camera->NodeNumber(), 0) << "its number is free again";
}

}  // namespace
