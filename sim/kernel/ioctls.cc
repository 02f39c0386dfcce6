// Which ioctl is it, and the log of all of them.
#include "sim/kernel/ioctls.h"

#include <cerrno>

#include "sim/kernel/calls.h"

namespace zosim::kernel {
namespace {

const char* NameOf(uint32_t request) {
  switch (request) {
    case VIDIOC_QUERYCAP:
      return "VIDIOC_QUERYCAP";
    case VIDIOC_ENUM_FMT:
      return "VIDIOC_ENUM_FMT";
    case VIDIOC_ENUM_FRAMESIZES:
      return "VIDIOC_ENUM_FRAMESIZES";
    case VIDIOC_ENUM_FRAMEINTERVALS:
      return "VIDIOC_ENUM_FRAMEINTERVALS";
    case VIDIOC_ENUMINPUT:
      return "VIDIOC_ENUMINPUT";
    case VIDIOC_G_INPUT:
      return "VIDIOC_G_INPUT";
    case VIDIOC_S_INPUT:
      return "VIDIOC_S_INPUT";
    case VIDIOC_G_FMT:
      return "VIDIOC_G_FMT";
    case VIDIOC_TRY_FMT:
      return "VIDIOC_TRY_FMT";
    case VIDIOC_S_FMT:
      return "VIDIOC_S_FMT";
    case VIDIOC_G_PARM:
      return "VIDIOC_G_PARM";
    case VIDIOC_S_PARM:
      return "VIDIOC_S_PARM";
    case VIDIOC_REQBUFS:
      return "VIDIOC_REQBUFS";
    case VIDIOC_QUERYBUF:
      return "VIDIOC_QUERYBUF";
    case VIDIOC_QBUF:
      return "VIDIOC_QBUF";
    case VIDIOC_DQBUF:
      return "VIDIOC_DQBUF";
    case VIDIOC_STREAMON:
      return "VIDIOC_STREAMON";
    case VIDIOC_STREAMOFF:
      return "VIDIOC_STREAMOFF";
    case VIDIOC_QUERYCTRL:
      return "VIDIOC_QUERYCTRL";
    case VIDIOC_G_CTRL:
      return "VIDIOC_G_CTRL";
    case VIDIOC_S_CTRL:
      return "VIDIOC_S_CTRL";
    case UVCIOC_CTRL_QUERY:
      return "UVCIOC_CTRL_QUERY";
    default:
      return nullptr;
  }
}

template <typename Argument, typename Handler>
int With(void* argument, const IoctlCall& call, Handler handler) {
  return handler(call, *static_cast<Argument*>(argument));
}

int Dispatch(const IoctlCall& call, uint32_t request, void* argument) {
  switch (request) {
    case VIDIOC_QUERYCAP:
      return With<v4l2_capability>(argument, call, QueryCapability);
    case VIDIOC_ENUM_FMT:
      return With<v4l2_fmtdesc>(argument, call, EnumerateFormat);
    case VIDIOC_ENUM_FRAMESIZES:
      return With<v4l2_frmsizeenum>(argument, call, EnumerateFrameSize);
    case VIDIOC_ENUM_FRAMEINTERVALS:
      return With<v4l2_frmivalenum>(argument, call, EnumerateInterval);
    case VIDIOC_ENUMINPUT:
      return With<v4l2_input>(argument, call, EnumerateInput);
    case VIDIOC_G_INPUT:
      *static_cast<int*>(argument) = 0;
      return 0;
    case VIDIOC_S_INPUT:
      return *static_cast<int*>(argument) == 0 ? 0 : EINVAL;
    case VIDIOC_G_FMT:
      return With<v4l2_format>(argument, call, GetFormat);
    case VIDIOC_TRY_FMT:
      return With<v4l2_format>(argument, call, TryFormat);
    case VIDIOC_S_FMT:
      return With<v4l2_format>(argument, call, SetFormat);
    case VIDIOC_G_PARM:
      return With<v4l2_streamparm>(argument, call, GetParm);
    case VIDIOC_S_PARM:
      return With<v4l2_streamparm>(argument, call, SetParm);
    case VIDIOC_REQBUFS:
      return With<v4l2_requestbuffers>(argument, call, RequestBuffers);
    case VIDIOC_QUERYBUF:
      return With<v4l2_buffer>(argument, call, QueryBuffer);
    case VIDIOC_QBUF:
      return With<v4l2_buffer>(argument, call, QueueBuffer);
    case VIDIOC_DQBUF:
      return With<v4l2_buffer>(argument, call, DequeueBuffer);
    case VIDIOC_STREAMON:
      return With<int>(argument, call, StreamOn);
    case VIDIOC_STREAMOFF:
      return With<int>(argument, call, StreamOff);
    case VIDIOC_QUERYCTRL:
    case VIDIOC_G_CTRL:
    case VIDIOC_S_CTRL:
      return EINVAL;  // it has no brightness, no contrast, nothing
    case UVCIOC_CTRL_QUERY:
      return With<uvc_xu_control_query>(argument, call, QueryExtensionUnit);
    default:
      return ENOTTY;
  }
}

}  // namespace

bool OwnsStream(const IoctlCall& call) { return call.attachment().owner == &call.file; }

int TakeStream(const IoctlCall& call) {
  Attachment& attachment = call.attachment();
  if (attachment.owner != nullptr && attachment.owner != &call.file) return EBUSY;
  attachment.owner = &call.file;
  return 0;
}

int Ioctl(int fd, unsigned long request, void* argument) {
  HostState& host = State();
  Lock lock(host.mutex);
  Advance(host);
  const auto found = host.files.find(fd);
  if (found == host.files.end()) return -EBADF;
  const std::shared_ptr<OpenFile> file = found->second;
  const auto code = static_cast<uint32_t>(request);  // callers that pass an int sign-extend it
  LogEntry entry;
  entry.call = code == UVCIOC_CTRL_QUERY ? Call::kTransfer : Call::kIoctl;
  entry.node = file->node->number;
  entry.fd = fd;
  entry.name = NameOf(code) != nullptr ? NameOf(code) : "ioctl " + std::to_string(code);
  if (!file->attachment->registered) {
    entry.error = ENODEV;
  } else if (NameOf(code) == nullptr) {
    entry.error = ENOTTY;
  } else if (argument == nullptr) {
    entry.error = EFAULT;
  } else {
    entry.error = Dispatch({host, lock, *file, entry}, code, argument);
  }
  const int error = entry.error;
  host.log.Add(std::move(entry));
  UpdateWakeups(host);
  return -error;
}

}  // namespace zosim::kernel
