// Pictures of a camera one after the other, each in the place of the one before, for programs that
// know nothing of temperatures. Network thread only.
#ifndef ZOCAM_TOOLS_SERVE_PICTURE_STREAM_H
#define ZOCAM_TOOLS_SERVE_PICTURE_STREAM_H

#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core.hpp>
#include <memory>
#include <string>

#include "tools/serve/camera_station.h"
#include "tools/serve/guest_book.h"

namespace serve {

class Server;

class PictureStream : public std::enable_shared_from_this<PictureStream> {
 public:
  static void Begin(Server& server, boost::beast::tcp_stream stream, CameraStation& camera,
                    const PictureStyle& style, Ticket ticket);
  PictureStream(Server& server, boost::beast::tcp_stream stream, CameraStation& camera,
                const PictureStyle& style, Ticket ticket);
  PictureStream(const PictureStream&) = delete;
  PictureStream& operator=(const PictureStream&) = delete;

 private:
  void Write(std::string bytes);
  void AskForPicture();
  void Retry();
  void Close();
  void Take(const WishedPicture& wished);  // on the thread that decodes
  void WatchForEnd();

  Server& server_;
  boost::beast::tcp_stream stream_;
  CameraStation& camera_;
  const PictureStyle style_;
  const Ticket ticket_;
  bool isClosed_ = false;
  boost::asio::steady_timer timer_;
  std::string bytes_;
  char incoming_ = 0;
};

}  // namespace serve

#endif
