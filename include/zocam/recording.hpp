/**
 * @file recording.hpp
 * Recordings: playing them as if they were cameras, and making them. Comes with zocam.hpp.
 *
 * Every frame of a file, one after the other:
 * @code{.cpp}
 * zocam::Recording film = zocam::Recording::OpenPassive("out.y4m");
 * film.StartQueue();
 * while (auto frame = film.NextFrame()) Measure(frame->Temperatures(), frame->Stamp()->timeOffset);
 * @endcode
 *
 * A file that plays for ever. The end is noticed on the thread that takes the frames, because the
 * playback thread must not seek there:
 * @code{.cpp}
 * zocam::Recording film = zocam::Recording::Open("out.y4m");
 * film.StartQueue();
 * while (!done) {
 *   if (auto frame = film.NextFrame(std::chrono::milliseconds(100))) Show(*frame);
 *   else if (film.AtEnd()) film.Seek(std::chrono::milliseconds(0));
 * }
 * @endcode
 */
#ifndef ZOCAM_RECORDING_HPP
#define ZOCAM_RECORDING_HPP

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "zocam/device.hpp"
#include "zocam/error.hpp"
#include "zocam/zocam.h"

namespace zocam {

namespace detail {

/** The status of a call on a file, with the errno that a failing one left behind. */
template <typename Call>
void CheckFileCall(const std::string& action, Call call) {
  errno = 0;
  const ZoStatus status = call();
  const int32_t error = status == ZO_STATUS_FILE_IO_ERROR ? errno : 0;
  if (status != ZO_STATUS_OK) throw Error(status, action, error);
}

}  // namespace detail

/**
 * An open recording: a Device whose frames come from a file. Played, they come on the recording's
 * own thread, paced by their times; passive, whoever calls NextFrame() reads them. Stopping it
 * closes the file for good.
 */
class Recording : public Device {
 public:
  using Milliseconds = std::chrono::milliseconds; /**< of time offsets */
  /** As the end of a range: all of the rest. */
  static constexpr Milliseconds kToTheEnd = Milliseconds::max();

  /** Opens a file to be played. @throws Error 23 it cannot be opened or read, 24 it is no recording
   * or an empty one. Thread: any. */
  static Recording Open(const std::string& path) {
    return OpenAs(detail::Session::Kind::kPlayedRecording, path);
  }
  /** Opens a file whose frames NextFrame() reads one by one, without thread, pacing and loss.
   * Otherwise as Open(). */
  static Recording OpenPassive(const std::string& path) {
    return OpenAs(detail::Session::Kind::kPassiveRecording, path);
  }

  /** As Device::NextFrame(); a played recording that is paused gives nothing after the time-out. */
  std::optional<FrameCopy> NextFrame(Milliseconds timeout = std::chrono::seconds(2)) {
    return Device::NextFrame(timeout);
  }

  /** @name Extent. Thread: handle. */
  /** @{ */
  /** Number of the last frame: how many there are, unless the recording was started again in the
   * middle of the file. */
  uint32_t LastFrameNumber() const noexcept { return ZoLib_GetFileFrames(Handle()); }
  /** Time offset of the last frame. */
  Milliseconds Length() const noexcept {
    return detail::TimeOffset(ZoLib_GetFileTimeLength(Handle()));
  }
  /** Time offset of the first frame. */
  Milliseconds HeadTimeOffset() const noexcept {
    return detail::TimeOffset(ZoLib_GetFileHeadTimeOffset(Handle()));
  }
  /** Local time of the first frame. */
  DateTime16 HeadDateTime() const noexcept {
    DateTime16 time{};
    ZoLib_GetFileHeadDateTime(Handle(), &time);
    return time;
  }
  /** The frame last delivered; right after a seek, one that the seek looked at. */
  FrameStamp Current() const noexcept { return *Shared().CurrentStamp(); }
  /** @} */

  /** @name Playback */
  /** @{ */
  /** True from the end of the file until a seek. Frames may still be queued. Thread: handle. */
  bool AtEnd() const noexcept { return ZoLib_GetFileReadEOF(Handle()) != 0; }
  /** Drops the frame in hand. Nothing for passive recordings. Thread: locked. */
  void Pause() noexcept { ZoLib_FileReadPause(Handle()); }
  /** Goes on with the next frame, at once. Thread: locked. */
  void Resume() noexcept { ZoLib_FileReadResume(Handle()); }
  /** Whether playback is paused. Thread: handle. */
  bool Paused() const noexcept { return ZoLib_GetFileReadPaused(Handle()) != 0; }
  /**
   * Moves to the last frame at or before a time, which comes next. Frames queued before are dropped
   * and not counted; one that was on its way may still come while playback runs. @return false when
   * the time is that of the last frame or later: playback is at the end then. @throws Error 22
   * before the start and after the stop, 23 or 24 when the file cannot be read. Thread: locked.
   */
  bool Seek(Milliseconds timeOffset) {
    const auto target = static_cast<uint64_t>(std::max(timeOffset, Milliseconds(0)).count());
    // Held meanwhile, so that frames from the new place are queued after the old ones are gone.
    const std::lock_guard lock(Shared().streamMutex);
    const ZoStatus status = ZoLib_FileReadSeek(Handle(), target);
    if (status != ZO_STATUS_END_OF_FILE) Shared().Check(status, "cannot seek");
    Shared().queue.clear();
    return status == ZO_STATUS_OK;
  }
  /** See SetSpeed(); 1 at first. Thread: handle. */
  double Speed() const noexcept { return ZoLib_GetFileReadSpeed(Handle()); }
  /** @param factor 1 as recorded, 0 as fast as possible; a negative one changes nothing. Thread:
   * locked. */
  void SetSpeed(double factor) noexcept { ZoLib_SetFileReadSpeed(Handle(), factor); }
  /** @} */

  /** @name One gain for the whole recording */
  /** @{ */
  /**
   * Decodes the frames of a time range with the settings as they are now and makes one gain of all,
   * so that the picture keeps its brightness; SetSteadyGain() switches it on. Takes as long as
   * decoding takes. @param nonlinear which of the two automatic gains. @param step every step-th
   * frame. @param from counts with a step of 2 or more. @throws Error 6 no frame in the range
   * decodes; see ZoLib_FileTimeBasedAGCSetup. Thread: control; do not seek or stop meanwhile.
   */
  void ScanGain(bool nonlinear, uint32_t step = 1, Milliseconds from = Milliseconds(0),
                Milliseconds to = kToTheEnd) {
    const std::lock_guard lock(Shared().decodeMutex);
    ZoLib_FinishDecode(Handle());
    Shared().decodedFrame = 0;
    Shared().Check(ZoLib_FileTimeBasedAGCSetup(Handle(), nonlinear ? 0 : 1, step,
                                               static_cast<uint64_t>(from.count()),
                                               static_cast<uint64_t>(to.count())),
                   "cannot make a gain for the whole recording");
  }
  /** See SetSteadyGain(); off at first. Thread: handle. */
  bool SteadyGain() const noexcept { return ZoLib_GetTimeBasedAGC(Handle()) != 0; }
  /** Whether the automatic gains use what ScanGain() found. Thread: handle. */
  void SetSteadyGain(bool on) noexcept { ZoLib_SetTimeBasedAGC(Handle(), on); }
  /** @} */

 private:
  explicit Recording(std::unique_ptr<detail::Session> session) : Device(std::move(session)) {}

  static Recording OpenAs(detail::Session::Kind kind, const std::string& path) {
    auto session = std::make_unique<detail::Session>(nullptr, path, kind);
    detail::CheckFileCall("cannot open " + path, [&] {
      if (kind == detail::Session::Kind::kPassiveRecording)
        return ZoLib_FileReadPassiveSetup(&session->handle, path.c_str());
      return ZoLib_FileReadSetup(&session->handle, path.c_str(), &OnFrame, &OnEnd, session.get());
    });
    return Recording(std::move(session));
  }

  /** Runs with the recording's lock held, which Seek() waits for with streamMutex held: so it takes
   * no lock. Who is about to wait and misses the wake looks again soon. */
  static int OnEnd(_ZoDev*, void* user) noexcept {
    static_cast<detail::Session*>(user)->frameQueued.notify_all();
    return 0;
  }
};

/**
 * A recording being made through a device, which must outlive it: of a camera's stream, every frame
 * before any callback sees it, or of frames that the program hands over. Ends the file on
 * destruction. Thread: control, unless a member says otherwise.
 */
class Writer {
 public:
  /** Creates the file and records the stream from now on; frame numbers and times begin anew.
   * @throws Error 23 the file cannot be created, 22 the device writes or plays one already, or its
   * stream was never started: the file would not tell its frame rate. */
  Writer(Device& device, const std::string& path) : session_(device.session_.get()), path_(path) {
    if (device.FrameRate() == 0.0)
      session_->Check(ZO_STATUS_INVALID_STATE, "start the stream before recording it");
    Begin([&] { return ZoLib_FileWriteSetup(Handle(), path.c_str()); });
  }
  /** Creates a file for frames that Add() hands over. @param rateNumerator, rateDenominator the
   * frame rate that the file tells, e.g. 259 and 30. Otherwise as above. */
  Writer(Device& device, const std::string& path, uint32_t rateNumerator, uint32_t rateDenominator)
      : session_(device.session_.get()), path_(path) {
    Begin([&] {
      return ZoLib_FileWritePassiveSetup(Handle(), path.c_str(), rateNumerator, rateDenominator);
    });
  }
  /** Moves the recording; the other one writes nothing any more. */
  Writer(Writer&& other) noexcept
      : session_(std::exchange(other.session_, nullptr)), path_(std::move(other.path_)) {}
  /** Exchanges the recordings. */
  Writer& operator=(Writer&& other) noexcept {
    std::swap(session_, other.session_);
    std::swap(path_, other.path_);
    return *this;
  }
  ~Writer() {
    if (session_ != nullptr) ZoLib_FileWriteStop(Handle());
  }

  /** Where the file is. */
  const std::string& Path() const noexcept { return path_; }

  /** Begins frame numbers and times anew in the middle of the file. */
  void Restart() { session_->Check(ZoLib_FileWriteStart(Handle()), "cannot start recording"); }

  /** Appends a raw frame; one of another model is dropped. @throws Error as CheckWritten(). */
  void Add(std::span<const uint8_t> frame) {
    const auto length =
        static_cast<uint32_t>(std::min<size_t>(frame.size(), std::numeric_limits<uint32_t>::max()));
    session_->Check(ZoLib_FileWritePassiveAdd(Handle(), frame.data(), length),
                    "cannot record a frame");
    CheckWritten();
  }

  /** @throws Error 23 with its errno, once a frame could not be written (a full disk): the file
   * then ends with the record before it, and recording goes on as soon as that is possible. A
   * failure of the camera's own calls shows here, too. Thread: handle. */
  void CheckWritten() const {
    const auto error = static_cast<int32_t>(ZoLib_GetHostError(Handle()));
    if (error != 0) throw Error(ZO_STATUS_FILE_IO_ERROR, "cannot write " + path_, error);
  }

  /** Ends and closes the file. @throws Error 23 when closing fails; 4 the camera has vanished: the
   * file is closed with its device, with every frame it had. */
  void Finish() {
    detail::Session* const session = std::exchange(session_, nullptr);
    if (session == nullptr) return;
    detail::CheckFileCall("cannot finish " + path_,
                          [&] { return ZoLib_FileWriteStop(session->handle); });
  }

 private:
  _ZoDev* Handle() const noexcept { return session_->handle; }

  template <typename SetUp>
  void Begin(SetUp setUp) {
    detail::CheckFileCall("cannot create " + path_, setUp);
    const ZoStatus status = ZoLib_FileWriteStart(Handle());
    if (status == ZO_STATUS_OK) return;
    ZoLib_FileWriteStop(Handle());
    session_->Check(status, "cannot start recording");
  }

  detail::Session* session_;
  std::string path_;
};

}  // namespace zocam

#endif /* ZOCAM_RECORDING_HPP */
