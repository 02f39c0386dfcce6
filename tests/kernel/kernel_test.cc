// Finding, opening and commanding cameras through the real UVC driver. These tests run in the
// virtual machine of tests/kernel/run, one after the other, and bring their own cameras.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/usb/video.h>
#include <linux/uvcvideo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "core/device_record.h"
#include "sim/usb/control_socket.h"
#include "tests/handle.h"
#include "tests/kernel/emulated_cameras.h"
#include "tests/wait.h"

namespace {

using namespace std::chrono_literals;
using zosim::usb::EmulatedCameras;

constexpr char kFirstNode[] = "/dev/video0";

struct Found {
  ZoStatus status = 0;
  std::vector<Handle> devices;
  uint32_t hostError = 0;
};

Found Find() {
  Found found;
  _ZoDev** devices = nullptr;
  uint32_t count = 0;
  found.status = ZoLib_GetDevices(&devices, &count, &found.hostError);
  for (uint32_t i = 0; i < count; ++i) found.devices.emplace_back(devices[i]);
  ZoLib_ReleaseArray(devices);
  return found;
}

using Strings = std::vector<std::string>;

TEST(KernelDevices, ShowTheIdentityThatTheyHaveBesideAForeignWebcam) {
  const EmulatedCameras cameras({"-n", "foreign", "-c", "6103,serial=123456789012,release=0x0205",
                                 "-c", "6110,firmware=0x0203,name=Other Camera"});
  ASSERT_EQ(zosim::usb::VideoNodeCount(), 6U) << "a metadata node each";
  const Found found = Find();
  ASSERT_EQ(found.devices.size(), 2U);
  _ZoDev* first = found.devices[0].get();
  _ZoDev* second = found.devices[1].get();
  EXPECT_EQ(ZoLib_GetVendorID(first), 0x7A11);
  EXPECT_EQ(ZoLib_GetProductID(first), 0x6103);
  EXPECT_EQ(ZoLib_GetReleaseNumber(first), 0x0205);
  EXPECT_EQ(ZoLib_GetSerialNumberAsUINT64(first), 123456789012U);
  EXPECT_STREQ(first->productName, "Thermal Camera");
  EXPECT_EQ(ZoLib_GetProductID(second), 0x6110);
  EXPECT_EQ(ZoLib_GetFirmwareVersion(second), 0x0203);
  EXPECT_STREQ(second->productName, "Other Camera");

  ZoStatus status = 0;
  EXPECT_EQ(OpenNode(kFirstNode, &status), nullptr) << "the webcam";
  EXPECT_EQ(status, 3U);
  EXPECT_EQ(OpenNode("/dev/video3", &status), nullptr) << "the metadata node";
  EXPECT_EQ(status, 13U);
}

TEST(KernelDevices, WithoutAProductNameEndTheScan) {
  const EmulatedCameras cameras({"-c", "6103,name=", "-c", "6103"});
  const Found found = Find();
  EXPECT_EQ(found.status, 3U);
  EXPECT_EQ(found.hostError, 0U);
}

TEST(KernelDevices, WithOldFirmwareAreRefused) {
  const EmulatedCameras cameras({"-c", "6103,firmware=0x00ff"});
  EXPECT_EQ(Find().status, 3U);
  ZoStatus status = 0;
  EXPECT_EQ(OpenNode(kFirstNode, &status), nullptr);
  EXPECT_EQ(status, 5U);
}

TEST(KernelDevices, AreFoundAgainAtTheNumbersThatTheirHandlesLeaveFree) {
  const EmulatedCameras cameras({"-c", "6103"});
  Handle held = OpenNode(kFirstNode);
  ASSERT_NE(held, nullptr);
  cameras.Ask("unplug 0");
  ASSERT_TRUE(WaitFor([] { return access(kFirstNode, F_OK) != 0; }));
  uint32_t active = 0;
  EXPECT_EQ(ZoLib_GetActive(held.get(), &active), 13U);
  EXPECT_EQ(ZoLib_GetHostError(held.get()), static_cast<uint32_t>(ENODEV));
  EXPECT_EQ(Find().status, 3U);

  cameras.Ask("plug 0");
  EXPECT_EQ(cameras.Node(), "/dev/video1") << "the handle holds the first number";
  EXPECT_EQ(Find().status, 3U) << "the scan ends at the missing number";
  EXPECT_NE(OpenNode("/dev/video1"), nullptr);

  held.reset();
  cameras.Ask("unplug 0");
  ASSERT_TRUE(WaitFor([] { return zosim::usb::VideoNodeCount() == 0; }));
  cameras.Ask("plug 0");
  EXPECT_EQ(cameras.Node(), kFirstNode);
  EXPECT_EQ(Find().devices.size(), 1U);
}

class KernelCommands : public testing::Test {
 protected:
  void SetUp() override {
    dev = OpenNode(kFirstNode);
    ASSERT_NE(dev, nullptr);
    cameras.Ask("transfers 0");  // those of opening
  }

  const EmulatedCameras cameras{{"-c", "6103"}};
  Handle dev;
};

TEST_F(KernelCommands, BringTheExactBytesToTheCamera) {
  const std::vector<uint16_t> words = {0x1111, 0x2222, 0x3333};
  std::vector<uint16_t> answer(3);
  cameras.Ask("register 0 0x0248 a1a2a3a4a5a6");
  cameras.Ask("active 0 7");

  uint32_t active = 0;
  uint16_t config = 0;
  EXPECT_EQ(ZoLib_GetActive(dev.get(), &active), 0U);
  EXPECT_EQ(active, 7U);
  EXPECT_EQ(ZoLib_CommandGet(dev.get(), 0x0200, 0x48, answer.data(), 2), 0U);
  EXPECT_EQ(answer, (std::vector<uint16_t>{0xA2A1, 0xA4A3, 0}));
  EXPECT_EQ(ZoLib_CommandGet(dev.get(), 0x0200, 0x48, answer.data(), 3), 0U);
  EXPECT_EQ(answer, (std::vector<uint16_t>{0xA2A1, 0xA4A3, 0xA6A5}));
  EXPECT_EQ(ZoLib_CommandSet(dev.get(), 0x0200, 0x48, words.data(), 1), 0U);
  EXPECT_EQ(ZoLib_CommandSet(dev.get(), 0x0200, 0x48, words.data(), 3), 0U);
  EXPECT_EQ(ZoLib_CommandRun(dev.get(), 0x1200, 0x34), 0U);
  EXPECT_EQ(ZoLib_SetConfig(dev.get(), 0x0102), 0U);
  EXPECT_EQ(ZoLib_GetConfig(dev.get(), &config), 0U);
  EXPECT_EQ(config, 0x0102);

  const std::string rest(2 * (32 - 6), '0');  // of 32 data bytes
  EXPECT_EQ(cameras.Lines("transfers 0"), (Strings{
                                              "GET_CUR 2 07",
                                              "SET_CUR 3 48020400ffff",
                                              "GET_CUR 4 0000a1a2a3a4",
                                              "SET_CUR 3 48020600ffff",
                                              "GET_CUR 5 0000a1a2a3a4a5a6" + rest,
                                              "SET_CUR 6 48020200000011110000",
                                              "GET_CUR 8 0000",
                                              "SET_CUR 7 480206000000111122223333" + rest,
                                              "GET_CUR 8 0000",
                                              "SET_CUR 9 341200000000",
                                              "GET_CUR 10 0000",
                                              "SET_CUR 11 0201",
                                              "GET_CUR 11 0201",
                                          }));
  EXPECT_EQ(cameras.Lines("register 0 0x0248"), Strings{"111122223333"});
}

TEST(KernelDevices, OfOneProductAreGivenTheTime) {
  const EmulatedCameras cameras({"-c", "6110"});
  ASSERT_NE(OpenNode(kFirstNode), nullptr);
  const Strings transfers = cameras.Lines("transfers 0");
  ASSERT_EQ(transfers.size(), 2U);
  EXPECT_EQ(transfers[0], "GET_CUR 1 117a10610001100104000300020001000000000000000000");
  EXPECT_EQ(transfers[1].substr(0, 11), "SET_CUR 12 ");
  EXPECT_EQ(transfers[1].size(), 11U + 16U);
}

TEST_F(KernelCommands, ReportWhatTheCameraReports) {
  cameras.Ask("answer 0 3 0 0");
  EXPECT_EQ(ZoLib_CommandRun(dev.get(), 0, 1), 0U);
  EXPECT_EQ(cameras.Lines("transfers 0").size(), 5U) << "polled until it was done";
  cameras.Ask("answer 0 0 1 7");
  EXPECT_EQ(ZoLib_CommandRun(dev.get(), 0, 1), 10U);
  EXPECT_EQ(ZoLib_GetFirmwareError(dev.get()), 7);
  cameras.Ask("answer 0 0 2 0xfb");
  EXPECT_EQ(ZoLib_CommandRun(dev.get(), 0, 1), 11U);
  EXPECT_EQ(ZoLib_GetSensorError(dev.get()), -5);
}

// The driver asks a camera that refused a request for the reason, and makes a number of it.
TEST_F(KernelCommands, RefusedByTheCameraGiveTheErrorOfItsReason) {
  const std::vector<int> errors = {EPIPE, EBUSY, EILSEQ, EREMOTE, ERANGE, EIO, EIO, EIO, EINVAL};
  for (size_t reason = 0; reason < errors.size(); ++reason) {
    cameras.Ask("stall 0 2 " + std::to_string(reason));
    uint32_t active = 0;
    EXPECT_EQ(ZoLib_GetActive(dev.get(), &active), 13U);
    EXPECT_EQ(ZoLib_GetHostError(dev.get()), static_cast<uint32_t>(errors[reason])) << reason;
  }
  uint32_t active = 0;
  EXPECT_EQ(ZoLib_GetActive(dev.get(), &active), 0U);
}

TEST_F(KernelCommands, WithoutAnAnswerEndAfterTheDriversTime) {
  cameras.Ask("silence 0 2");
  uint32_t active = 0;
  EXPECT_EQ(ZoLib_GetActive(dev.get(), &active), 13U);
  EXPECT_EQ(ZoLib_GetHostError(dev.get()), static_cast<uint32_t>(ETIMEDOUT));
  EXPECT_EQ(ZoLib_GetActive(dev.get(), &active), 0U) << "the camera answers again";
}

TEST_F(KernelCommands, EndWhenTheCameraIsPulledOutMeanwhile) {
  cameras.Ask("unplug-during 0 2");
  uint32_t active = 0;
  EXPECT_EQ(ZoLib_GetActive(dev.get(), &active), 13U);
  EXPECT_NE(ZoLib_GetHostError(dev.get()), 0U);
  RecordProperty("errno", static_cast<int>(ZoLib_GetHostError(dev.get())));
  EXPECT_EQ(ZoLib_GetActive(dev.get(), &active), 13U);
}

TEST_F(KernelCommands, ThatPollEndWhenTheCameraIsPulledOut) {
  cameras.Ask("answer 0 0xffffffff 1 1");
  std::thread puller([&] {
    // The request, and polls of its answer.
    EXPECT_TRUE(WaitFor([&] { return !cameras.Lines("transfers 0").empty(); }));
    cameras.Ask("unplug 0");
  });
  EXPECT_EQ(ZoLib_CommandRun(dev.get(), 0, 1), 13U);
  puller.join();
}

TEST_F(KernelCommands, AskTheCameraToReconnect) {
  EXPECT_EQ(ZoLib_Reconnect(dev.get()), 0U);
  const Strings transfers = cameras.Lines("transfers 0");
  ASSERT_GE(transfers.size(), 2U);
  EXPECT_EQ(transfers[0], "GET_CUR 11 0000");
  EXPECT_EQ(transfers[1], "SET_CUR 11 0080");
  uint32_t active = 0;
  EXPECT_EQ(ZoLib_GetActive(dev.get(), &active), 4U) << "the handle is bound to nothing";
  EXPECT_EQ(cameras.Node(), kFirstNode);
  EXPECT_EQ(Find().devices.size(), 1U);
}

TEST_F(KernelCommands, TheDriverRefusesReachNoCamera) {
  const int node = open(kFirstNode, O_RDWR);
  const int metadata = open("/dev/video1", O_RDWR);
  ASSERT_GE(node, 0);
  ASSERT_GE(metadata, 0);
  uint8_t data[64] = {};
  const auto query = [&](int file, uint8_t unit, uint8_t selector, uint8_t request, uint16_t size,
                         uint8_t* bytes) {
    uvc_xu_control_query transfer = {unit, selector, request, size, bytes};
    return ioctl(file, UVCIOC_CTRL_QUERY, &transfer) == 0 ? 0 : errno;
  };
  EXPECT_EQ(query(node, 4, 1, UVC_GET_CUR, 23, data), ENOBUFS);
  EXPECT_EQ(query(node, 4, 1, UVC_SET_CUR, 24, data), EBADRQC);
  EXPECT_EQ(query(node, 4, 3, UVC_GET_CUR, 6, data), EBADRQC);
  EXPECT_EQ(query(node, 4, 13, UVC_GET_CUR, 1, data), ENOENT);
  EXPECT_EQ(query(node, 5, 1, UVC_GET_CUR, 24, data), ENOENT);
  EXPECT_EQ(query(metadata, 4, 1, UVC_GET_CUR, 24, data), ENOTTY);
  EXPECT_EQ(cameras.Lines("transfers 0"), Strings{});
  EXPECT_EQ(query(node, 4, 1, UVC_GET_CUR, 24, data), 0);
  EXPECT_EQ(query(node, 4, 5, UVC_GET_LEN, 2, data), 0);
  EXPECT_EQ(data[0], 34);
  EXPECT_EQ(query(node, 4, 1, UVC_GET_CUR, 24, nullptr), EFAULT) << "asked first, then no place";
  close(node);
  close(metadata);
}

// What a command prints, line by line.
Strings OutputOf(const std::string& command) {
  Strings lines;
  FILE* const pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return lines;
  char line[512];
  while (fgets(line, sizeof line, pipe) != nullptr) lines.emplace_back(line);
  EXPECT_EQ(pclose(pipe), 0) << command;
  return lines;
}

TEST(KernelDriver, AnswersAsTheVirtualCameraDoes) {
  for (const std::string product : {"6103", "6101"}) {
    const std::string command = ZOCAM_DRIVER_ANSWERS " /dev/video0 /dev/video1";
    Strings real;
    {
      const EmulatedCameras cameras({"-c", product});
      real = OutputOf(command);
    }
    const Strings simulated = OutputOf(ZOCAM_SIM " -c " + product + " -- " + command);
    ASSERT_EQ(real.size(), simulated.size());
    ASSERT_GT(real.size(), 100U);
    for (size_t i = 0; i < real.size(); ++i) {
      EXPECT_EQ(real[i], simulated[i])
          << product << ", answer " << i << ", after " << (i > 0 ? real[i - 1] : "");
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (std::getenv(zosim::usb::kControlVariable) == nullptr && !testing::FLAGS_gtest_list_tests) {
    (void)std::fprintf(stderr, "kernel_test: runs in tests/kernel/run --none -- only\n");
    return 77;
  }
  return RUN_ALL_TESTS();
}
