/**
 * @file device.hpp
 * Cameras and their frames; comes with zocam.hpp, whose first comment says what holds for all of
 * it.
 */
#ifndef ZOCAM_DEVICE_HPP
#define ZOCAM_DEVICE_HPP

#if __cplusplus < 202002L
#error "zocam.hpp needs C++20"
#endif

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "zocam/error.hpp"
#include "zocam/image.hpp"
#include "zocam/telemetry.hpp"
#include "zocam/zocam.h"

namespace zocam {

/* ------------------------------------------------------------------------------------------------
 * Frames
 * --------------------------------------------------------------------------------------------- */

class Frame;
/** Receives frames on the handle's own thread; see Device::Start. */
using FrameCallback = std::function<void(const Frame&)>;

/** Which frame of its recording a frame is, and when it was recorded. */
struct FrameStamp {
  uint32_t number = 0;                    /**< from 1 at each start of the recording */
  std::chrono::milliseconds timeOffset{}; /**< since the recording was started */
  DateTime16 dateTime{};                  /**< local time */
};

namespace detail {

/** A time of a recording. Files may claim any; what no camera can record becomes a hundred years,
 * so that sums and nanoseconds of it stay within their type. */
inline std::chrono::milliseconds TimeOffset(uint64_t ms) noexcept {
  constexpr uint64_t kMost = 100ULL * 366 * 24 * 60 * 60 * 1000;
  return std::chrono::milliseconds(static_cast<int64_t>(std::min(ms, kMost)));
}

/**
 * A handle and all that its thread reaches, at a fixed place on the heap. The handle ends before
 * anything else here does, and with it the thread.
 */
struct Session {
  enum class Kind { kCamera, kPlayedRecording, kPassiveRecording };
  struct QueuedFrame {
    std::vector<uint8_t> bytes;
    std::optional<FrameStamp> stamp;
  };

  Session(_ZoDev* dev, std::string name, Kind k = Kind::kCamera)
      : handle(dev), label(std::move(name)), kind(k) {}
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session() { ZoLib_Release(handle); }

  /** Turns a status into an exception, with the detail that the handle keeps for it. */
  void Check(ZoStatus status, const char* action) const {
    if (status == ZO_STATUS_OK) return;
    int32_t reason = 0;
    if (status == ZO_STATUS_V4L2_ERROR || status == ZO_STATUS_FILE_IO_ERROR)
      reason = static_cast<int32_t>(ZoLib_GetHostError(handle));
    if (status == ZO_STATUS_FIRMWARE_ERROR) reason = ZoLib_GetFirmwareError(handle);
    if (status == ZO_STATUS_SENSOR_ERROR) reason = ZoLib_GetSensorError(handle);
    throw Error(status, label + ": " + action, reason);
  }

  /** The stamp of the frame that a recording delivered last. */
  std::optional<FrameStamp> CurrentStamp() const noexcept {
    if (kind == Kind::kCamera) return std::nullopt;
    FrameStamp stamp;
    stamp.number = ZoLib_GetFileCurrentFrameNumber(handle);
    stamp.timeOffset = TimeOffset(ZoLib_GetFileCurrentTimeOffset(handle));
    ZoLib_GetFileCurrentDateTime(handle, &stamp.dateTime);
    return stamp;
  }

  _ZoDev* handle; /**< of a recording: null until it is open; never changes then */
  const std::string label;
  const Kind kind;

  /* Written only while no stream runs. */
  FrameCallback callback;
  bool streaming = false;

  std::mutex streamMutex; /**< guards what the frame thread leaves for others: */
  std::condition_variable frameQueued;
  std::deque<QueuedFrame> queue;
  size_t queueCapacity = 0; /**< 0: nobody queues */
  uint64_t dropped = 0;
  std::exception_ptr failure;

  /* The handle keeps one decoded image at a time; this says whose it is. */
  std::mutex decodeMutex; /**< guards decodedFrame, and a decode with the read-out after it */
  uint64_t decodedFrame = 0;
  std::atomic<uint64_t> lastFrameId = 0;
};

}  // namespace detail

/**
 * A view of one raw frame; owns nothing. Inside a callback it is valid until the callback returns.
 * Several formats of one frame cost one decode. Frames of one device may be decoded on several
 * threads; the calls then take turns.
 */
class Frame {
 public:
  /** The raw frame: big-endian image words, then the footer. */
  std::span<const uint8_t> Bytes() const noexcept { return bytes_; }
  /** Pixels of a row. */
  uint32_t Width() const noexcept { return ZoLib_GetFrameWidth(session_->handle); }
  /** Rows of the image, without the footer. */
  uint32_t Height() const noexcept { return ZoLib_GetFrameHeight(session_->handle); }
  /** The footer of the raw frame: big-endian words behind the image. */
  std::span<const uint8_t> Footer() const noexcept {
    return bytes_.subspan(size_t{2} * Width() * Height());
  }
  /** What the camera tells of itself with this frame. */
  zocam::Telemetry Telemetry() const noexcept { return zocam::Telemetry::Read(Footer()); }
  /** Of a frame that a recording delivered; nothing for others. */
  const std::optional<FrameStamp>& Stamp() const noexcept { return stamp_; }

  /** 0, or why this frame is none of this model's: see ZoLib_DecodeCheck. */
  ZoStatus Check() const noexcept { return ZoLib_DecodeCheck(session_->handle, bytes_.data()); }

  /**
   * Writes the temperature image. @param out room for Width() x Height() values in 1/resolution
   * kelvin. @return the resolution. @throws Error; status 22: the frame cannot be decoded, which is
   * usual before the camera's first flat-field correction.
   */
  int32_t Temperatures(std::span<uint16_t> out) const {
    return Decode(ZO_FMT_TEMP16, out.data(), out.size_bytes(), 0);
  }

  /**
   * Renders the frame. @param format ::ZO_FMT_RAW16 and following, plus a gain. @param out receives
   * Height() lines. @param stride bytes from one line to the next, 0 = packed. @throws Error
   */
  void Render(uint32_t format, std::span<uint8_t> out, uint32_t stride = 0) const {
    Decode(format, out.data(), out.size_bytes(), stride);
  }

  /** As Temperatures(out), into memory of its own. */
  TemperatureImage Temperatures() const {
    TemperatureImage image{Width(), Height(), 0, {}};
    image.values.resize(size_t{image.width} * image.height);
    image.resolution = Temperatures(image.values);
    return image;
  }

  /** As Temperatures(); nothing while the camera is not ready for that, before its first flat-field
   * correction. @throws Error 22 when the frame is none of this model's: no other one will be. */
  std::optional<TemperatureImage> TryTemperatures() const {
    try {
      return Temperatures();
    } catch (const Error& error) {
      if (error.Status() != ZO_STATUS_INVALID_STATE || Check() != ZO_STATUS_OK) throw;
      return std::nullopt;
    }
  }

  /** As Render(format, out), into memory of its own. */
  Image Render(uint32_t format) const {
    Image image{Width(), Height(), format, {}};
    image.pixels.resize(size_t{image.width} * image.height * BytesPerPixel(format));
    Render(format, image.pixels);
    return image;
  }

 private:
  friend class Device;
  friend class FrameCopy;
  Frame(detail::Session* session, std::span<const uint8_t> bytes, std::optional<FrameStamp> stamp)
      : session_(session), bytes_(bytes), stamp_(stamp), id_(++session->lastFrameId) {}

  int32_t Decode(uint32_t format, void* out, size_t outBytes, uint32_t stride) const {
    constexpr size_t kMost = std::numeric_limits<uint32_t>::max();
    const std::lock_guard lock(session_->decodeMutex);
    if (session_->decodedFrame != id_) ZoLib_FinishDecode(session_->handle);
    session_->decodedFrame = id_;
    session_->Check(ZoLib_Decode(session_->handle, bytes_.data(), out,
                                 static_cast<uint32_t>(std::min(outBytes, kMost)), stride, format),
                    "cannot decode a frame");
    return ZoLib_GetLastTempResolution(session_->handle);
  }

  detail::Session* session_;
  std::span<const uint8_t> bytes_;
  std::optional<FrameStamp> stamp_;
  uint64_t id_;
};

/** A frame that owns its bytes, so that it may be kept as long as the device lives. */
class FrameCopy : public Frame {
 public:
  FrameCopy(FrameCopy&&) = default;            /**< The other one is no frame any more. */
  FrameCopy& operator=(FrameCopy&&) = default; /**< The other one is no frame any more. */

 private:
  friend class Device;
  FrameCopy(detail::Session* session, detail::Session::QueuedFrame frame)
      : Frame(session, frame.bytes, frame.stamp), storage_(std::move(frame.bytes)) {}

  std::vector<uint8_t> storage_;  // moving a vector leaves its bytes where the view finds them
};

/* ------------------------------------------------------------------------------------------------
 * Devices
 * --------------------------------------------------------------------------------------------- */

/**
 * An open camera, or a recording that stands for one. Ends its stream and closes on destruction,
 * which must not happen inside its own frame callback. Members throw Error unless they are
 * noexcept.
 */
class Device {
 public:
  /** Opens the camera behind "/dev/videoN". Thread: setup. */
  static Device OpenNode(const std::string& path) {
    _ZoDev* handle = nullptr;
    uint32_t hostError = 0;
    const ZoStatus status = ZoLib_GetDeviceByDeviceFile(path.c_str(), &handle, &hostError);
    if (status != ZO_STATUS_OK)
      throw Error(status, "cannot open " + path, static_cast<int32_t>(hostError));
    return Adopt(handle, path);
  }

  /** Opens the camera with this serial number, also at a node that FindDevices() does not reach:
   * /dev/video0 to /dev/video63. @throws Error 3 when none has it. Thread: setup. */
  static Device OpenSerial(uint64_t serialNumber);

  /** Takes over a handle made by the C interface, not null. @param label how errors name it. */
  static Device Adopt(_ZoDev* handle, std::string label) {
    try {
      return Device(std::make_unique<detail::Session>(handle, std::move(label)));
    } catch (...) {
      ZoLib_Release(handle);
      throw;
    }
  }

  /** The handle, for the functions of zocam.h. Stays owned by the Device. */
  _ZoDev* Handle() const noexcept { return session_->handle; }
  /** How errors name the device: its node, or its serial number. */
  const std::string& Label() const noexcept { return session_->label; }

  /** Whether this is a recording. Thread: any. */
  bool IsRecording() const noexcept { return session_->kind != Kind::kCamera; }

  /** @name Identity and geometry. Thread: handle. */
  /** @{ */
  /** Of the camera, or of the one that made the recording; see the function of zocam.h that is
   * named alike. */
  uint16_t VendorId() const noexcept { return ZoLib_GetVendorID(Handle()); }
  uint16_t ProductId() const noexcept { return ZoLib_GetProductID(Handle()); }
  uint16_t ReleaseNumber() const noexcept { return ZoLib_GetReleaseNumber(Handle()); }
  uint16_t FirmwareVersion() const noexcept { return ZoLib_GetFirmwareVersion(Handle()); }
  uint64_t SerialNumber() const noexcept { return ZoLib_GetSerialNumberAsUINT64(Handle()); }
  /** Empty for a recording. */
  std::string ProductName() const {
    std::array<char, 64> name{};
    ZoLib_GetDeviceName(Handle(), name.data(), static_cast<int32_t>(name.size() - 1));
    return name.data();
  }
  uint32_t Width() const noexcept { return ZoLib_GetFrameWidth(Handle()); }
  uint32_t Height() const noexcept { return ZoLib_GetFrameHeight(Handle()); }
  uint32_t FooterLines() const noexcept { return ZoLib_GetFooterLines(Handle()); }
  /** Columns at the left of the image that show a reference body instead of the scene. */
  uint32_t ReferenceColumns() const noexcept { return ZoLib_GetRefTempRegion(Handle()); }
  /** Bytes of one raw frame. */
  size_t RawFrameBytes() const noexcept { return size_t{2} * Width() * (Height() + FooterLines()); }
  uint8_t TelemetryRevision() const noexcept {
    return ZoLib_GetSupportedTelemetryDataRevision(Handle());
  }
  /** True once the camera was found to have vanished while streaming. */
  bool Disconnected() const noexcept { return ZoLib_GetDisconnected(Handle()) != 0; }
  /** @} */

  /** @name Streaming */
  /** @{ */

  /**
   * Starts the stream. @param callback called with each frame on the handle's own thread; an
   * exception that leaves it ends the calls and is kept for Stop(). @param highRate 25.9 instead of
   * 8.63 frames per second, on models that have it; nothing to a recording. @throws Error 22 when a
   * stream already runs, and for a passive recording. Thread: control.
   */
  void Start(FrameCallback callback, bool highRate = false) {
    BeginStream(std::move(callback), 0, highRate);
  }

  /** Starts the stream for NextFrame(). @param capacity frames kept, at least 1: of more the oldest
   * are dropped and counted. A passive recording queues and drops none: NextFrame() reads each.
   * Otherwise as Start(). */
  void StartQueue(size_t capacity = 4, bool highRate = false) {
    detail::Session* session = session_.get();
    BeginStream([session](const Frame& frame) { Enqueue(*session, frame); },
                std::max(capacity, size_t{1}), highRate);
  }

  /**
   * Waits for the next frame of a stream begun by StartQueue(). @return the oldest one not yet
   * taken; nothing after the time-out and at a recording's end (see Recording::AtEnd). @throws
   * Error, once none is left: 4 when the camera has vanished, 23 or 24 when a recording cannot be
   * read on, 22 when no such stream runs (any more). Thread: any one besides the frame thread.
   */
  std::optional<FrameCopy> NextFrame(std::chrono::milliseconds timeout) {
    using Clock = std::chrono::steady_clock;
    constexpr auto kLookAtDevice = std::chrono::milliseconds(100);
    constexpr auto kLongest = std::chrono::hours(24 * 365);  // of which the clock can be told
    const Clock::time_point deadline =
        Clock::now() + std::min<std::chrono::milliseconds>(timeout, kLongest);
    detail::Session& session = *session_;
    if (session.kind == Kind::kPassiveRecording) return ReadNextFrame();
    std::unique_lock lock(session.streamMutex);
    while (true) {
      // Looked at before the queue: the last frame is queued before the end is told.
      const bool atEnd = ZoLib_GetFileReadEOF(session.handle) != 0;
      const ZoStatus failure = ZoLib_GetFileError(session.handle);
      if (!session.queue.empty()) break;
      if (session.queueCapacity == 0)
        session.Check(ZO_STATUS_INVALID_STATE, "no frames are being queued");
      if (Disconnected()) session.Check(ZO_STATUS_DEVICE_NOT_READY, "the camera has vanished");
      const Clock::time_point now = Clock::now();
      if (session.kind == Kind::kPlayedRecording) {
        session.Check(failure, "cannot read on");
        if (atEnd) return std::nullopt;
      }
      if (now >= deadline) return std::nullopt;
      session.frameQueued.wait_until(lock, std::min(deadline, now + kLookAtDevice));
    }
    detail::Session::QueuedFrame frame = std::move(session.queue.front());
    session.queue.pop_front();
    return FrameCopy(&session, std::move(frame));
  }

  /** Frames that StartQueue()'s queue had no room for, since the start. Thread: handle. */
  uint64_t DroppedFrames() const {
    const std::lock_guard lock(session_->streamMutex);
    return session_->dropped;
  }

  /** The exception that a callback of the running stream ended with, or null. Thread: handle. */
  std::exception_ptr CallbackFailure() const {
    const std::lock_guard lock(session_->streamMutex);
    return session_->failure;
  }

  /**
   * Ends the stream, also of a camera that vanished; no callback runs afterwards. Rethrows what the
   * callback threw. @throws Error 22 inside the callback itself, with nothing changed. Thread:
   * control.
   */
  void Stop() {
    const ZoStatus status = ZoLib_CaptureStop(Handle());
    if (status == ZO_STATUS_INVALID_STATE)
      session_->Check(status, "cannot stop the stream inside its own callback");
    EndStream();
    if (session_->failure) std::rethrow_exception(std::exchange(session_->failure, nullptr));
    if (status != ZO_STATUS_DEVICE_NOT_READY) session_->Check(status, "cannot stop the stream");
  }

  /** Frames per second that Start() chose, or that a recording tells; 0 when nobody has. Thread:
   * handle. */
  double FrameRate() const noexcept {
    const uint32_t denominator = ZoLib_GetFrameRateDenominator(Handle());
    if (denominator == 0) return 0.0;
    return static_cast<double>(ZoLib_GetFrameRateNumerator(Handle())) / denominator;
  }

  /** A frame over bytes that the caller keeps: a stored raw frame of this model. @throws Error 6
   * when they are too few for one. Thread: handle. */
  Frame ViewFrame(std::span<const uint8_t> bytes) const {
    if (bytes.size() < RawFrameBytes())
      session_->Check(ZO_STATUS_NOT_ENOUGH_SIZE, "not a whole raw frame");
    return Frame(session_.get(), bytes, std::nullopt);
  }
  /** @} */

  /** @name Commands. Thread: locked. */
  /** @{ */
  /** See the function of zocam.h that is named alike. @throws Error with the camera's own code for
   * statuses 10 and 11. */
  void CommandRun(uint16_t command) {
    session_->Check(ZoLib_CommandRun(Handle(), command, 0), "the command failed");
  }
  /** @param words receives the answer; for command 0xFF01 its first word is the argument. */
  void CommandGet(uint16_t command, std::span<uint16_t> words) {
    session_->Check(ZoLib_CommandGet(Handle(), command, 0, words.data(), CountOf(words)),
                    "the read command failed");
  }
  void CommandSet(uint16_t command, std::span<const uint16_t> words) {
    session_->Check(ZoLib_CommandSet(Handle(), command, 0, words.data(), CountOf(words)),
                    "the write command failed");
  }
  uint16_t Config() {
    uint16_t config = 0;
    session_->Check(ZoLib_GetConfig(Handle(), &config), "cannot read the configuration");
    return config;
  }
  void SetConfig(uint16_t config) {
    session_->Check(ZoLib_SetConfig(Handle(), config), "cannot write the configuration");
  }
  uint32_t ActiveState() {
    uint32_t active = 0;
    session_->Check(ZoLib_GetActive(Handle(), &active), "cannot read the active state");
    return active;
  }
  void EnableHighGain() {
    session_->Check(ZoLib_EnableHighGainMode(Handle()), "cannot switch to high gain");
  }
  /** @} */

  /** Limits of temperatures. */
  struct Range {
    int32_t low;  /**< hundredths of a kelvin */
    int32_t high; /**< hundredths of a kelvin */
  };
  /** @name Settings */
  /** @{ */
  /** Meaning, default and thread word stand at the function of zocam.h that is named alike; a
   * setter throws Error where that one has a status. */
  Range DecodeRange() const noexcept {
    uint32_t low = 0, high = 0;
    ZoLib_GetDecodeRange(Handle(), &low, &high);
    return {static_cast<int32_t>(low), static_cast<int32_t>(high)};
  }
  void SetDecodeRange(Range range) {
    session_->Check(ZoLib_SetDecodeRange(Handle(), static_cast<uint32_t>(range.low),
                                         static_cast<uint32_t>(range.high)),
                    "cannot set the temperature range");
  }
  Range AgcRange() const noexcept {
    Range range{};
    ZoLib_GetAGCRange(Handle(), &range.low, &range.high);
    return range;
  }
  void SetAgcRange(Range range) {
    session_->Check(ZoLib_SetAGCRange(Handle(), range.low, range.high),
                    "cannot set the range of the automatic gains");
  }
  /** @param mask Width() x Height() values; nonzero pixels count. */
  void SetAgcMask(std::span<const uint32_t> mask) {
    ZoStatus status = ZO_STATUS_INVALID_VALUE;
    if (mask.size() == size_t{Width()} * Height())
      status = ZoLib_SetAGCROIMask(Handle(), mask.data());
    session_->Check(status, "cannot set the gain mask");
  }
  bool CircumferenceCorrection() const noexcept {
    return ZoLib_GetCircumferenceCorrection(Handle()) != 0;
  }
  void SetCircumferenceCorrection(bool on) noexcept {
    ZoLib_SetCircumferenceCorrection(Handle(), on);
  }
  bool NoiseFilter() const noexcept { return ZoLib_GetNoiseFilter(Handle()) != 0; }
  void SetNoiseFilter(bool on) noexcept { ZoLib_SetNoiseFilter(Handle(), on); }
  uint16_t NoiseFilterThreshold() const noexcept { return ZoLib_GetNoiseFilterThreshold(Handle()); }
  void SetNoiseFilterThreshold(uint16_t threshold) noexcept {
    ZoLib_SetNoiseFilterThreshold(Handle(), threshold);
  }
  bool Undistortion() const noexcept { return ZoLib_GetUndistortion(Handle()) != 0; }
  void SetUndistortion(bool on) noexcept { ZoLib_SetUndistortion(Handle(), on); }
  uint32_t WindowCorrection() const noexcept {
    uint32_t value = 0;
    ZoLib_GetWindowCorrection(Handle(), &value);
    return value;
  }
  void SetWindowCorrection(uint32_t value) noexcept { ZoLib_SetWindowCorrection(Handle(), value); }
  bool UpsideDown() const noexcept { return ZoLib_GetUpsideDown(Handle()) != 0; }
  void SetUpsideDown(bool on) noexcept { ZoLib_SetUpsideDown(Handle(), on); }
  bool ColorizeByRaw() const noexcept { return ZoLib_GetColorizeByRaw(Handle()) != 0; }
  void SetColorizeByRaw(bool on) {
    session_->Check(ZoLib_SetColorizeByRaw(Handle(), on), "cannot choose raw counts");
  }
  /**
   * Installs the reference image that Subtraction shows differences to; does not switch it on.
   * @param reference Width() x Height() values in the unit of the camera's images. @throws Error 6
   * when they are fewer.
   */
  void SetSubtractionTable(std::span<const uint16_t> reference) {
    constexpr size_t kMost = std::numeric_limits<uint32_t>::max();
    session_->Check(ZoLib_SetSubtractionTempTable(
                        Handle(), reference.data(),
                        static_cast<uint32_t>(std::min(reference.size_bytes(), kMost))),
                    "cannot install the reference image");
  }
  bool Subtraction() const noexcept { return ZoLib_GetSubtractionTemp(Handle()) != 0; }
  /** Off also discards the reference image. */
  void SetSubtraction(bool on) noexcept { ZoLib_SetSubtractionTemp(Handle(), on); }
  /** True: pixels are B, G, R; false: R, G, B. */
  bool BgrOrder() const noexcept { return ZoLib_GetRGBOrder(Handle()) != 0; }
  void SetBgrOrder(bool on) noexcept { ZoLib_SetRGBOrder(Handle(), on); }
  /** @} */

  /** The image of the frame that was decoded last, after every stage: what SetSubtractionTable()
   * takes. @throws Error 7 when none has been. Thread: locked. */
  TemperatureImage TemperatureTable() const {
    TemperatureImage image{Width(), Height(), 0, {}};
    image.values.resize(size_t{image.width} * image.height);
    const std::lock_guard lock(session_->decodeMutex);
    session_->Check(ZoLib_GetTempTable(Handle(), image.values.data(),
                                       static_cast<uint32_t>(image.values.size() * 2)),
                    "no frame has been decoded");
    image.resolution = ZoLib_GetLastTempResolution(Handle());
    return image;
  }

  /** @name Reflection correction; see zocam.h. Thread: locked. */
  /** @{ */

  /** Learns from every frame decoded from now on. */
  void StartReflectionLearning() {
    session_->Check(ZoLib_ReflectCorrGenStart(Handle()), "cannot start learning reflections");
  }
  /** Ends learning. @return the correction image, the bytes of a "ZORC" file. @throws Error 22 when
   * no frame was decoded meanwhile; learning has ended then, too. */
  std::vector<uint8_t> StopReflectionLearning() {
    uint16_t* bytes = nullptr;
    uint32_t size = 0;
    session_->Check(ZoLib_ReflectCorrGenStop(Handle(), &bytes, &size),
                    "no reflections were learnt");
    const std::unique_ptr<void, decltype(&ZoLib_ReflectCorrDataRelease)> owner(
        bytes, &ZoLib_ReflectCorrDataRelease);
    const auto* first = reinterpret_cast<const uint8_t*>(bytes);
    return {first, first + size};
  }
  /** Installs a correction image. @throws Error 21, 24 or 26 when it is not one for this camera;
   * the installed one then stays. */
  void SetReflectionCorrection(std::span<const uint8_t> zorc) {
    ZoStatus status = ZO_STATUS_INVALID_VALUE;  // without bytes the C function would remove
    if (!zorc.empty() && zorc.size() <= std::numeric_limits<uint32_t>::max())
      status = ZoLib_SetReflectCorrData(Handle(), zorc.data(), static_cast<uint32_t>(zorc.size()));
    session_->Check(status, "cannot install the reflection correction");
  }
  /** As SetReflectionCorrection(), from a file; @throws Error 23, too, when it cannot be read. */
  void SetReflectionCorrectionFile(const std::string& path) {
    session_->Check(ZoLib_SetReflectCorrFile(Handle(), path.c_str()),
                    "cannot install a reflection correction from a file");
  }
  /** Takes the correction image away. */
  void ClearReflectionCorrection() noexcept { ZoLib_SetReflectCorrData(Handle(), nullptr, 0); }
  /** @} */

 protected:
  /** @cond Recording's way in. */
  explicit Device(std::unique_ptr<detail::Session> session) : session_(std::move(session)) {}
  detail::Session& Shared() const noexcept { return *session_; }
  /** @endcond */

 private:
  friend class Writer;
  using Kind = detail::Session::Kind;

  static uint32_t CountOf(std::span<const uint16_t> words) noexcept {
    constexpr size_t kMost = std::numeric_limits<uint32_t>::max();
    return static_cast<uint32_t>(std::min(words.size(), kMost));
  }

  void BeginStream(FrameCallback callback, size_t queueCapacity, bool highRate) {
    if (session_->streaming) session_->Check(ZO_STATUS_INVALID_STATE, "a stream already runs");
    if (session_->kind == Kind::kPassiveRecording && queueCapacity == 0)
      session_->Check(ZO_STATUS_INVALID_STATE, "a passive recording calls nobody");
    session_->callback = std::move(callback);
    {
      const std::lock_guard lock(session_->streamMutex);
      session_->queueCapacity = queueCapacity;
      session_->queue.clear();
      session_->dropped = 0;
      session_->failure = nullptr;
    }
    ZoStatus status = ZO_STATUS_OK;
    // A recording got its callback when it was opened, and its rate from the file.
    if (session_->kind == Kind::kCamera)
      status = ZoLib_CaptureSetup(Handle(), highRate, &OnFrame, session_.get());
    if (status == ZO_STATUS_OK) status = ZoLib_CaptureStart(Handle());
    session_->streaming = status == ZO_STATUS_OK;
    if (session_->streaming) return;
    try {
      session_->Check(status, "cannot start the stream");
    } catch (...) {
      EndStream();  // after Check: it clears the handle's error number
      throw;
    }
  }

  void EndStream() noexcept {
    ZoLib_CaptureRelease(Handle());
    session_->callback = nullptr;
    session_->streaming = false;
    {
      const std::lock_guard lock(session_->streamMutex);
      session_->queueCapacity = 0;
    }
    session_->frameQueued.notify_all();
  }

  std::optional<FrameCopy> ReadNextFrame() {
    detail::Session& session = *session_;
    if (!session.streaming) session.Check(ZO_STATUS_INVALID_STATE, "it has not been started");
    if (ZoLib_GetFileReadEOF(Handle()) != 0) return std::nullopt;
    detail::Session::QueuedFrame frame;
    frame.bytes.resize(RawFrameBytes());
    session.Check(ZoLib_FileReadPassiveNext(Handle(), frame.bytes.data(),
                                            static_cast<uint32_t>(frame.bytes.size())),
                  "cannot read on");
    if (ZoLib_GetFileReadEOF(Handle()) != 0) return std::nullopt;
    frame.stamp = session.CurrentStamp();
    return FrameCopy(&session, std::move(frame));
  }

  static void Enqueue(detail::Session& session, const Frame& frame) {
    detail::Session::QueuedFrame copy{{frame.Bytes().begin(), frame.Bytes().end()}, frame.Stamp()};
    {
      const std::lock_guard lock(session.streamMutex);
      if (session.queue.size() >= session.queueCapacity) {
        session.queue.pop_front();
        ++session.dropped;
      }
      session.queue.push_back(std::move(copy));
    }
    session.frameQueued.notify_one();
  }

 protected:
  /** @cond */
  static int OnFrame(_ZoDev*, uint8_t* bytes, uint64_t length, void* user) noexcept {
    detail::Session& session = *static_cast<detail::Session*>(user);
    {
      const std::lock_guard lock(session.streamMutex);
      if (session.failure) return 0;
    }
    try {
      session.callback(
          Frame(&session, {bytes, static_cast<size_t>(length)}, session.CurrentStamp()));
    } catch (...) {
      const std::lock_guard lock(session.streamMutex);
      session.failure = std::current_exception();
    }
    return 0;
  }
  /** @endcond */

 private:
  std::unique_ptr<detail::Session> session_;
};

/**
 * Opens every camera that the library's scan reaches, up to the first missing number: see
 * ZoLib_GetDevices. Device::OpenSerial() and OpenNode() reach the others. @return none when there
 * is no camera. @throws Error when cameras are there and none could be opened. Thread: setup.
 */
inline std::vector<Device> FindDevices() {
  _ZoDev** handles = nullptr;
  uint32_t count = 0;
  uint32_t hostError = 0;
  const ZoStatus status = ZoLib_GetDevices(&handles, &count, &hostError);
  if (status == ZO_STATUS_DEVICE_NOT_FOUND) return {};
  if (status != ZO_STATUS_OK)
    throw Error(status, "cannot open any camera", static_cast<int32_t>(hostError));
  const auto releaseRest = [](_ZoDev** array) {
    for (_ZoDev** handle = array; *handle != nullptr; ++handle) ZoLib_Release(*handle);
    ZoLib_ReleaseArray(array);
  };
  const std::unique_ptr<_ZoDev*, decltype(releaseRest)> owner(handles, releaseRest);
  std::vector<Device> devices;
  devices.reserve(count);
  // From the last one: what is taken is cut off the end of the null-terminated array.
  for (uint32_t i = count; i-- > 0;) {
    _ZoDev* handle = std::exchange(handles[i], nullptr);
    std::string label = "camera " + std::to_string(ZoLib_GetSerialNumberAsUINT64(handle));
    devices.push_back(Device::Adopt(handle, std::move(label)));
  }
  std::reverse(devices.begin(), devices.end());
  return devices;
}

inline Device Device::OpenSerial(uint64_t serialNumber) {
  // The library's scan ends at the first number without a camera or webcam.
  constexpr int kNodes = 64;
  for (int node = 0; node < kNodes; ++node) {
    try {
      Device device = OpenNode("/dev/video" + std::to_string(node));
      if (device.SerialNumber() == serialNumber) return device;
    } catch (const Error&) {
      // Not there, another one's, or busy: the next may be it.
    }
  }
  throw Error(ZO_STATUS_DEVICE_NOT_FOUND, "cannot open camera " + std::to_string(serialNumber));
}

}  // namespace zocam

#endif /* ZOCAM_DEVICE_HPP */
