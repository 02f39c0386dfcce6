// The way from a program in the guest to the emulated devices: a line there, an answer back.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace zosim::usb {

constexpr const char* kControlVariable = "ZOCAM_USB_CONTROL";  // path of the socket
constexpr const char* kDefaultControl = "/run/usb-cameras";

// The side of the devices.
class ControlServer {
 public:
  explicit ControlServer(const std::string& path);  // throws std::runtime_error
  ~ControlServer();
  ControlServer(const ControlServer&) = delete;
  ControlServer& operator=(const ControlServer&) = delete;

  int socket() const { return socket_; }
  // Serves one caller; the socket must be readable.
  void Serve(const std::function<std::string(std::string_view line)>& execute);

 private:
  const std::string path_;
  const int socket_;
};

// Sends a command and waits for the answer. Empty when nobody listens.
std::string AskDevices(const std::string& path, const std::string& line);

}  // namespace zosim::usb
