// A recording as one viewer sees it: played, paused, stepped through and sought at will, for that
// viewer alone.
//
// It reads the frames itself, one by one, and keeps their pace with a timer. All of it runs on the
// executor that it is made with, one call after another; what it tells goes out from there.
#ifndef ZOCAM_TOOLS_SERVE_FILM_PLAYER_H
#define ZOCAM_TOOLS_SERVE_FILM_PLAYER_H

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "zocam/zocam.hpp"

#include "tools/serve/picture_wish.h"
#include "tools/serve/served_frame.h"
#include "tools/serve/source_state.h"

namespace serve {

class FilmPlayer : public std::enable_shared_from_this<FilmPlayer> {
 public:
  using OnFrame = std::function<void(FramePtr)>;
  using OnState = std::function<void(const Json&)>;

  // Throws ToolError and zocam::Error when the file is no recording.
  FilmPlayer(const boost::asio::any_io_executor& executor, const std::string& path);

  // Shows the first frame, and plays on from there.
  void Start(OnFrame onFrame, OnState onState);
  void Stop();
  // {"pause": ...}, {"seek": ...}, {"step": ...}, {"speed": ...}; others are ignored.
  void Obey(const Json& wish);
  // The identity and the settings of the recording.
  Json Describe() const;

 private:
  using Clock = std::chrono::steady_clock;
  using Milliseconds = std::chrono::milliseconds;

  void Play();      // from the frame shown on
  void ShowNext();  // and then plays on
  bool ShowOne();   // false at the end
  void SeekTo(Milliseconds time);
  void Tell();
  void Fail(const std::string& message);

  boost::asio::steady_timer timer_;
  zocam::Recording film_;
  const std::string path_;
  OnFrame onFrame_;
  OnState onState_;
  zocam::TemperatureImage image_;
  std::optional<zocam::FrameCopy> next_;  // read ahead, to know when it is due
  zocam::FrameStamp shown_;
  Clock::time_point shownAt_;
  Clock::time_point toldAt_;
  bool paused_ = false;
  bool atEnd_ = false;
  double speed_ = 1.0;
  std::string error_;
};

}  // namespace serve

#endif
