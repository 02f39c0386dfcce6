#include "capture/v4l2_requests.h"

#include <poll.h>
#include <sys/mman.h>

#include <cerrno>

#include "device/connection.h"

namespace v4l2 {

int SetFormat(int fd, uint32_t width, uint32_t lines) {
  v4l2_format format{};
  format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  format.fmt.pix.width = width;
  format.fmt.pix.height = lines;
  format.fmt.pix.pixelformat = V4L2_PIX_FMT_YUYV;
  return ZoLib_Priv_ioctl(fd, VIDIOC_S_FMT, &format);
}

int SetFrameInterval(int fd, uint32_t numerator, uint32_t denominator) {
  v4l2_streamparm parameters{};
  parameters.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  parameters.parm.capture.timeperframe = {numerator, denominator};
  return ZoLib_Priv_ioctl(fd, VIDIOC_S_PARM, &parameters);
}

int RequestBuffers(int fd, uint32_t count, uint32_t* granted) {
  v4l2_requestbuffers request{};
  request.count = count;
  request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  request.memory = V4L2_MEMORY_MMAP;
  const int error = ZoLib_Priv_ioctl(fd, VIDIOC_REQBUFS, &request);
  *granted = error == 0 ? request.count : 0;
  return error;
}

v4l2_buffer BufferAt(uint32_t index) {
  v4l2_buffer buffer{};
  buffer.index = index;
  buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  buffer.memory = V4L2_MEMORY_MMAP;
  return buffer;
}

int QueryBuffer(int fd, uint32_t index, v4l2_buffer* buffer) {
  *buffer = BufferAt(index);
  return ZoLib_Priv_ioctl(fd, VIDIOC_QUERYBUF, buffer);
}

int MapBuffer(int fd, const v4l2_buffer& buffer, CaptureBuffer* mapped) {
  errno = 0;
  void* address = mmap(nullptr, buffer.length, PROT_READ | PROT_WRITE, MAP_SHARED, fd,
                       static_cast<off_t>(buffer.m.offset));
  if (address == MAP_FAILED) return errno;
  *mapped = {address, buffer.length};
  return 0;
}

void UnmapBuffer(const CaptureBuffer& mapped) { munmap(mapped.address, mapped.length); }

int QueueBuffer(int fd, v4l2_buffer* buffer) { return ZoLib_Priv_ioctl(fd, VIDIOC_QBUF, buffer); }

int DequeueBuffer(int fd, v4l2_buffer* buffer) {
  return ZoLib_Priv_ioctl(fd, VIDIOC_DQBUF, buffer);
}

int StreamOn(int fd) {
  int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  return ZoLib_Priv_ioctl(fd, VIDIOC_STREAMON, &type);
}

int StreamOff(int fd) {
  int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  return ZoLib_Priv_ioctl(fd, VIDIOC_STREAMOFF, &type);
}

int PollFrame(int fd, int timeoutMs, short* readyEvents) {
  pollfd entry{fd, POLLIN | POLLERR, 0};
  errno = 0;
  const int ready = poll(&entry, 1, timeoutMs);
  *readyEvents = ready > 0 ? entry.revents : short{0};
  return ready < 0 ? errno : 0;
}

}  // namespace v4l2
