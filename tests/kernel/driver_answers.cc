// driver_answers: asks the driver of a camera for everything that a program can ask it, rightly and
// wrongly, and prints the answers. What the real driver says is what the virtual camera has to say.
// Usage: driver_answers NODE [METADATA_NODE]
#include <fcntl.h>
#include <linux/usb/video.h>
#include <linux/uvcvideo.h>
#include <linux/videodev2.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace {

template <typename... Values>
void Print(const char* format, Values... values) {
  (void)std::printf(format, values...);
}

const char* NameOf(int error) { return error == 0 ? "OK" : strerrorname_np(error); }

class Node {
 public:
  explicit Node(const char* path, int flags = 0) : file_(open(path, O_RDWR | flags)) {}
  ~Node() { close(file_); }
  Node(const Node&) = delete;
  Node& operator=(const Node&) = delete;

  bool isOpen() const { return file_ >= 0; }
  template <typename Argument>
  int Call(unsigned long request, Argument& argument) const {
    return ioctl(file_, request, &argument) == 0 ? 0 : errno;
  }
  // Prints what was asked and whether it could be had.
  template <typename Argument>
  bool Ask(const char* what, unsigned long request, Argument& argument) const {
    const int error = Call(request, argument);
    Print("%s: %s\n", what, NameOf(error));
    return error == 0;
  }
  void Poll(const char* what, int timeoutMs) const {
    pollfd wait = {file_, POLLIN, 0};
    const int count = poll(&wait, 1, timeoutMs);
    Print("poll %s: %d %s%s%s\n", what, count, (wait.revents & POLLIN) != 0 ? "IN " : "",
          (wait.revents & POLLERR) != 0 ? "ERR " : "", (wait.revents & POLLHUP) != 0 ? "HUP" : "");
  }
  int file() const { return file_; }

 private:
  const int file_;
};

std::string FourCharacters(uint32_t code) {
  std::string text;
  for (int i = 0; i < 4; ++i) text += static_cast<char>(code >> (8 * i));
  return text;
}

void PrintPicture(const v4l2_pix_format& pix) {
  Print("  %ux%u %s field %u line %u size %u colours %u\n", pix.width, pix.height,
        FourCharacters(pix.pixelformat).c_str(), pix.field, pix.bytesperline, pix.sizeimage,
        pix.colorspace);
}

v4l2_format Format(uint32_t type, uint32_t width = 0, uint32_t height = 0, uint32_t code = 0) {
  v4l2_format format = {};
  format.type = type;
  format.fmt.pix.width = width;
  format.fmt.pix.height = height;
  format.fmt.pix.pixelformat = code;
  return format;
}

v4l2_requestbuffers Buffers(uint32_t count) {
  v4l2_requestbuffers request = {};
  request.count = count;
  request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  request.memory = V4L2_MEMORY_MMAP;
  return request;
}

v4l2_buffer Buffer(uint32_t index) {
  v4l2_buffer buffer = {};
  buffer.index = index;
  buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  buffer.memory = V4L2_MEMORY_MMAP;
  return buffer;
}

void AskWhatItIs(const Node& node) {
  v4l2_capability capability = {};
  if (node.Ask("QUERYCAP", VIDIOC_QUERYCAP, capability)) {
    Print("  %s, %s, %08x, %08x\n", reinterpret_cast<const char*>(capability.driver),
          reinterpret_cast<const char*>(capability.card), capability.capabilities,
          capability.device_caps);
  }
  for (uint32_t index = 0; index < 2; ++index) {
    v4l2_fmtdesc description = {};
    description.index = index;
    description.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (node.Ask("ENUM_FMT", VIDIOC_ENUM_FMT, description)) {
      Print("  %s, flags %x, %s\n", reinterpret_cast<const char*>(description.description),
            description.flags, FourCharacters(description.pixelformat).c_str());
    }
  }
  for (uint32_t index = 0; index < 2; ++index) {
    v4l2_frmsizeenum size = {};
    size.index = index;
    size.pixel_format = V4L2_PIX_FMT_YUYV;
    if (node.Ask("ENUM_FRAMESIZES", VIDIOC_ENUM_FRAMESIZES, size)) {
      Print("  type %u, %ux%u\n", size.type, size.discrete.width, size.discrete.height);
    }
  }
  v4l2_format format = Format(V4L2_BUF_TYPE_VIDEO_CAPTURE);
  (void)node.Call(VIDIOC_G_FMT, format);
  for (uint32_t index = 0; index < 3; ++index) {
    v4l2_frmivalenum interval = {};
    interval.index = index;
    interval.pixel_format = V4L2_PIX_FMT_YUYV;
    interval.width = format.fmt.pix.width;
    interval.height = format.fmt.pix.height;
    if (node.Ask("ENUM_FRAMEINTERVALS", VIDIOC_ENUM_FRAMEINTERVALS, interval)) {
      Print("  %u/%u\n", interval.discrete.numerator, interval.discrete.denominator);
    }
  }
  for (uint32_t index = 0; index < 2; ++index) {
    v4l2_input input = {};
    input.index = index;
    if (node.Ask("ENUMINPUT", VIDIOC_ENUMINPUT, input)) {
      Print("  %s, type %u\n", reinterpret_cast<const char*>(input.name), input.type);
    }
  }
  int number = 7;
  node.Ask("G_INPUT", VIDIOC_G_INPUT, number);
  Print("  %d\n", number);
  for (number = 0; number < 2; ++number) node.Ask("S_INPUT", VIDIOC_S_INPUT, number);
  v4l2_control control = {};
  control.id = V4L2_CID_BRIGHTNESS;
  node.Ask("G_CTRL", VIDIOC_G_CTRL, control);
  node.Ask("S_CTRL", VIDIOC_S_CTRL, control);
  v4l2_queryctrl description = {};
  description.id = V4L2_CID_BRIGHTNESS;
  node.Ask("QUERYCTRL", VIDIOC_QUERYCTRL, description);
  v4l2_std_id standard = 0;
  node.Ask("G_STD", VIDIOC_G_STD, standard);
}

void AskForFormats(const Node& node) {
  const auto ask = [&](const char* what, unsigned long request, v4l2_format format) {
    if (node.Ask(what, request, format)) PrintPicture(format.fmt.pix);
  };
  constexpr uint32_t kCapture = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  ask("G_FMT", VIDIOC_G_FMT, Format(kCapture));
  ask("G_FMT output", VIDIOC_G_FMT, Format(V4L2_BUF_TYPE_VIDEO_OUTPUT));
  ask("TRY_FMT 640x480 GREY", VIDIOC_TRY_FMT, Format(kCapture, 640, 480, V4L2_PIX_FMT_GREY));
  ask("S_FMT 0x0", VIDIOC_S_FMT, Format(kCapture));
  ask("S_FMT 640x480 GREY", VIDIOC_S_FMT, Format(kCapture, 640, 480, V4L2_PIX_FMT_GREY));
  ask("S_FMT metadata", VIDIOC_S_FMT, Format(V4L2_BUF_TYPE_META_CAPTURE));

  v4l2_streamparm parameters = {};
  const auto& interval = parameters.parm.capture.timeperframe;
  parameters.type = kCapture;
  node.Ask("G_PARM", VIDIOC_G_PARM, parameters);
  Print("  %u/%u, capability %x\n", interval.numerator, interval.denominator,
        parameters.parm.capture.capability);
  const std::vector<v4l2_fract> wanted = {{1, 1}, {0, 5}, {5, 0}, {1, 1000}, {10, 259}, {30, 259}};
  for (const v4l2_fract& fraction : wanted) {
    parameters = {};
    parameters.type = kCapture;
    parameters.parm.capture.timeperframe = fraction;
    const int error = node.Call(VIDIOC_S_PARM, parameters);
    Print("S_PARM %u/%u: %s %u/%u, capability %x, mode %x, buffers %u\n", fraction.numerator,
          fraction.denominator, NameOf(error), interval.numerator, interval.denominator,
          parameters.parm.capture.capability, parameters.parm.capture.capturemode,
          parameters.parm.capture.readbuffers);
  }
}

void PrintBuffer(const v4l2_buffer& buffer) {
  // The times' source is a property of the machine.
  constexpr uint32_t kShown = ~static_cast<uint32_t>(V4L2_BUF_FLAG_TSTAMP_SRC_MASK);
  Print("  buffer %u of %u bytes, used %u, flags %x, field %u, memory %u\n", buffer.index,
        buffer.length, buffer.bytesused, buffer.flags & kShown, buffer.field, buffer.memory);
}

void Stream(const Node& node, const Node& other) {
  int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  int output = V4L2_BUF_TYPE_VIDEO_OUTPUT;
  v4l2_format format = Format(V4L2_BUF_TYPE_VIDEO_CAPTURE);
  v4l2_streamparm parameters = {};
  parameters.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;

  other.Ask("another's S_FMT", VIDIOC_S_FMT, format);
  other.Ask("another's S_PARM", VIDIOC_S_PARM, parameters);
  other.Ask("another's STREAMON", VIDIOC_STREAMON, type);
  v4l2_requestbuffers request = Buffers(2);
  other.Ask("another's REQBUFS", VIDIOC_REQBUFS, request);
  node.Ask("STREAMON without buffers", VIDIOC_STREAMON, type);
  for (const uint32_t count : {1U, 50U, 2U}) {
    request = Buffers(count);
    node.Ask("REQBUFS", VIDIOC_REQBUFS, request);
    Print("  %u asked, %u granted, capabilities %x\n", count, request.count, request.capabilities);
  }
  request.type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
  node.Ask("REQBUFS output", VIDIOC_REQBUFS, request);
  node.Ask("S_FMT with buffers", VIDIOC_S_FMT, format);
  parameters = {};
  parameters.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  parameters.parm.capture.timeperframe = {10, 259};
  node.Ask("S_PARM with buffers", VIDIOC_S_PARM, parameters);

  std::array<void*, 2> memory = {};
  for (uint32_t index = 0; index < 3; ++index) {
    v4l2_buffer buffer = Buffer(index);
    if (!node.Ask("QUERYBUF", VIDIOC_QUERYBUF, buffer)) continue;
    PrintBuffer(buffer);
    memory[index] = mmap(nullptr, buffer.length, PROT_READ | PROT_WRITE, MAP_SHARED, node.file(),
                         static_cast<off_t>(buffer.m.offset));
    Print("mmap: %s\n", memory[index] == MAP_FAILED ? NameOf(errno) : "OK");
  }
  v4l2_buffer wrong = Buffer(0);
  wrong.memory = V4L2_MEMORY_USERPTR;
  node.Ask("QBUF of the user's memory", VIDIOC_QBUF, wrong);
  for (const uint32_t index : {0U, 0U, 1U, 2U}) {
    v4l2_buffer buffer = Buffer(index);
    if (node.Ask("QBUF", VIDIOC_QBUF, buffer)) PrintBuffer(buffer);
  }
  node.Poll("before STREAMON", 0);
  v4l2_buffer early = Buffer(0);
  node.Ask("DQBUF before STREAMON", VIDIOC_DQBUF, early);
  node.Ask("STREAMON output", VIDIOC_STREAMON, output);
  node.Ask("STREAMON", VIDIOC_STREAMON, type);
  node.Ask("STREAMON again", VIDIOC_STREAMON, type);
  node.Ask("S_FMT streaming", VIDIOC_S_FMT, format);
  node.Ask("S_PARM streaming", VIDIOC_S_PARM, parameters);
  request = Buffers(0);
  node.Ask("REQBUFS 0 streaming", VIDIOC_REQBUFS, request);
  request = Buffers(2);
  node.Ask("REQBUFS 2 streaming", VIDIOC_REQBUFS, request);
  for (int frame = 0; frame < 3; ++frame) {
    node.Poll("streaming", 5000);
    v4l2_buffer buffer = Buffer(0);
    if (!node.Ask("DQBUF", VIDIOC_DQBUF, buffer)) continue;
    PrintBuffer(buffer);
    if (node.Ask("QBUF", VIDIOC_QBUF, buffer)) PrintBuffer(buffer);
  }
  node.Ask("STREAMOFF", VIDIOC_STREAMOFF, type);
  node.Ask("STREAMOFF again", VIDIOC_STREAMOFF, type);
  node.Poll("after STREAMOFF", 0);
  v4l2_buffer late = Buffer(0);
  node.Ask("DQBUF after STREAMOFF", VIDIOC_DQBUF, late);
  node.Ask("QUERYBUF after STREAMOFF", VIDIOC_QUERYBUF, late);
  request = Buffers(0);
  node.Ask("REQBUFS 0 with buffers mapped", VIDIOC_REQBUFS, request);
  Print("  %u granted, capabilities %x\n", request.count, request.capabilities);
  node.Ask("STREAMOFF without buffers", VIDIOC_STREAMOFF, type);
  v4l2_buffer gone = Buffer(0);
  node.Ask("QUERYBUF without buffers", VIDIOC_QUERYBUF, gone);
  node.Ask("DQBUF without buffers", VIDIOC_DQBUF, gone);
  node.Ask("QBUF without buffers", VIDIOC_QBUF, gone);
  for (void* const mapped : memory) munmap(mapped, format.fmt.pix.sizeimage);
  other.Ask("another's S_FMT afterwards", VIDIOC_S_FMT, format);
}

void AskTheUnit(const Node& node) {
  std::array<uint8_t, 64> data = {};
  const auto ask = [&](uint8_t unit, uint8_t selector, uint8_t query, uint16_t size, bool null) {
    data.fill(0);
    uvc_xu_control_query transfer = {unit, selector, query, size, null ? nullptr : data.data()};
    const int error = node.Call(UVCIOC_CTRL_QUERY, transfer);
    Print("unit %u selector %u query %02x size %u%s: %s %02x%02x\n", unit, selector, query, size,
          null ? " null" : "", NameOf(error), data[0], data[1]);
  };
  for (uint8_t selector = 0; selector <= 13; ++selector) {
    ask(4, selector, UVC_GET_LEN, 2, false);
    ask(4, selector, UVC_GET_INFO, 1, false);
  }
  for (const int request : {UVC_GET_MIN, UVC_GET_MAX, UVC_GET_RES, UVC_GET_DEF}) {
    ask(4, 9, static_cast<uint8_t>(request), 6, false);
    ask(4, 9, static_cast<uint8_t>(request), 2, false);
  }
  ask(4, 1, UVC_GET_LEN, 1, false);
  ask(4, 1, UVC_GET_CUR, 24, false);
  ask(4, 1, UVC_GET_CUR, 24, true);
  ask(4, 1, UVC_GET_CUR, 23, false);
  ask(4, 1, UVC_GET_CUR, 25, false);
  ask(4, 1, UVC_SET_CUR, 24, false);
  ask(4, 3, UVC_GET_CUR, 6, false);
  ask(4, 9, UVC_SET_CUR, 6, true);
  ask(4, 11, UVC_SET_CUR, 2, false);
  ask(4, 1, 0x55, 24, false);
  ask(3, 1, UVC_GET_CUR, 24, false);
  ask(1, 1, UVC_GET_CUR, 24, false);
}

void AskTheMetadataNode(const char* path) {
  const Node node(path);
  Print("metadata node: %s\n", node.isOpen() ? "OK" : NameOf(errno));
  v4l2_capability capability = {};
  if (node.Ask("QUERYCAP", VIDIOC_QUERYCAP, capability)) {
    Print("  %08x, %08x\n", capability.capabilities, capability.device_caps);
  }
  v4l2_format format = Format(V4L2_BUF_TYPE_VIDEO_CAPTURE, 80, 64, V4L2_PIX_FMT_YUYV);
  node.Ask("S_FMT", VIDIOC_S_FMT, format);
  v4l2_requestbuffers request = Buffers(2);
  node.Ask("REQBUFS", VIDIOC_REQBUFS, request);
  int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  node.Ask("STREAMON", VIDIOC_STREAMON, type);
  std::array<uint8_t, 24> data = {};
  uvc_xu_control_query transfer = {4, 1, UVC_GET_CUR, 24, data.data()};
  node.Ask("CTRL_QUERY", UVCIOC_CTRL_QUERY, transfer);
}

void ReadSysfs(const std::string& node) {
  const std::string directory = "/sys/class/video4linux/" + node.substr(node.rfind('/') + 1);
  for (const char* const file :
       {"/name", "/index", "/device/../idVendor", "/device/../idProduct", "/device/../bcdDevice",
        "/device/../product", "/device/../serial", "/device/../manufacturer"}) {
    std::ifstream stream(directory + file);
    std::string line;
    const bool there = static_cast<bool>(std::getline(stream, line));
    Print("%s: %s\n", file, there ? line.c_str() : "none");
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  ReadSysfs(argv[1]);
  const Node node(argv[1]);
  const Node other(argv[1]);
  if (!node.isOpen() || !other.isOpen()) {
    Print("open: %s\n", NameOf(errno));
    return 1;
  }
  AskWhatItIs(node);
  AskForFormats(node);
  Stream(node, other);
  AskTheUnit(node);
  if (argc > 2) AskTheMetadataNode(argv[2]);
  return 0;
}
