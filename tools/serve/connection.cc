#include "tools/serve/connection.h"

#include <fcntl.h>

#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/websocket.hpp>
#include <cerrno>
#include <chrono>
#include <utility>

#include "tools/advice.h"
#include "tools/serve/frame_socket.h"
#include "tools/serve/picture_stream.h"
#include "tools/serve/server.h"

namespace serve {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using namespace std::chrono_literals;

constexpr uint64_t kMostBodyBytes = 65536;
constexpr uint32_t kMostHeaderBytes = 16384;
constexpr size_t kMostBufferBytes = kMostHeaderBytes + size_t{kMostBodyBytes};
// After an answer that was the last: the client's rest is read, or the answer may be lost with it.
constexpr auto kFarewell = 2s;
constexpr size_t kMostDrainedBytes = 1 << 20;

std::string_view View(beast::string_view text) { return {text.data(), text.size()}; }

Reply Refuse(Verdict verdict) {
  switch (verdict) {
    case Verdict::kForeignHost:
      return ErrorReply(Status::forbidden,
                        "this server is for its own machine: ask for localhost, or start it with "
                        "--token for other names");
    case Verdict::kForeignOrigin:
      return ErrorReply(Status::forbidden, "another site's page must not ask this server");
    case Verdict::kNoToken:
      return ErrorReply(Status::unauthorized, "this server needs its token");
    default:
      return ErrorReply(Status::unauthorized, "the token is wrong");
  }
}

}  // namespace

void Connection::Begin(Server& server, asio::ip::tcp::socket socket) {
  boost::system::error_code ignored;
  socket.set_option(asio::ip::tcp::no_delay(true), ignored);
  const auto connection = std::make_shared<Connection>(server, std::move(socket));
  connection->ticket_ = server.guests().Enter();
  // A crowd beyond the bound is not even read.
  if (!connection->ticket_) return connection->TurnAway();
  connection->ticket_->close = [weak = std::weak_ptr(connection)] {
    if (const auto self = weak.lock()) self->stream_.close();
  };
  connection->Read();
}

void Connection::TurnAway() {
  static constexpr std::string_view kAnswer =
      "HTTP/1.1 429 Too Many Requests\r\nServer: zocam\r\nContent-Type: application/json\r\n"
      "Connection: close\r\n\r\n"
      "{\"error\":\"too many connections; close some, or try again later\"}\n";
  boost::system::error_code ignored;
  stream_.socket().non_blocking(true, ignored);
  stream_.socket().write_some(asio::buffer(kAnswer), ignored);
  stream_.socket().shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
}

Connection::Connection(Server& server, asio::ip::tcp::socket socket)
    : server_(server), stream_(std::move(socket)), buffer_(kMostBufferBytes) {}

void Connection::Read() {
  parser_.emplace();
  parser_->body_limit(kMostBodyBytes);
  parser_->header_limit(kMostHeaderBytes);
  stream_.expires_after(kPatience);
  http::async_read(stream_, buffer_, *parser_,
                   [self = shared_from_this()](const boost::system::error_code& error, size_t) {
                     self->Take(error);
                   });
}

void Connection::Take(const boost::system::error_code& error) {
  keepAlive_ = false;
  headOnly_ = false;
  if (error == http::error::body_limit)
    return Send(ErrorReply(Status::payload_too_large, "the request is too long"));
  if (error == http::error::header_limit)
    return Send(ErrorReply(Status::request_header_fields_too_large, "the request is too long"));
  // What is no request is not worth an answer.
  if (error) return;
  Answer(parser_->release());
}

void Connection::Answer(Request request) {
  keepAlive_ = request.keep_alive();
  headOnly_ = request.method() == Verb::head;
  version_ = request.version();
  const std::string target(View(request.target()));
  const std::string queryToken = QueryValue(target, "token");
  const Credentials credentials{View(request[http::field::host]),
                                View(request[http::field::origin]),
                                View(request[http::field::authorization]),
                                View(request[http::field::cookie]),
                                queryToken,
                                View(request["Sec-Fetch-Site"])};
  const std::string path = PathOf(target);
  ApiPath parts;
  const bool isOpen =
      (!SplitApiPath(path, &parts) && path != "/stream.mjpg") || parts.kind == "login";
  const Verdict verdict =
      isOpen ? server_.access().JudgeOrigin(credentials) : server_.access().Judge(credentials);
  if (verdict != Verdict::kAllowed) return Send(Refuse(verdict));
  if (BecomesStream(request)) return;
  // The reply comes from any thread.
  server_.api().Handle(request, [self = shared_from_this()](Reply reply) {
    asio::dispatch(self->stream_.get_executor(),
                   [self, reply = std::move(reply)]() mutable { self->Send(std::move(reply)); });
  });
}

// True when the connection is another's from now on, or was answered.
bool Connection::BecomesStream(Request& request) {
  const std::string target(View(request.target()));
  const std::string path = PathOf(target);
  ApiPath parts;
  const bool isApi = SplitApiPath(path, &parts);
  try {
    if (path == "/stream.mjpg") {
      if (request.method() != Verb::get) {
        Send(ErrorReply(Status::method_not_allowed, "only GET is possible here"));
        return true;
      }
      const std::string source = QueryValue(target, "source");
      CameraStation* const camera = server_.house().Camera(source);
      if (camera == nullptr) {
        Send(ErrorReply(Status::not_found,
                        "there is no camera \"" + source + "\"; name one with ?source=ID"));
      } else {
        PictureStream::Begin(server_, std::move(stream_), *camera, StyleOf(target),
                             std::move(ticket_));
      }
      return true;
    }
    if (!isApi || parts.rest != "frames") return false;
    if (!beast::websocket::is_upgrade(request)) {
      Send(ErrorReply(Status::upgrade_required, "frames come over a WebSocket"));
      return true;
    }
    std::optional<std::string> film;
    if (parts.kind == "recordings") {
      if (const auto file = server_.recordings().PathOf(parts.name)) film = file->string();
    } else if (parts.kind == "sources") {
      film = server_.house().Film(parts.name);
    }
    const bool isCamera = parts.kind == "sources" && server_.house().Camera(parts.name) != nullptr;
    if (!film && !isCamera) {
      Send(ErrorReply(Status::not_found, "there is no such source"));
    } else {
      FrameSocket::Begin(server_, std::move(stream_), std::move(request), parts.name,
                         film.value_or(""), std::move(ticket_));
    }
  } catch (const std::exception& error) {
    Send(ErrorReply(Status::bad_request, error.what()));
  }
  return true;
}

// Piece by piece: a recording is long, and a client has its time for each piece.
template <typename Message>
void Connection::Write(Message message) {
  struct Outgoing {
    explicit Outgoing(Message whole) : message(std::move(whole)), pieces(message) {}
    Message message;
    typename http::serializer<false, typename Message::body_type> pieces;
  };
  WriteSome(std::make_shared<Outgoing>(std::move(message)));
}

template <typename Outgoing>
void Connection::WriteSome(std::shared_ptr<Outgoing> outgoing) {
  stream_.expires_after(kPatience);
  http::async_write_some(
      stream_, outgoing->pieces,
      [self = shared_from_this(), outgoing](const boost::system::error_code& error, size_t) {
        if (error) return;
        if (!outgoing->pieces.is_done()) return self->WriteSome(outgoing);
        if (self->keepAlive_) return self->Read();
        boost::system::error_code ignored;
        self->stream_.socket().shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
        self->stream_.expires_after(kFarewell);
        self->Drain();
      });
}

void Connection::Drain() {
  buffer_.clear();
  stream_.async_read_some(buffer_.prepare(kMostBufferBytes),
                          [self = shared_from_this()](const auto& error, size_t bytes) {
                            self->drained_ += bytes;
                            if (!error && self->drained_ < kMostDrainedBytes) self->Drain();
                          });
}

namespace {

template <typename Message>
void Decorate(Message& message, const Reply& reply, bool keepAlive) {
  message.set(http::field::server, "zocam");
  message.set(http::field::content_type, reply.type);
  message.set(http::field::cache_control, "no-store");
  message.set("X-Content-Type-Options", "nosniff");
  message.set("Referrer-Policy", "no-referrer");
  message.set("Cross-Origin-Resource-Policy", "same-origin");
  message.set("Content-Security-Policy",
              "default-src 'self'; img-src 'self' blob: data:; connect-src 'self' ws: wss:; "
              "frame-ancestors 'none'");
  if (!reply.saveAs.empty()) {
    message.set(http::field::content_disposition, "inline; filename=\"" + reply.saveAs + "\"");
  }
  if (!reply.cookie.empty()) message.set(http::field::set_cookie, reply.cookie);
  message.keep_alive(keepAlive);
}

}  // namespace

void Connection::SendFile(const Reply& reply) {
  http::response<http::file_body> message{reply.status, version_};
  boost::system::error_code error;
  // Not through a link that stands there since the name was checked, nor waiting for a pipe.
  beast::file file;
  file.native_handle(
      ::open(reply.file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));  // NOLINT
  if (file.native_handle() < 0) {
    error.assign(errno, boost::system::system_category());
  } else {
    message.body().reset(std::move(file), error);
  }
  if (error) return Send(ErrorReply(Status::not_found, "cannot read it: " + error.message()));
  Decorate(message, reply, keepAlive_);
  message.set(http::field::content_disposition,
              "attachment; filename=\"" + reply.file.filename().string() + "\"");
  message.prepare_payload();
  Write(std::move(message));
}

void Connection::Send(Reply reply) {
  if (!reply.file.empty() && !headOnly_) return SendFile(reply);
  http::response<http::string_body> message{reply.status, version_};
  Decorate(message, reply, keepAlive_);
  const size_t length = reply.body.size();
  if (!headOnly_) message.body() = std::move(reply.body);
  message.prepare_payload();
  if (headOnly_) message.content_length(length);
  Write(std::move(message));
}

}  // namespace serve
