#include "tools/serve/picture_stream.h"

#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <chrono>
#include <utility>

#include "tools/serve/jpeg_file.h"
#include "tools/serve/server.h"

namespace serve {
namespace {

namespace asio = boost::asio;
using namespace std::chrono_literals;

constexpr auto kRetry = 500ms;  // while the camera shows nothing

}  // namespace

void PictureStream::Begin(Server& server, boost::beast::tcp_stream stream, CameraStation& camera,
                          const PictureStyle& style, Ticket ticket) {
  const auto self =
      std::make_shared<PictureStream>(server, std::move(stream), camera, style, std::move(ticket));
  self->ticket_->close = [weak = std::weak_ptr(self)] {
    if (const auto open = weak.lock()) open->Close();
  };
  self->WatchForEnd();
  self->Write(
      "HTTP/1.1 200 OK\r\nServer: zocam\r\nCache-Control: no-store\r\nConnection: close\r\n"
      "Content-Type: multipart/x-mixed-replace; boundary=frame\r\n\r\n");
}

PictureStream::PictureStream(Server& server, boost::beast::tcp_stream stream, CameraStation& camera,
                             const PictureStyle& style, Ticket ticket)
    : server_(server),
      stream_(std::move(stream)),
      camera_(camera),
      style_(style),
      ticket_(std::move(ticket)),
      timer_(server.network()) {}

void PictureStream::Close() {
  isClosed_ = true;
  stream_.close();
  timer_.cancel();
}

// A client says nothing more; when it goes, also while the camera shows nothing, so does this.
void PictureStream::WatchForEnd() {
  stream_.socket().async_read_some(
      asio::buffer(&incoming_, 1),
      [weak = weak_from_this()](const boost::system::error_code&, size_t) {
        if (const auto self = weak.lock()) self->Close();
      });
}

void PictureStream::Write(std::string bytes) {
  bytes_ = std::move(bytes);
  stream_.expires_after(kPatience);
  asio::async_write(stream_, asio::buffer(bytes_),
                    [self = shared_from_this()](const boost::system::error_code& error, size_t) {
                      if (!error) self->AskForPicture();
                    });
}

void PictureStream::AskForPicture() {
  if (isClosed_) return;  // its camera may be gone by now
  const auto take = [self = shared_from_this()](const WishedPicture& wished) {
    self->Take(wished);
  };
  if (!camera_.Wish({style_, take})) Retry();
}

void PictureStream::Retry() {
  if (isClosed_) return;
  timer_.expires_after(kRetry);
  timer_.async_wait([self = shared_from_this()](const boost::system::error_code& error) {
    if (!error) self->AskForPicture();
  });
}

void PictureStream::Take(const WishedPicture& wished) {
  asio::post(server_.workers(), [self = shared_from_this(), wished] {
    std::string bytes;
    try {
      if (wished.scale) {
        const std::string jpeg = EncodeJpeg(Compose(wished, self->style_));
        bytes = "--frame\r\nContent-Type: image/jpeg\r\nContent-Length: " +
                std::to_string(jpeg.size()) + "\r\n\r\n" + jpeg + "\r\n";
      }
    } catch (const std::exception&) {
      bytes.clear();  // the next one may do
    }
    asio::post(self->server_.network(), [self, bytes = std::move(bytes)]() mutable {
      if (self->isClosed_) return;
      bytes.empty() ? self->Retry() : self->Write(std::move(bytes));
    });
  });
}

}  // namespace serve
