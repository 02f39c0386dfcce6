/**
 * @file error.hpp
 * The exception of the C++ interface; comes with zocam.hpp.
 */
#ifndef ZOCAM_ERROR_HPP
#define ZOCAM_ERROR_HPP

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>

#include "zocam/zocam.h"

namespace zocam {

/**
 * A failed operation. what() reads "cannot open /dev/video2: Permission denied (status 13)": what
 * failed and on what, the reason, the status of zocam.h.
 */
class Error : public std::runtime_error {
 public:
  /** @param action what failed, on what. @param detail the errno of status 13 and 23, the camera's
   * code of status 10 and 11, 0 when there is none. */
  Error(ZoStatus status, const std::string& action, int32_t detail = 0)
      : Error(status, action, detail, ReasonText(status, detail)) {}

  /** The status of zocam.h. */
  ZoStatus Status() const noexcept { return status_; }

  /** The reason alone, e.g. "Permission denied". */
  const std::string& Reason() const noexcept { return *reason_; }

  /** The errno of the operating-system call that failed, 0 if the failure was another one. */
  int HostErrno() const noexcept { return IsHostError(status_) ? detail_ : 0; }

 private:
  Error(ZoStatus status, const std::string& action, int32_t detail, const std::string& reason)
      : std::runtime_error(action + ": " + reason + " (status " + std::to_string(status) + ")"),
        status_(status),
        detail_(detail),
        reason_(std::make_shared<const std::string>(reason)) {}

  static bool IsHostError(ZoStatus status) noexcept {
    return status == ZO_STATUS_V4L2_ERROR || status == ZO_STATUS_FILE_IO_ERROR;
  }

  static std::string ReasonText(ZoStatus status, int32_t detail) {
    if (IsHostError(status) && detail != 0) return std::generic_category().message(detail);
    if (status == ZO_STATUS_MODEL_UNSUPPORTED) return "not available on this camera model";
    std::string text = ZoLib_GetErrorMessage(status);
    if (status == ZO_STATUS_FIRMWARE_ERROR || status == ZO_STATUS_SENSOR_ERROR)
      text.append(" ").append(std::to_string(detail));
    return text;
  }

  ZoStatus status_;
  int32_t detail_;
  std::shared_ptr<const std::string> reason_;  // shared: copying an exception must not throw
};

}  // namespace zocam

#endif /* ZOCAM_ERROR_HPP */
