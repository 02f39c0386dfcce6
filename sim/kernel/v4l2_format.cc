// Format and frame rate. A camera has one format; the driver puts it in place of whatever it is
// asked for.
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>

#include "sim/kernel/ioctls.h"

namespace zosim::kernel {
namespace {

bool IsCapture(const IoctlCall& call, uint32_t type) {
  return call.isCapture() && type == V4L2_BUF_TYPE_VIDEO_CAPTURE;
}

void FillFormat(const ProductModel& product, v4l2_format& format) {
  std::memset(&format.fmt, 0, sizeof format.fmt);
  v4l2_pix_format& pix = format.fmt.pix;
  pix.width = product.width;
  pix.height = product.Lines();
  pix.pixelformat = V4L2_PIX_FMT_YUYV;
  pix.field = V4L2_FIELD_NONE;
  pix.bytesperline = product.RowBytes();
  pix.sizeimage = product.FrameBytes();
  pix.colorspace = V4L2_COLORSPACE_SRGB;
}

void FillParm(const FrameInterval& interval, v4l2_streamparm& parm) {
  std::memset(&parm.parm, 0, sizeof parm.parm);
  parm.parm.capture.capability = V4L2_CAP_TIMEPERFRAME;
  parm.parm.capture.timeperframe = {interval.numerator, interval.denominator};
}

// Distance of a wanted time per frame from an offered one; x/0 is endless, 0/x is none at all.
double Distance(const v4l2_fract& wanted, const FrameInterval& offered) {
  constexpr double kEndless = 1e9;
  const double seconds = wanted.denominator == 0
                             ? kEndless
                             : static_cast<double>(wanted.numerator) / wanted.denominator;
  return std::abs(seconds - static_cast<double>(offered.numerator) / offered.denominator);
}

FrameInterval NearestInterval(const std::vector<FrameInterval>& offered, const v4l2_fract& wanted) {
  return std::ranges::min(
      offered, {}, [&](const FrameInterval& interval) { return Distance(wanted, interval); });
}

}  // namespace

int GetFormat(const IoctlCall& call, v4l2_format& format) {
  if (!IsCapture(call, format.type)) return EINVAL;
  FillFormat(call.camera().model.product(), format);
  return 0;
}

int TryFormat(const IoctlCall& call, v4l2_format& format) { return GetFormat(call, format); }

int SetFormat(const IoctlCall& call, v4l2_format& format) {
  call.entry.arguments = {format.fmt.pix.width, format.fmt.pix.height};
  if (!IsCapture(call, format.type)) return EINVAL;
  if (const int error = call.camera().faults.Take(Step::kSetFormat)) return error;
  if (const int error = TakeStream(call)) return error;
  if (!call.attachment().queue.slots().empty()) return EBUSY;
  FillFormat(call.camera().model.product(), format);
  return 0;
}

int GetParm(const IoctlCall& call, v4l2_streamparm& parm) {
  if (!IsCapture(call, parm.type)) return EINVAL;
  FillParm(call.attachment().interval, parm);
  return 0;
}

int SetParm(const IoctlCall& call, v4l2_streamparm& parm) {
  const v4l2_fract wanted = parm.parm.capture.timeperframe;
  call.entry.arguments = {wanted.numerator, wanted.denominator};
  if (!IsCapture(call, parm.type)) return EINVAL;
  if (const int error = call.camera().faults.Take(Step::kSetParm)) return error;
  if (const int error = TakeStream(call)) return error;
  if (call.attachment().queue.streaming()) return EBUSY;
  FrameInterval& interval = call.attachment().interval;
  interval = NearestInterval(OfferedIntervals(call.camera().model.product()), wanted);
  FillParm(interval, parm);
  return 0;
}

}  // namespace zosim::kernel
