// A viewer's WebSocket: frames of a camera, or of a recording that is played for this viewer alone.
// Network thread only, but for the player, which has a strand of its own.
#ifndef ZOCAM_TOOLS_SERVE_FRAME_SOCKET_H
#define ZOCAM_TOOLS_SERVE_FRAME_SOCKET_H

#include <array>
#include <atomic>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/websocket.hpp>
#include <memory>
#include <optional>
#include <string>

#include "tools/serve/api.h"
#include "tools/serve/film_player.h"
#include "tools/serve/guest_book.h"
#include "tools/serve/viewers.h"

namespace serve {

class Server;

class FrameSocket : public Viewer, public std::enable_shared_from_this<FrameSocket> {
 public:
  // Of a camera's id, or of a recording's path.
  static void Begin(Server& server, boost::beast::tcp_stream stream, Request request,
                    const std::string& source, const std::string& film, Ticket ticket);
  FrameSocket(Server& server, boost::beast::tcp_stream stream, std::string source, std::string film,
              Ticket ticket);
  FrameSocket(const FrameSocket&) = delete;
  FrameSocket& operator=(const FrameSocket&) = delete;

  void Offer(const FramePtr& frame) override;
  void Tell(const std::string& text) override;
  void TellPlayback(const std::string& text);

 private:
  using Player = std::shared_ptr<FilmPlayer>;

  void Accept(Request request);
  void Join();
  void StartFilm();
  void Read();
  void Obey();
  void WriteNext();
  void End();

  Server& server_;
  boost::beast::websocket::stream<boost::beast::tcp_stream, false> socket_;
  const std::string source_;
  const std::string film_;
  const Ticket ticket_;
  std::atomic<bool> isOver_ = false;
  boost::asio::strand<boost::asio::thread_pool::executor_type> strand_;  // the player's
  Player player_;                                                        // the strand's
  boost::beast::flat_buffer incoming_;

  // What goes out next: of each kind the newest only.
  FramePtr frame_;
  FramePtr offered_;  // the last one
  std::optional<std::string> state_;
  std::optional<std::string> playback_;
  uint32_t skipped_ = 0;
  bool isOpen_ = false;
  bool isWriting_ = false;
  // What is going out.
  FramePtr frameSent_;
  std::string textSent_;
  std::array<uint8_t, kFrameHeaderBytes> header_{};
};

}  // namespace serve

#endif
