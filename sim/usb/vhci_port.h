// A place on the kernel's virtual host controller, and a device's connection to it.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zosim::usb {

class VhciPort {
 public:
  // Takes the lowest free port, on which the kernel then sees a high-speed device. Throws
  // std::runtime_error when there is no controller or no port is free.
  static std::unique_ptr<VhciPort> Attach();
  ~VhciPort();  // pulls the device out
  VhciPort(const VhciPort&) = delete;
  VhciPort& operator=(const VhciPort&) = delete;

  int socket() const { return socket_; }
  // The numbers of the video nodes that the kernel has for the device, lowest first.
  std::vector<int> VideoNodes() const;

 private:
  VhciPort(int port, int socket) : port_(port), socket_(socket) {}

  const int port_;
  const int socket_;
};

}  // namespace zosim::usb
