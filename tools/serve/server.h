// The server: connections on one network thread, cameras on a control thread of their own, all that
// takes long on workers.
#ifndef ZOCAM_TOOLS_SERVE_SERVER_H
#define ZOCAM_TOOLS_SERVE_SERVER_H

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/thread_pool.hpp>
#include <chrono>
#include <functional>
#include <string>

#include "tools/serve/access.h"
#include "tools/serve/api.h"
#include "tools/serve/guest_book.h"
#include "tools/serve/recordings_folder.h"
#include "tools/serve/source_house.h"
#include "tools/serve/viewers.h"

namespace serve {

// How long a client may neither read nor write.
constexpr std::chrono::seconds kPatience{30};

struct ServerOptions {
  HouseOptions house;
  std::string address = "127.0.0.1";
  uint16_t port = 8470;  // 0: any that is free
  std::string token;
  std::string recordings = ".";
};

class Server {
 public:
  // Opens the sources and the port; throws ToolError.
  explicit Server(const ServerOptions& options);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // "http://127.0.0.1:8470/"
  std::string Address() const;
  // Serves until the function, asked a few times a second, says so.
  void Run(const std::function<bool()>& isOver);

  // For connections.
  AccessRules& access() { return access_; }
  SourceHouse& house() { return house_; }
  RecordingsFolder& recordings() { return recordings_; }
  Viewers& viewers() { return viewers_; }
  Api& api() { return api_; }
  boost::asio::io_context& network() { return network_; }
  boost::asio::thread_pool& workers() { return workers_; }
  GuestBook& guests() { return guests_; }

 private:
  void Accept();
  void Tick(const std::function<bool()>& isOver);

  // Ends all that holds anything of another thread's: nothing is left to do then.
  void WindUp();

  GuestBook guests_;
  boost::asio::io_context network_{1};
  AccessRules access_;
  RecordingsFolder recordings_;
  SourceHouse house_;
  boost::asio::thread_pool control_{1};
  boost::asio::thread_pool workers_{4};
  Viewers viewers_;
  Api api_;
  boost::asio::ip::tcp::acceptor acceptor_;
  boost::asio::steady_timer timer_;
  std::atomic<bool> looking_ = false;
};

}  // namespace serve

#endif
