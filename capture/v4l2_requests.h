// The V4L2 requests of a stream, one system call per function. Each returns the errno, 0 on
// success, and decides nothing.
#ifndef ZOCAM_CAPTURE_V4L2_REQUESTS_H
#define ZOCAM_CAPTURE_V4L2_REQUESTS_H

#include <linux/videodev2.h>

#include <cstdint>

#include "core/device_record.h"

namespace v4l2 {

// What the driver writes back is not looked at: it substitutes freely and fails never.
int SetFormat(int fd, uint32_t width, uint32_t lines);
int SetFrameInterval(int fd, uint32_t numerator, uint32_t denominator);

// 0 buffers gives all back.
int RequestBuffers(int fd, uint32_t count, uint32_t* granted);
int QueryBuffer(int fd, uint32_t index, v4l2_buffer* buffer);
int MapBuffer(int fd, const v4l2_buffer& buffer, CaptureBuffer* mapped);
void UnmapBuffer(const CaptureBuffer& mapped);

int QueueBuffer(int fd, v4l2_buffer* buffer);
int DequeueBuffer(int fd, v4l2_buffer* buffer);
int StreamOn(int fd);
int StreamOff(int fd);

// A buffer structure that names one driver buffer, or none yet.
v4l2_buffer BufferAt(uint32_t index);

// Waits for a frame or an error. readyEvents is 0 after the time-out.
int PollFrame(int fd, int timeoutMs, short* readyEvents);

}  // namespace v4l2

#endif
