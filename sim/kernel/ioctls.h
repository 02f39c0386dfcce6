// The ioctls of a video node, by subject. Each is called with the lock held and the log entry to
// complete, and gives 0 or a positive errno.
#pragma once

#include <linux/uvcvideo.h>
#include <linux/videodev2.h>

#include "sim/kernel/host_state.h"

namespace zosim::kernel {

// One ioctl on its way. `file` stays alive for the whole call, as in a real kernel.
struct IoctlCall {
  HostState& host;
  Lock& lock;
  OpenFile& file;
  LogEntry& entry;

  Attachment& attachment() const { return *file.attachment; }
  CameraState& camera() const { return *file.attachment->camera; }  // not of foreign nodes
  bool isCapture() const { return file.node->kind == NodeKind::kCapture; }
};

// The stream belongs to one descriptor at a time.
bool OwnsStream(const IoctlCall& call);
int TakeStream(const IoctlCall& call);  // EBUSY when another descriptor has it

// Questions without effect (v4l2_queries.cc).
int QueryCapability(const IoctlCall& call, v4l2_capability& capability);
int EnumerateFormat(const IoctlCall& call, v4l2_fmtdesc& description);
int EnumerateFrameSize(const IoctlCall& call, v4l2_frmsizeenum& size);
int EnumerateInterval(const IoctlCall& call, v4l2_frmivalenum& interval);
int EnumerateInput(const IoctlCall& call, v4l2_input& input);

// Format and rate (v4l2_format.cc).
int GetFormat(const IoctlCall& call, v4l2_format& format);
int TryFormat(const IoctlCall& call, v4l2_format& format);
int SetFormat(const IoctlCall& call, v4l2_format& format);
int GetParm(const IoctlCall& call, v4l2_streamparm& parm);
int SetParm(const IoctlCall& call, v4l2_streamparm& parm);

// Buffers and streaming (v4l2_buffers.cc, v4l2_streaming.cc).
int RequestBuffers(const IoctlCall& call, v4l2_requestbuffers& request);
int QueryBuffer(const IoctlCall& call, v4l2_buffer& buffer);
int QueueBuffer(const IoctlCall& call, v4l2_buffer& buffer);
int DequeueBuffer(const IoctlCall& call, v4l2_buffer& buffer);
int StreamOn(const IoctlCall& call, int type);
int StreamOff(const IoctlCall& call, int type);

// Extension unit (xu_query.cc).
int QueryExtensionUnit(const IoctlCall& call, uvc_xu_control_query& query);

}  // namespace zosim::kernel
