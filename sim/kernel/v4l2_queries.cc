// What a program can ask a node without changing anything.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "sim/kernel/ioctls.h"

namespace zosim::kernel {
namespace {

template <size_t kSize>
void CopyText(unsigned char (&field)[kSize], const std::string& text) {
  const size_t length = std::min(text.size(), kSize - 1);
  std::memcpy(field, text.data(), length);
  field[length] = 0;
}

template <size_t kSize, typename Byte>
void ClearReserved(Byte (&field)[kSize]) {
  std::memset(field, 0, sizeof field);
}

}  // namespace

int QueryCapability(const IoctlCall& call, v4l2_capability& capability) {
  const Attachment& attachment = call.attachment();
  std::memset(&capability, 0, sizeof capability);
  const auto product = attachment.sysfs.find("product");
  std::string card = product == attachment.sysfs.end() ? "UVC Camera" : product->second;
  card.erase(std::min(card.find('\n'), card.size()));
  CopyText(capability.driver, "uvcvideo");
  CopyText(capability.card, card);
  CopyText(capability.bus_info, "usb-0000:00:14.0-" + attachment.busPort);
  capability.version = 6 << 16 | 1 << 8 | 192;
  const bool isMetadata = call.file.node->kind == NodeKind::kMetadata;
  constexpr uint32_t kAlways = V4L2_CAP_STREAMING | V4L2_CAP_EXT_PIX_FORMAT;
  capability.device_caps = kAlways | (isMetadata ? V4L2_CAP_META_CAPTURE : V4L2_CAP_VIDEO_CAPTURE);
  capability.capabilities =
      kAlways | V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_META_CAPTURE | V4L2_CAP_DEVICE_CAPS;
  return 0;
}

int EnumerateFormat(const IoctlCall& call, v4l2_fmtdesc& description) {
  if (!call.isCapture() || description.type != V4L2_BUF_TYPE_VIDEO_CAPTURE ||
      description.index != 0) {
    return EINVAL;
  }
  std::memset(&description, 0, sizeof description);
  description.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  CopyText(description.description, "YUYV 4:2:2");
  description.pixelformat = V4L2_PIX_FMT_YUYV;
  return 0;
}

int EnumerateFrameSize(const IoctlCall& call, v4l2_frmsizeenum& size) {
  if (!call.isCapture() || size.index != 0 || size.pixel_format != V4L2_PIX_FMT_YUYV) {
    return EINVAL;
  }
  const ProductModel& product = call.camera().model.product();
  size.type = V4L2_FRMSIZE_TYPE_DISCRETE;
  size.discrete.width = product.width;
  size.discrete.height = product.Lines();
  ClearReserved(size.reserved);
  return 0;
}

int EnumerateInterval(const IoctlCall& call, v4l2_frmivalenum& interval) {
  if (!call.isCapture()) return EINVAL;
  const ProductModel& product = call.camera().model.product();
  const auto offered = OfferedIntervals(product);
  if (interval.index >= offered.size() || interval.pixel_format != V4L2_PIX_FMT_YUYV ||
      interval.width != product.width || interval.height != product.Lines()) {
    return EINVAL;
  }
  interval.type = V4L2_FRMIVAL_TYPE_DISCRETE;
  interval.discrete.numerator = offered[interval.index].numerator;
  interval.discrete.denominator = offered[interval.index].denominator;
  ClearReserved(interval.reserved);
  return 0;
}

int EnumerateInput(const IoctlCall&, v4l2_input& input) {
  if (input.index != 0) return EINVAL;
  std::memset(&input, 0, sizeof input);
  CopyText(input.name, "Input 1");
  input.type = V4L2_INPUT_TYPE_CAMERA;
  return 0;
}

}  // namespace zosim::kernel
