#include "sim/usb/control_socket.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace zosim::usb {
namespace {

sockaddr_un AddressOf(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::copy_n(path.begin(), std::min(path.size(), sizeof address.sun_path - 1), address.sun_path);
  return address;
}

// Like every socket function, which take the address without its family.
const sockaddr* Generic(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

int Listen(const std::string& path) {
  unlink(path.c_str());
  const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const sockaddr_un address = AddressOf(path);
  constexpr int kWaiting = 8;
  if (socket < 0 || bind(socket, Generic(address), sizeof address) != 0 ||
      listen(socket, kWaiting) != 0) {
    throw std::runtime_error("cannot listen at " + path + ": " + std::strerror(errno));
  }
  return socket;
}

// Everything until the other side has finished.
std::string ReadAll(int socket) {
  std::string text;
  std::array<char, 4096> part;
  for (;;) {
    const ssize_t count = recv(socket, part.data(), part.size(), 0);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return text;
    text.append(part.data(), static_cast<size_t>(count));
  }
}

void WriteAll(int socket, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = send(socket, text.data(), text.size(), MSG_NOSIGNAL);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return;
    text.remove_prefix(static_cast<size_t>(count));
  }
}

}  // namespace

ControlServer::ControlServer(const std::string& path) : path_(path), socket_(Listen(path)) {}

ControlServer::~ControlServer() {
  close(socket_);
  unlink(path_.c_str());
}

void ControlServer::Serve(const std::function<std::string(std::string_view line)>& execute) {
  const int caller = accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC);
  if (caller < 0) return;
  WriteAll(caller, execute(ReadAll(caller)));
  close(caller);
}

std::string AskDevices(const std::string& path, const std::string& line) {
  const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (socket < 0) return {};
  std::string answer;
  const sockaddr_un address = AddressOf(path);
  if (connect(socket, Generic(address), sizeof address) == 0) {
    WriteAll(socket, line);
    shutdown(socket, SHUT_WR);
    answer = ReadAll(socket);
  }
  close(socket);
  return answer;
}

}  // namespace zosim::usb
