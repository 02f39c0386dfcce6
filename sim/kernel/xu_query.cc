// Extension-unit transfers through UVCIOC_CTRL_QUERY.
#include <linux/usb/video.h>

#include <algorithm>
#include <cerrno>
#include <thread>
#include <vector>

#include "sim/kernel/ioctls.h"

namespace zosim::kernel {
namespace {

const char* NameOf(uint8_t query) {
  switch (query) {
    case UVC_SET_CUR:
      return "SET_CUR";
    case UVC_GET_CUR:
      return "GET_CUR";
    case UVC_GET_MIN:
      return "GET_MIN";
    case UVC_GET_MAX:
      return "GET_MAX";
    case UVC_GET_RES:
      return "GET_RES";
    case UVC_GET_DEF:
      return "GET_DEF";
    case UVC_GET_LEN:
      return "GET_LEN";
    case UVC_GET_INFO:
      return "GET_INFO";
    default:
      return nullptr;
  }
}

// The driver's own checks, before anything reaches the camera.
int Check(const ControlInfo& control, const uvc_xu_control_query& query) {
  if (NameOf(query.query) == nullptr) return EINVAL;
  uint16_t size = control.size;
  if (query.query == UVC_GET_LEN) size = 2;
  if (query.query == UVC_GET_INFO) size = 1;
  if (query.size != size) return ENOBUFS;
  if (query.query == UVC_SET_CUR && !control.canSet) return EBADRQC;
  if (query.query == UVC_GET_CUR && !control.canGet) return EBADRQC;
  return query.query == UVC_SET_CUR && query.data == nullptr ? EFAULT : 0;
}

int ErrorOf(StallReason reason) {
  switch (reason) {
    case StallReason::kNone:
      return EPIPE;
    case StallReason::kNotReady:
      return EBUSY;
    case StallReason::kWrongState:
      return EILSEQ;
    case StallReason::kPower:
      return EREMOTE;
    case StallReason::kOutOfRange:
      return ERANGE;
    case StallReason::kInvalidValue:
      return EINVAL;
    default:
      return EIO;
  }
}

void Sleep(const IoctlCall& call, int ms) {
  if (ms <= 0) return;
  call.lock.unlock();
  std::this_thread::sleep_for(std::chrono::milliseconds(ms));
  call.lock.lock();
  Advance(call.host);
}

// The camera was asked to reconnect: it leaves its node after a while and comes back.
void ScheduleReconnect(HostState& host, const std::shared_ptr<CameraState>& camera) {
  Schedule(host, camera->timings.reconnectLeaveMs, [&host, camera] {
    if (camera->attachment == nullptr) return;
    Detach(host, *camera->attachment);
    if (camera->timings.reconnectReturnMs < 0) return;
    Schedule(host, camera->timings.reconnectReturnMs,
             [&host, camera] { PlugCamera(host, camera); });
  });
}

}  // namespace

int QueryExtensionUnit(const IoctlCall& call, uvc_xu_control_query& query) {
  LogEntry& entry = call.entry;
  entry.unit = query.unit;
  entry.selector = query.selector;
  entry.query = query.query;
  if (const char* name = NameOf(query.query)) entry.name = name;

  if (call.file.node->kind == NodeKind::kMetadata) return ENOTTY;
  if (!call.isCapture() || query.unit != kExtensionUnitId) return ENOENT;
  const auto control = ControlFor(query.selector);
  if (!control) return ENOENT;
  if (const int error = Check(*control, query)) return error;
  const bool sets = query.query == UVC_SET_CUR;
  std::vector<uint8_t> data;
  if (sets) data.assign(query.data, query.data + query.size);
  entry.bytes = data;
  const std::shared_ptr<CameraState> camera = call.attachment().camera;
  if (const int error = camera->faults.Take(Step::kTransfer, query.selector)) return error;

  RunHooks(call.lock, *camera, Moment::kBeforeTransfer, query.selector);
  Sleep(call, camera->timings.transferMs);
  // A transfer that is under way when its device goes ends differently from one begun too late.
  if (!call.attachment().registered) return ENOENT;
  const TransferResult result =
      camera->model.firmware().Transfer(query.query, query.selector, data);
  if (result.end == TransferResult::End::kNoAnswer) {
    Sleep(call, camera->timings.noAnswerMs);
    return call.attachment().registered ? ETIMEDOUT : ENOENT;
  }
  if (result.end == TransferResult::End::kStall) return ErrorOf(result.reason);
  // A camera that was asked has answered, whether or not the program has a place for it.
  if (!sets && query.data == nullptr) return EFAULT;
  if (!sets) std::ranges::copy(data, query.data);
  entry.bytes = data;
  if (camera->model.firmware().TakeReconnectRequest()) ScheduleReconnect(call.host, camera);
  RunHooks(call.lock, *camera, Moment::kAfterTransfer, query.selector);
  return 0;
}

}  // namespace zosim::kernel
