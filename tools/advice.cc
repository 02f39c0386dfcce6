#include "tools/advice.h"

#include <cerrno>
#include <system_error>

namespace {

std::string AdviceOnErrno(int error) {
  switch (error) {
    case EACCES:
    case EPERM:
      return "add yourself to group video (sudo usermod -aG video $USER, then log in again) or "
             "install the udev rule";
    case EBUSY:
      return "another program is using the camera (fuser -v /dev/video* names it): end that first";
    case ENODEV:
    case ENOENT:
    case ENXIO:
      return "the camera was unplugged or is restarting: look with zocam list";
    case ENOTTY:
      return "this is not the camera's picture node: look with zocam list";
    case ETIMEDOUT:
    case EIO:
    case EPIPE:
    case EPROTO:
      return "unplug the camera, plug it in again, and try another port or cable";
    case ENOSPC:
      return "the USB bus has no bandwidth left: use another port, not behind a shared hub";
    default:
      return "";
  }
}

}  // namespace

std::string Advice(const zocam::Error& error) {
  switch (error.Status()) {
    case ZO_STATUS_V4L2_ERROR:
      // Without an errno the node opened and the identity could not be read.
      if (error.HostErrno() == 0)
        return "the camera does not answer: unplug it and plug it in again";
      return AdviceOnErrno(error.HostErrno());
    case ZO_STATUS_DEVICE_UNSUPPORTED:
      return "its firmware is older than 1.00: update the camera";
    case ZO_STATUS_DEVICE_NOT_FOUND:
      return "zocam list shows the cameras that are there";
    case ZO_STATUS_DEVICE_NOT_READY:
      return "plug it in again, or wait until it has restarted";
    case ZO_STATUS_INVALID_FILE_FORMAT:
      return "zocam check tells what is wrong with the file, and can save what is intact";
    case ZO_STATUS_MODEL_UNSUPPORTED:
      return "zocam info shows the model";
    default:
      return "";
  }
}

std::string WithAdvice(const std::string& message, const std::string& advice) {
  return advice.empty() ? message : message + "; " + advice;
}

std::string ErrnoText(int error) { return std::generic_category().message(error); }
