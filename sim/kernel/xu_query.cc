// Extension-unit transfers through UVCIOC_CTRL_QUERY.
#include <linux/usb/video.h>

#include <cerrno>
#include <span>
#include <thread>

#include "sim/kernel/ioctls.h"
#include "sim/model/wire.h"

namespace zosim::kernel {
namespace {

constexpr uint8_t kCanGet = 0x01;  // capability bits of GET_INFO
constexpr uint8_t kCanSet = 0x02;

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
  return query.data == nullptr ? EFAULT : 0;
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

TransferResult Transfer(Firmware& firmware, const ControlInfo& control,
                        const uvc_xu_control_query& query) {
  const std::span<uint8_t> data(query.data, query.size);
  switch (query.query) {
    case UVC_SET_CUR:
      return firmware.SetCurrent(query.selector, data);
    case UVC_GET_CUR:
      return firmware.GetCurrent(query.selector, data);
    case UVC_GET_LEN:
      PutLittle16(data, 0, control.size);
      return TransferResult::Done();
    case UVC_GET_INFO:
      data[0] =
          static_cast<uint8_t>((control.canGet ? kCanGet : 0) | (control.canSet ? kCanSet : 0));
      return TransferResult::Done();
    default:
      return TransferResult::Stall(StallReason::kInvalidRequest);
  }
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
  if (sets) entry.bytes.assign(query.data, query.data + query.size);
  const std::shared_ptr<CameraState> camera = call.attachment().camera;
  if (const int error = camera->faults.Take(Step::kTransfer, query.selector)) return error;

  RunHooks(call.lock, *camera, Moment::kBeforeTransfer, query.selector);
  Sleep(call, camera->timings.transferMs);
  // A transfer that is under way when its device goes ends differently from one begun too late.
  if (!call.attachment().registered) return ENOENT;
  const TransferResult result = Transfer(camera->model.firmware(), *control, query);
  if (result.end == TransferResult::End::kNoAnswer) {
    Sleep(call, camera->timings.noAnswerMs);
    return call.attachment().registered ? ETIMEDOUT : ENOENT;
  }
  if (result.end == TransferResult::End::kStall) return ErrorOf(result.reason);
  if (!sets) entry.bytes.assign(query.data, query.data + query.size);
  if (camera->model.firmware().TakeReconnectRequest()) ScheduleReconnect(call.host, camera);
  RunHooks(call.lock, *camera, Moment::kAfterTransfer, query.selector);
  return 0;
}

}  // namespace zosim::kernel
