#include "tools/serve/frame_socket.h"

#include <boost/asio/bind_executor.hpp>
#include <boost/asio/post.hpp>
#include <utility>

#include "tools/serve/server.h"

namespace serve {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;

constexpr size_t kMostIncomingBytes = 4096;

}  // namespace

void FrameSocket::Begin(Server& server, beast::tcp_stream stream, Request request,
                        const std::string& source, const std::string& film, Ticket ticket) {
  const auto self =
      std::make_shared<FrameSocket>(server, std::move(stream), source, film, std::move(ticket));
  self->ticket_->close = [weak = std::weak_ptr(self)] {
    if (const auto open = weak.lock()) beast::get_lowest_layer(open->socket_).close();
  };
  self->Accept(std::move(request));
}

FrameSocket::FrameSocket(Server& server, beast::tcp_stream stream, std::string source,
                         std::string film, Ticket ticket)
    : server_(server),
      socket_(std::move(stream)),
      source_(std::move(source)),
      film_(std::move(film)),
      ticket_(std::move(ticket)),
      strand_(asio::make_strand(server.workers())) {}

void FrameSocket::Accept(Request request) {
  // The WebSocket has time-outs of its own, and asks a silent client whether it is still there.
  beast::get_lowest_layer(socket_).expires_never();
  socket_.set_option(websocket::stream_base::timeout::suggested(beast::role_type::server));
  socket_.read_message_max(kMostIncomingBytes);
  const auto kept = std::make_shared<Request>(std::move(request));
  socket_.async_accept(*kept,
                       [self = shared_from_this(), kept](const boost::system::error_code& error) {
                         if (!error) self->Join();
                       });
}

void FrameSocket::Join() {
  isOpen_ = true;
  Read();
  if (film_.empty()) {
    server_.viewers().Add(source_, *this);
  } else {
    asio::post(strand_, [self = shared_from_this()] { self->StartFilm(); });
  }
}

// On the strand. The player keeps the socket no longer than it plays, and the other way round.
void FrameSocket::StartFilm() {
  const std::weak_ptr<FrameSocket> weak = weak_from_this();
  const auto tell = [weak, &network = server_.network()](auto how, const Json& json) {
    std::string text = json.dump(-1, ' ', false, Json::error_handler_t::replace);
    asio::post(network, [weak, how, text = std::move(text)] {
      if (const auto self = weak.lock()) (*self.*how)(text);
    });
  };
  if (isOver_) return;
  Json state;
  try {
    player_ = std::make_shared<FilmPlayer>(asio::any_io_executor(strand_), film_);
    state = player_->Describe();
  } catch (const std::exception& error) {
    player_.reset();
    tell(&FrameSocket::Tell, {{"type", "state"}, {"state", "failed"}, {"message", error.what()}});
    return;
  }
  state.update({{"type", "state"}, {"id", source_}, {"state", "live"}, {"message", ""}});
  tell(&FrameSocket::Tell, state);
  player_->Start(
      [weak, &network = server_.network()](FramePtr frame) {
        asio::post(network, [weak, frame = std::move(frame)] {
          if (const auto self = weak.lock()) self->Offer(frame);
        });
      },
      [tell](const Json& playback) { tell(&FrameSocket::TellPlayback, playback); });
}

void FrameSocket::Read() {
  socket_.async_read(incoming_,
                     [self = shared_from_this()](const boost::system::error_code& error, size_t) {
                       error ? self->End() : self->Obey();
                     });
}

// The next message is read when this one was obeyed: who sends them faster than they can be obeyed
// is held up, and nobody else.
void FrameSocket::Obey() {
  const std::string text = beast::buffers_to_string(incoming_.data());
  incoming_.clear();
  Json wish = film_.empty() ? Json() : ParseJson(text);
  if (!wish.is_object()) return Read();
  asio::post(strand_, [self = shared_from_this(), wish = std::move(wish)] {
    if (self->isOver_) return;
    if (self->player_) self->player_->Obey(wish);
    asio::post(self->server_.network(), [self] { self->Read(); });
  });
}

void FrameSocket::End() {
  isOpen_ = false;
  isOver_ = true;
  if (film_.empty()) return server_.viewers().Remove(source_, *this);
  asio::post(strand_, [self = shared_from_this()] {
    if (self->player_) self->player_->Stop();
    self->player_.reset();
  });
}

void FrameSocket::Offer(const FramePtr& frame) {
  if (frame == offered_) return;
  offered_ = frame;
  if (frame_) ++skipped_;
  frame_ = frame;
  WriteNext();
}

void FrameSocket::Tell(const std::string& text) {
  state_ = text;
  WriteNext();
}

void FrameSocket::TellPlayback(const std::string& text) {
  playback_ = text;
  WriteNext();
}

void FrameSocket::WriteNext() {
  std::optional<std::string>& text = state_ ? state_ : playback_;
  if (!isOpen_ || isWriting_ || (!frame_ && !text)) return;
  isWriting_ = true;
  asio::const_buffer first;
  asio::const_buffer second;
  socket_.text(text.has_value());
  if (text) {
    textSent_ = *std::exchange(text, std::nullopt);
    first = asio::buffer(textSent_);
  } else {
    frameSent_ = std::exchange(frame_, nullptr);
    header_ = FrameHeader(*frameSent_, skipped_);
    first = asio::buffer(header_);
    second = asio::buffer(frameSent_->values);
  }
  socket_.async_write(std::array{first, second},
                      [self = shared_from_this()](const boost::system::error_code& error, size_t) {
                        self->isWriting_ = false;
                        self->frameSent_.reset();
                        // The read ends with it, and then all of this.
                        if (!error) self->WriteNext();
                      });
}

}  // namespace serve
