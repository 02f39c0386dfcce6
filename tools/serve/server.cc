#include "tools/serve/server.h"

#include <boost/asio/post.hpp>
#include <chrono>
#include <memory>

#include "tools/advice.h"
#include "tools/serve/connection.h"

namespace serve {
namespace {

using namespace std::chrono_literals;
namespace asio = boost::asio;
using Tcp = asio::ip::tcp;

constexpr auto kTick = 250ms;

Tcp::acceptor Listen(asio::io_context& network, const ServerOptions& options) {
  const std::string place = options.address + ":" + std::to_string(options.port);
  if (options.token.empty() && !IsLoopback(options.address))
    throw ToolError("cannot listen on " + place +
                    ": other machines reach it, so it needs a --token, which viewers then give");
  try {
    const Tcp::endpoint endpoint(
        asio::ip::make_address(options.address == "localhost" ? "127.0.0.1" : options.address),
        options.port);
    return Tcp::acceptor(network, endpoint);
  } catch (const boost::system::system_error& error) {
    throw ToolError("cannot listen on " + place + ": " + error.code().message() +
                    "; choose another address or port with --listen");
  }
}

}  // namespace

Server::Server(const ServerOptions& options)
    : access_(options.token),
      recordings_(options.recordings),
      house_(options.house,
             [this](const std::string& id) {
               asio::post(network_, [this, id] { viewers_.Distribute(id); });
             }),
      viewers_(house_),
      api_(access_, house_, recordings_, control_, workers_),
      acceptor_(Listen(network_, options)),
      timer_(network_) {}

Server::~Server() { WindUp(); }

void Server::WindUp() {
  boost::system::error_code ignored;
  acceptor_.close(ignored);
  timer_.cancel();
  guests_.CloseAll();
  network_.restart();
  network_.poll();
  // Cameras end on their own thread, which ends behind them. What waits for a picture gets none.
  asio::post(control_, [this] { house_.EndAll(); });
  control_.join();
  network_.poll();
  workers_.join();
  network_.poll();
}

std::string Server::Address() const {
  const Tcp::endpoint endpoint = acceptor_.local_endpoint();
  const std::string host = endpoint.address().to_string();
  return "http://" + (endpoint.address().is_v6() ? "[" + host + "]" : host) + ":" +
         std::to_string(endpoint.port()) + "/";
}

void Server::Accept() {
  acceptor_.async_accept([this](const boost::system::error_code& error, Tcp::socket socket) {
    if (error == asio::error::operation_aborted) return;
    // Out of descriptors, for example: there may be some again.
    if (error) {
      auto pause = std::make_shared<asio::steady_timer>(network_, kTick);
      pause->async_wait([this, pause](const boost::system::error_code&) { Accept(); });
      return;
    }
    Connection::Begin(*this, std::move(socket));
    Accept();
  });
}

void Server::Tick(const std::function<bool()>& isOver) {
  if (isOver()) return network_.stop();
  viewers_.TellStates();
  if (!looking_.exchange(true)) {
    asio::post(control_, [this] {
      try {
        house_.Look();
      } catch (const std::exception&) {
        // The next look may do better; recordings and viewers go on.
      }
      looking_ = false;
    });
  }
  timer_.expires_after(kTick);
  timer_.async_wait([this, &isOver](const boost::system::error_code& error) {
    if (!error) Tick(isOver);
  });
}

void Server::Run(const std::function<bool()>& isOver) {
  Accept();
  Tick(isOver);
  network_.run();
}

}  // namespace serve
