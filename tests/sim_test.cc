// The virtual camera as a plain V4L2 program sees it, without the library: it has to behave like
// the UVC driver, and its frames have to mean the temperatures of the scene.
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/usb/video.h>
#include <linux/uvcvideo.h>
#include <linux/videodev2.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <thread>

#include "sim/model/frame_stamp.h"
#include "sim/model/sensor_counts.h"
#include "sim/virtual_host.h"

namespace {

using namespace std::chrono_literals;
using zosim::Host;
using zosim::Moment;
using zosim::Pace;
using zosim::Step;
using zosim::UnplugMode;
using Bytes = std::vector<uint8_t>;

constexpr uint32_t kCapture = V4L2_BUF_TYPE_VIDEO_CAPTURE;

std::string Node(int number) { return "/dev/video" + std::to_string(number); }

// 0 or errno.
int Ioctl(int fd, unsigned long request, void* argument) {
  return ioctl(fd, request, argument) == 0 ? 0 : errno;
}

// The program's side of one node.
class Client {
 public:
  explicit Client(const std::string& path, int flags = O_RDWR) : fd(open(path.c_str(), flags)) {}
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  ~Client() { Close(); }

  void Unmap() {
    for (void* address : mapped) munmap(address, mappedLength);
    mapped.clear();
  }
  void CloseDescriptor() {
    if (fd >= 0) close(fd);
    fd = -1;
  }
  void Close() {
    Unmap();
    CloseDescriptor();
  }

  int Transfer(uint8_t query, uint8_t selector, Bytes& data, uint8_t unit = 4) {
    const auto size = static_cast<uint16_t>(data.size());
    uvc_xu_control_query request = {unit, selector, query, size, data.data()};
    return Ioctl(fd, UVCIOC_CTRL_QUERY, &request);
  }
  int SetFormat(uint32_t width = 80, uint32_t height = 64) {
    format = {.type = kCapture, .fmt = {}};
    format.fmt.pix.width = width;
    format.fmt.pix.height = height;
    format.fmt.pix.pixelformat = V4L2_PIX_FMT_GREY;
    return Ioctl(fd, VIDIOC_S_FMT, &format);
  }
  int SetParm(uint32_t numerator, uint32_t denominator) {
    parm = {.type = kCapture, .parm = {}};
    parm.parm.capture.timeperframe = {numerator, denominator};
    return Ioctl(fd, VIDIOC_S_PARM, &parm);
  }
  int Request(uint32_t count) {
    v4l2_requestbuffers request = {count, kCapture, V4L2_MEMORY_MMAP, 0, 0, {}};
    const int error = Ioctl(fd, VIDIOC_REQBUFS, &request);
    granted = request.count;
    return error;
  }
  int OnBuffer(unsigned long request, uint32_t index = 0) {
    buffer = {};
    buffer.index = index;
    buffer.type = kCapture;
    buffer.memory = V4L2_MEMORY_MMAP;
    return Ioctl(fd, request, &buffer);
  }
  int Map(uint32_t index) {
    if (const int error = OnBuffer(VIDIOC_QUERYBUF, index)) return error;
    mappedLength = buffer.length;
    void* address =
        mmap(nullptr, buffer.length, PROT_READ | PROT_WRITE, MAP_SHARED, fd, buffer.m.offset);
    if (address == MAP_FAILED) return errno;
    mapped.push_back(address);
    return 0;
  }
  int Switch(bool on) {
    int type = kCapture;
    return Ioctl(fd, on ? VIDIOC_STREAMON : VIDIOC_STREAMOFF, &type);
  }
  int Start(uint32_t count = 2) {
    int error = SetFormat();
    if (error == 0) error = Request(count);
    for (uint32_t i = 0; i < granted && error == 0; ++i) error = Map(i);
    for (uint32_t i = 0; i < granted && error == 0; ++i) error = OnBuffer(VIDIOC_QBUF, i);
    return error == 0 ? Switch(true) : error;
  }
  // revents, 0 on time-out
  short Poll(int timeoutMs = 2000) const {
    pollfd entry = {fd, POLLIN | POLLERR, 0};
    return poll(&entry, 1, timeoutMs) >= 0 ? entry.revents : static_cast<short>(-errno);
  }
  // The dequeued frame.
  Bytes Image() const {
    const auto* bytes = static_cast<const uint8_t*>(mapped[buffer.index]);
    return Bytes(bytes, bytes + 10240);
  }

  int fd;
  v4l2_format format = {};
  v4l2_streamparm parm = {};
  v4l2_buffer buffer = {};
  uint32_t granted = 0;
  std::vector<void*> mapped;
  size_t mappedLength = 0;
};

class VirtualCameraTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Host().Reset();
    camera = Host().PlugCamera({.productId = 0x6100});
    camera->SetPace(Pace::Manual());
  }
  void TearDown() override { EXPECT_EQ(Host().Live(), zosim::LiveCounts{}); }

  std::shared_ptr<zosim::VirtualCamera> camera;
};

// The host's formulas for count cameras, written down plainly.
double KelvinOfCount(double x, const zosim::Telemetry& t, int revision) {
  const double T = t.fpat / 100.0, Tf = t.fpatFfc / 100.0, Hf = t.houtFfc / 100.0, U = t.time;
  const double gain = revision == 10 ? 0.88428 : 1.0, bias = revision == 10 ? 36.96 : 0.0;
  if (t.timeFfc <= 4999 && Tf < 311.0) {
    const double k = 0.011 * std::sqrt(325.0 - Tf) + 0.3;
    const double m = (1.5 * (Tf - 325.0) - 630.0) * k;
    const double q = std::max(0.0, -0.00045 * Tf * Tf + 0.252 * Tf - 34.28);
    double g = 0.0;
    if (U <= 29999) g += U / 30000 - 1;
    if (U <= 59999) g += 3 * (U / 60000 - 1);
    if (U <= 299999) g += 3 * (U / 300000 - 1);
    const double v = x - (k * T * T + m * T + m * m / (4 * k) + 42.0 * (Tf - 274.0) + 6200.0);
    const double s = 1 - 2.4425e-11 * std::pow(std::abs(v), 3);
    const double p2 = -5.216779e-6 * T * T + 0.003545329 * T - 0.5625453;
    return (v * p2 * std::max(0.6, s) + Tf + g * q) * gain + bias;
  }
  const double Ta = revision == 10 ? 0.999378 * Tf : 0.8 * Tf + 0.2 * Hf;
  const double p0 = (T - Tf) / 3.0 + Ta;
  const double d = static_cast<double>(t.time - t.timeFfc);
  double p1 = 0.0;
  if (d <= 17999) {
    p1 = -(-1.830881e-7 * d * d + 0.006914365 * d - 19.01978 - 25.62);
  } else if (d <= 65000) {
    p1 = -(-1.628652e-18 * std::pow(d, 4) + 4.428822e-13 * std::pow(d, 3) - 3.778912e-8 * d * d +
           0.0008034826 * d + 40.49744 - 25.62);
  }
  const double s = x + p1;
  const bool cold = s < 7327.0;
  const double a = cold ? 0.3759742 : 0.2773114, b = cold ? 0.7519484 : 0.5546228;
  const double c = cold ? 7005.281549953599 : 3153.3975022143995;
  const double o = cold ? 16221.82 : 12381.07, e = cold ? -83.69756 : -56.15512;
  const double r = std::sqrt(std::max(0.0, (s - o) * b + c));
  return ((r - e) * (0.002635 * p0 + 0.1909443) / a * 0.9915) * gain + bias;
}

TEST(VirtualFrames, MeanTheSceneInEveryRegimeOfEveryModel) {
  const std::pair<uint16_t, uint32_t> cases[] = {
      // product, TIME
      {0x6100, 4000},  {0x6100, 45000},   {0x6110, 59000}, {0x6102, 4000},  {0x6102, 70000},
      {0x6106, 85000}, {0x61FF, 2000000}, {0x6101, 4000},  {0x6103, 90000}, {0x6120, 90000}};
  for (const auto& [product, startMs] : cases) {
    SCOPED_TRACE(product);
    const bool fine = product != 0x6103;
    zosim::CameraModel model(
        {.productId = product, .startTimeMs = startMs, .fineResolution = fine});
    const zosim::ProductModel& shape = model.product();
    const bool counts = shape.rawKind == zosim::RawKind::kCounts;
    Bytes frame(shape.FrameBytes());
    const zosim::Telemetry telemetry = model.RenderNext(zosim::kNormalRate, frame);
    const uint8_t* footer = frame.data() + shape.ImageBytes();
    EXPECT_EQ(footer[1], shape.revision);
    EXPECT_EQ(footer[2] << 8 | footer[3] | footer[4] << 24 | footer[5] << 16,
              static_cast<int>(startMs));
    EXPECT_EQ(footer[48] << 8 | footer[49], telemetry.fpat);
    EXPECT_EQ(footer[58] << 8 | footer[59], telemetry.fpatFfc);
    EXPECT_EQ(footer[418] << 8 | footer[419], fine ? 1 : 0);
    double worst = 0.0;
    for (size_t i = 0; i < shape.ImageBytes() / 2; ++i) {
      const int word = frame[2 * i] << 8 | frame[2 * i + 1];
      // The host cuts its hundredths off.
      const double kelvin =
          counts ? std::floor(KelvinOfCount(word, telemetry, shape.revision) * 100.0) / 100.0
                 : word / (fine ? 100.0 : 10.0);
      const double seen = model.KelvinAt(telemetry.time, static_cast<uint32_t>(i % shape.width),
                                         static_cast<uint32_t>(i / shape.width));
      worst = std::max(worst, std::abs(kelvin - seen));
    }
    EXPECT_LE(worst, counts ? 0.05 : fine ? 0.0051 : 0.051);
  }
}

TEST(VirtualFrames, StartUpInverseHoldsFarFromAmbient) {
  const zosim::Telemetry telemetry = zosim::TelemetryAt({}, 20000);
  const zosim::SensorCounts counts(telemetry, 9);
  ASSERT_TRUE(counts.startUp());
  for (int kelvin = 230; kelvin < 420; ++kelvin) {
    EXPECT_NEAR(KelvinOfCount(counts.CountFor(kelvin), telemetry, 9), kelvin, 0.05);
  }
}

TEST(VirtualFrames, ProveWhatTheyAreWhenStamped) {
  for (uint16_t product : {0x6101, 0x6103, 0x6120}) {
    zosim::CameraModel plain({.productId = product});
    zosim::CameraModel stamped({.productId = product, .serialNumber = 7, .stampsFrames = true});
    Bytes frame(plain.product().FrameBytes()), other(frame.size());
    stamped.SkipNext(1.0);
    plain.SkipNext(1.0);
    stamped.RenderNext(1.0, frame);
    plain.RenderNext(1.0, other);
    EXPECT_TRUE(std::equal(frame.begin(), frame.end() - 24, other.begin())) << "nothing else";
    const auto stamp = zosim::ReadStamp(frame);
    ASSERT_TRUE(stamp);
    EXPECT_EQ(stamp->camera, 7);
    EXPECT_EQ(stamp->number, 1);
    for (size_t at = 0; at < frame.size(); at += 13) {
      frame[at] ^= 1;
      EXPECT_FALSE(zosim::ReadStamp(frame)) << at;
      frame[at] ^= 1;
    }
  }
}

TEST_F(VirtualCameraTest, ShowsTwoNodesWithOneIdentity) {
  EXPECT_EQ(camera->NodeNumber(), 0);
  EXPECT_EQ(camera->MetadataNodeNumber(), 1);
  Host().AddForeignNode();
  Host().AddGap();
  Host().AddNodeWithoutIdentity();
  camera->SetSysfsFile("product", std::nullopt);
  const auto read = [](int number, const char* name) {
    std::ifstream file("/sys/class/video4linux/video" + std::to_string(number) + "/device/..//" +
                       name);
    std::string line;
    return std::getline(file, line) ? line : "none";
  };
  EXPECT_EQ(read(0, "idVendor") + read(0, "idProduct") + read(0, "product"), "7a116100none");
  EXPECT_EQ(read(1, "idVendor") + read(1, "idProduct"), "7a116100");
  EXPECT_EQ(read(2, "product"), "Webcam");
  EXPECT_EQ(read(4, "idVendor"), "none");
  int listed = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/dev")) {
    if (entry.path().filename().string().starts_with("video")) ++listed;
  }
  EXPECT_EQ(listed, 4);
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/video4"));
  EXPECT_EQ(access("/dev/video3", F_OK), -1) << "the gap";

  Client metadata(Node(1));
  Bytes identity(24);
  EXPECT_EQ(metadata.Transfer(UVC_GET_CUR, 1, identity), ENOTTY);
  EXPECT_EQ(metadata.SetFormat(), EINVAL);
  camera->DenyAccess(true);
  EXPECT_EQ(open("/dev/video0", O_RDWR), -1);
  EXPECT_EQ(errno, EACCES);
}

TEST_F(VirtualCameraTest, KeepsItsNumberUntilNothingHoldsTheNode) {
  Client holder(Node(0));
  ASSERT_EQ(holder.Start(), 0);
  holder.CloseDescriptor();
  camera->Unplug();
  EXPECT_FALSE(std::filesystem::exists("/dev/video0"));
  EXPECT_FALSE(std::filesystem::exists("/sys/class/video4linux/video0"));
  camera->Plug();
  EXPECT_EQ(camera->NodeNumber(), 1) << "a mapping pins number 0";
  EXPECT_EQ(camera->MetadataNodeNumber(), 2);
  holder.Unmap();
  camera->Replug(0);
  EXPECT_EQ(camera->NodeNumber(), 0);
}

TEST_F(VirtualCameraTest, ChecksTransfersLikeTheDriver) {
  Client client(Node(0));
  const std::tuple<uint8_t, uint8_t, uint8_t, size_t, int> cases[] = {
      // unit, selector, query, size, errno
      {4, 1, UVC_GET_CUR, 24, 0},       {4, 1, UVC_GET_CUR, 23, ENOBUFS},
      {4, 1, UVC_SET_CUR, 24, EBADRQC}, {4, 9, UVC_GET_CUR, 6, EBADRQC},
      {4, 13, UVC_GET_CUR, 2, ENOENT},  {3, 1, UVC_GET_CUR, 24, ENOENT},
      {4, 12, UVC_SET_CUR, 8, 0},       {4, 5, UVC_GET_LEN, 2, 0},
      {4, 11, UVC_GET_CUR, 2, 0},       {4, 2, UVC_GET_MAX, 1, 0},
      {4, 2, UVC_GET_MAX, 2, ENOBUFS}};
  for (const auto& [unit, selector, query, size, error] : cases) {
    Bytes data(size);
    EXPECT_EQ(client.Transfer(query, selector, data, unit), error) << int{selector};
  }
  uvc_xu_control_query request = {4, 1, UVC_GET_CUR, 24, nullptr};
  EXPECT_EQ(Ioctl(client.fd, UVCIOC_CTRL_QUERY, &request), EFAULT);

  const int stalls[] = {EPIPE, EBUSY, EILSEQ, EREMOTE, ERANGE, EIO, EIO, EIO, EINVAL};
  Bytes word(2);
  for (uint8_t reason = 0; reason < 9; ++reason) {
    const auto stall = zosim::TransferResult::Stall(zosim::StallReason{reason});
    camera->firmware().ScriptTransfer(11, stall);
    EXPECT_EQ(client.Transfer(UVC_GET_CUR, 11, word), stalls[reason]);
  }
  camera->SetTimings({.noAnswerMs = 1});
  camera->firmware().ScriptTransfer(11, zosim::TransferResult::NoAnswer());
  EXPECT_EQ(client.Transfer(UVC_GET_CUR, 11, word), ETIMEDOUT);
  camera->AtTransfer(Moment::kBeforeTransfer, 11, [this] { camera->Unplug(); });
  EXPECT_EQ(client.Transfer(UVC_GET_CUR, 11, word), ENOENT) << "unplugged during the transfer";
  EXPECT_EQ(client.Transfer(UVC_GET_CUR, 11, word), ENODEV);
}

TEST_F(VirtualCameraTest, AnswersRequestsAsScripted) {
  Client client(Node(0));
  Bytes write = {0x48, 0x02, 4, 0, 0, 0, 1, 2, 3, 4};
  Bytes read = {0x48, 0x02, 4, 0, 0xFF, 0xFF};
  Bytes status(2), answer(6);
  camera->firmware().ScriptBusy(2);
  ASSERT_EQ(client.Transfer(UVC_SET_CUR, 6, write), 0);
  for (const Bytes& expected : {Bytes{1, 1}, Bytes{1, 1}, Bytes{0, 0}}) {
    ASSERT_EQ(client.Transfer(UVC_GET_CUR, 8, status), 0);
    EXPECT_EQ(status, expected);
  }
  ASSERT_EQ(client.Transfer(UVC_SET_CUR, 3, read), 0);
  ASSERT_EQ(client.Transfer(UVC_GET_CUR, 4, answer), 0);
  EXPECT_EQ(answer, (Bytes{0, 0, 1, 2, 3, 4})) << "what was written reads back";
  camera->firmware().ScriptSensorError(-5);
  Bytes run = {1, 2, 0, 0, 0, 0};
  ASSERT_EQ(client.Transfer(UVC_SET_CUR, 9, run), 0);
  ASSERT_EQ(client.Transfer(UVC_GET_CUR, 10, status), 0);
  EXPECT_EQ(status, (Bytes{2, 0xFB}));
  EXPECT_EQ(Host().Transfers().front().bytes, write);

  // Bit 15 of the configuration word: the camera goes and comes back.
  camera->SetTimings({.reconnectLeaveMs = 0, .reconnectReturnMs = 30});
  Bytes config = {0x00, 0x80};
  ASSERT_EQ(client.Transfer(UVC_SET_CUR, 11, config), 0);
  EXPECT_EQ(client.Transfer(UVC_GET_CUR, 11, config), ENODEV);
  EXPECT_EQ(camera->NodeNumber(), -1);
  client.Close();
  while (!std::filesystem::exists("/dev/video0")) std::this_thread::sleep_for(1ms);
}

TEST_F(VirtualCameraTest, SubstitutesFormatAndRate) {
  Client client(Node(0));
  for (const auto& [width, height] : {std::pair(80u, 60u), {640u, 480u}, {0u, 0u}}) {
    ASSERT_EQ(client.SetFormat(width, height), 0);
    const v4l2_pix_format& pix = client.format.fmt.pix;
    EXPECT_EQ(pix.width, 80u);
    EXPECT_EQ(pix.height, 64u);
    EXPECT_EQ(pix.pixelformat, V4L2_PIX_FMT_YUYV);
    EXPECT_EQ(pix.bytesperline, 160u);
    EXPECT_EQ(pix.sizeimage, 10240u);
    EXPECT_EQ(pix.field, static_cast<uint32_t>(V4L2_FIELD_NONE));
  }
  const uint32_t rates[][3] = {{30, 259, 30}, {10, 259, 10}, {0, 1, 10}, {1, 0, 30}, {1, 10, 30}};
  for (const auto& [numerator, denominator, rounded] : rates) {
    ASSERT_EQ(client.SetParm(numerator, denominator), 0);
    EXPECT_EQ(client.parm.parm.capture.timeperframe.numerator, rounded);
    EXPECT_EQ(client.parm.parm.capture.timeperframe.denominator, 259u);
  }
}

TEST_F(VirtualCameraTest, GivesTheStreamToOneDescriptorAtATime) {
  Client first(Node(0)), second(Node(0));
  EXPECT_EQ(second.Switch(true), EBUSY) << "without format and buffers";
  ASSERT_EQ(first.Start(), 0);
  EXPECT_EQ(second.SetFormat(), EBUSY);
  EXPECT_EQ(first.SetFormat(), EBUSY);
  EXPECT_EQ(first.SetParm(30, 259), EBUSY);
  EXPECT_EQ(first.Request(0), EBUSY) << "while streaming";
  EXPECT_EQ(first.Switch(false), 0);
  EXPECT_EQ(first.Switch(false), 0) << "a second time";
  EXPECT_EQ(first.SetFormat(), EBUSY) << "buffers are allocated";
  EXPECT_EQ(first.SetParm(10, 259), 0);
  EXPECT_EQ(first.Request(0), 0) << "with buffers mapped";
  EXPECT_EQ(Host().Live(), (zosim::LiveCounts{2, 2, 0}));
  EXPECT_EQ(second.SetFormat(), 0);
  EXPECT_EQ(first.SetFormat(), EBUSY);
  second.Close();
  first.Unmap();
  EXPECT_EQ(first.Request(100), 0);
  EXPECT_EQ(first.granted, 32u);
  EXPECT_EQ(first.OnBuffer(VIDIOC_QUERYBUF, 1), 0);
  EXPECT_EQ(first.buffer.length, 10240u);
  EXPECT_EQ(first.buffer.m.offset, 12288u);
}

TEST_F(VirtualCameraTest, DeliversInOrderAndLosesWhatASlowReaderLeaves) {
  Client client(Node(0));
  EXPECT_EQ(client.Poll(0), POLLERR) << "before the stream";
  ASSERT_EQ(client.Start(), 0);
  EXPECT_EQ(client.Poll(0), 0);
  EXPECT_TRUE(camera->DeliverFrame());
  const Bytes first = camera->LastFrame().bytes;
  EXPECT_TRUE(camera->DeliverFrame());
  EXPECT_FALSE(camera->DeliverFrame(0)) << "no buffer is queued";
  ASSERT_EQ(client.Poll(), POLLIN);
  ASSERT_EQ(client.OnBuffer(VIDIOC_DQBUF), 0);
  EXPECT_EQ(client.Image(), first) << "the oldest";
  EXPECT_EQ(client.buffer.bytesused, 10240u);
  ASSERT_EQ(client.OnBuffer(VIDIOC_DQBUF), 0);
  EXPECT_EQ(client.Poll(5), 0) << "with both buffers dequeued it waits";

  camera->SetPace(Pace::Rate(500));
  std::this_thread::sleep_for(20ms);
  ASSERT_EQ(client.OnBuffer(VIDIOC_QBUF, 0), 0);
  ASSERT_EQ(client.OnBuffer(VIDIOC_DQBUF), 0) << "blocks until the next frame";
  EXPECT_GT(client.buffer.sequence, 5u) << "frames in between are lost";
  EXPECT_GT(camera->FramesLost(), 3u);
}

TEST_F(VirtualCameraTest, StopWakesPollAndDequeue) {
  Client client(Node(0));
  ASSERT_EQ(client.Start(), 0);
  short revents = 0;
  int dequeued = 0;
  std::thread poller([&] { revents = client.Poll(10000); });
  std::thread dequeuer([&] { dequeued = client.OnBuffer(VIDIOC_DQBUF); });
  while (Host().CountOf("VIDIOC_STREAMON") == 0) std::this_thread::sleep_for(1ms);
  EXPECT_EQ(client.Switch(false), 0);
  poller.join();
  dequeuer.join();
  EXPECT_EQ(revents, POLLERR);
  EXPECT_EQ(dequeued, EINVAL);
}

TEST_F(VirtualCameraTest, UnpluggedAtOnceHangsUpAndKeepsMappedMemory) {
  Client client(Node(0));
  ASSERT_EQ(client.Start(), 0);
  camera->DeliverFrame();
  camera->At(Moment::kPollReady, [this] { camera->Unplug(); });
  EXPECT_EQ(client.Poll(), POLLIN) << "it was there when poll looked";
  EXPECT_EQ(client.OnBuffer(VIDIOC_DQBUF), ENODEV);
  EXPECT_EQ(client.Poll(), POLLERR | POLLHUP);
  EXPECT_EQ(client.Switch(false), ENODEV);
  EXPECT_EQ(client.Request(0), ENODEV);
  client.buffer.index = 0;
  EXPECT_EQ(client.Image(), camera->LastFrame().bytes);
}

TEST_F(VirtualCameraTest, FailingTransfersReturnOldImagesBeforeTheUnplug) {
  camera->SetTimings({.lostTransfersMs = 300});
  Client client(Node(0));
  ASSERT_EQ(client.Start(), 0);
  camera->DeliverFrame();
  ASSERT_EQ(client.OnBuffer(VIDIOC_DQBUF), 0);
  ASSERT_EQ(client.OnBuffer(VIDIOC_QBUF, client.buffer.index), 0);
  camera->Unplug(UnplugMode::kTransfersFailFirst);
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(client.Poll(), POLLIN);
    ASSERT_EQ(client.OnBuffer(VIDIOC_DQBUF), 0);
    EXPECT_TRUE(client.buffer.flags & V4L2_BUF_FLAG_ERROR);
    EXPECT_EQ(client.buffer.bytesused, 0u);
    EXPECT_EQ(client.Image(), camera->LastFrame().bytes);
    EXPECT_EQ(client.OnBuffer(VIDIOC_QBUF, client.buffer.index), 0);
  }
  EXPECT_EQ(client.Poll(), POLLERR | POLLHUP) << "the poll under way ends with the node";
}

TEST_F(VirtualCameraTest, BrokenTransfersAreSilentUntilTheStreamRestarts) {
  Client client(Node(0));
  ASSERT_EQ(client.Start(), 0);
  camera->SetPace(Pace::AsFastAsTaken());
  camera->BreakTransfers();
  while (client.Poll(5) == POLLIN) {
    ASSERT_EQ(client.OnBuffer(VIDIOC_DQBUF), 0);
    ASSERT_EQ(client.OnBuffer(VIDIOC_QBUF, client.buffer.index), 0);
  }
  EXPECT_EQ(client.Poll(5), 0);
  ASSERT_EQ(client.Switch(false), 0);
  ASSERT_EQ(client.OnBuffer(VIDIOC_QBUF, 0), 0);
  ASSERT_EQ(client.Switch(true), 0);
  EXPECT_EQ(client.Poll(), POLLIN);
}

TEST_F(VirtualCameraTest, FailsTheArmedCallAndNoOther) {
  const std::pair<Step, unsigned> steps[] = {{Step::kSetFormat, 0},   {Step::kRequestBuffers, 0},
                                             {Step::kQueryBuffer, 1}, {Step::kMap, 1},
                                             {Step::kQueueBuffer, 1}, {Step::kStreamOn, 0}};
  for (const auto& [step, skip] : steps) {
    Client client(Node(0));
    camera->FailStep(step, ENOSPC, skip);
    EXPECT_EQ(client.Start(), ENOSPC) << static_cast<int>(step);
    client.Close();
    Client again(Node(0));
    EXPECT_EQ(again.Start(), 0) << static_cast<int>(step);
  }
  camera->FailStep(Step::kOpen, EINTR);
  EXPECT_EQ(open("/dev/video0", O_RDWR), -1);
  Client client(Node(0), O_RDWR | O_NONBLOCK);
  camera->LimitBuffers(1);
  camera->SetBufferLength(20000);
  ASSERT_EQ(client.Start(), 0);
  EXPECT_EQ(client.granted, 1u);
  EXPECT_EQ(client.mappedLength, 20000u);
  EXPECT_EQ(client.OnBuffer(VIDIOC_DQBUF), EAGAIN);
  camera->FailStep(Step::kPoll, EINTR, 0, 2);
  EXPECT_EQ(client.Poll(), -EINTR);
  EXPECT_EQ(client.Poll(), -EINTR);
  camera->SpoilFrames(1, zosim::Spoiled::kDropped);
  camera->DeliverFrame();
  EXPECT_EQ(client.Poll(0), 0);
  camera->SpoilFrames(1, zosim::Spoiled::kDelivered);
  camera->DeliverFrame();
  ASSERT_EQ(client.OnBuffer(VIDIOC_DQBUF), 0);
  EXPECT_TRUE(client.buffer.flags & V4L2_BUF_FLAG_ERROR);
  EXPECT_EQ(client.buffer.sequence, 1u);
}

TEST_F(VirtualCameraTest, WaitsBesideOtherDescriptors) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  Client client(Node(0));
  ASSERT_EQ(client.Start(), 0);
  pollfd both[] = {{ends[0], POLLIN, 0}, {client.fd, POLLIN, 0}};
  EXPECT_EQ(poll(both, 2, 5), 0);
  ASSERT_EQ(write(ends[1], "x", 1), 1);
  EXPECT_EQ(poll(both, 2, 2000), 1);
  EXPECT_EQ(both[0].revents, POLLIN);
  camera->DeliverFrame();
  EXPECT_EQ(poll(both, 2, 2000), 2);
  fd_set set;
  FD_ZERO(&set);
  FD_SET(client.fd, &set);
  timeval limit = {2, 0};
  EXPECT_EQ(select(client.fd + 1, &set, nullptr, nullptr, &limit), 1);
  close(ends[0]);
  close(ends[1]);
}

TEST(Launcher, RunsAProgramWithTheCamerasItWasAskedFor) {
  const auto launcher = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "zocam-sim";
  if (!std::filesystem::exists(launcher)) GTEST_SKIP() << "zocam-sim is not built";
  const auto run = [&](const std::string& arguments) {
    // NOLINTNEXTLINE(cert-env33-c): the command line is the test's own
    FILE* pipe = popen((launcher.string() + " " + arguments + " 2>&1").c_str(), "r");
    std::string output;
    for (int c = fgetc(pipe); c != EOF; c = fgetc(pipe)) output += static_cast<char>(c);
    return output + std::to_string(WEXITSTATUS(pclose(pipe)));
  };
  EXPECT_EQ(run("-c 6103,name=Left -n gap --no-metadata-nodes -- sh -c 'ls /dev/video*; "
                "cat /sys/class/video4linux/video0/device/../product; exit 7'"),
            "/dev/video0\nLeft\n7");
  EXPECT_EQ(run("-c 7103 -- true"),
            "zocam-sim: unknown product 7103: the family is 6100 to 61ff\n2");
}

}  // namespace
