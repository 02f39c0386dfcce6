// One connection of a client: requests one after the other, until it becomes a stream of pictures
// or a viewer's WebSocket. Network thread only.
#ifndef ZOCAM_TOOLS_SERVE_CONNECTION_H
#define ZOCAM_TOOLS_SERVE_CONNECTION_H

#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <memory>
#include <optional>
#include <string>

#include "tools/serve/api.h"
#include "tools/serve/guest_book.h"

namespace serve {

class Server;

class Connection : public std::enable_shared_from_this<Connection> {
 public:
  static void Begin(Server& server, boost::asio::ip::tcp::socket socket);
  Connection(Server& server, boost::asio::ip::tcp::socket socket);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

 private:
  void Read();
  void Take(const boost::system::error_code& error);
  void Answer(Request request);
  void TurnAway();
  void Send(Reply reply);
  void Drain();
  void SendFile(const Reply& reply);
  template <typename Message>
  void Write(Message message);
  template <typename Outgoing>
  void WriteSome(std::shared_ptr<Outgoing> outgoing);
  bool BecomesStream(Request& request);

  Server& server_;
  boost::beast::tcp_stream stream_;
  boost::beast::flat_buffer buffer_;  // of a bounded size
  std::optional<boost::beast::http::request_parser<boost::beast::http::string_body>> parser_;
  Ticket ticket_;
  size_t drained_ = 0;
  bool keepAlive_ = false;
  bool headOnly_ = false;
  unsigned version_ = 11;
};

}  // namespace serve

#endif
