// What frames come from: a camera or a recording, used by any number of threads until it is closed.
#ifndef ZOCAM_PYTHON_SOURCE_H
#define ZOCAM_PYTHON_SOURCE_H

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <string>
#include <vector>

#include "zocam/zocam.hpp"

#include "python/src/frame.h"
#include "python/src/painter.h"
#include "python/src/process.h"

namespace zopy {

// Every member may be called from any thread, without the GIL, and throws zocam::Error.
class Source : public std::enable_shared_from_this<Source> {
 public:
  virtual ~Source() = default;
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;

  // Ends the stream and a recording that is made, lets go of the camera or file and ends the waits
  // of other threads. Their calls, and later ones, fail. Throws what ending failed with, closed
  // nevertheless.
  void Close();
  bool IsClosed() const noexcept { return closing_; }
  // Closes every source of this process that is open: at the interpreter's exit.
  static void CloseAll() noexcept;

  // Waits at most so long for the next frame and decodes it; null when there was none. See
  // AtEnd().
  virtual std::unique_ptr<FrameData> Next(std::chrono::milliseconds timeout) = 0;
  // Before a loop over the frames. One that ended is no reason for it to end, too.
  virtual void BeginLoop();
  // Whether no frame can follow.
  virtual bool AtEnd() { return false; }

  // Calls work(device), which is not closed meanwhile.
  template <typename Work>
  auto Use(Work work) {
    const std::shared_lock lock(life_);
    RequireOpen();
    return work(*device_);
  }

  const std::string& Label() const noexcept { return label_; }
  const Geometry& FrameGeometry() const noexcept { return geometry_; }
  const std::shared_ptr<Painter>& PainterOfFrames() const noexcept { return painter_; }

  // Settings with more to them than a call.
  bool Decoding() const noexcept { return decoding_; }
  void SetDecoding(bool on) noexcept { decoding_ = on; }
  void SetRawCounts(bool on);
  void SetWindowCorrection(uint32_t value);
  void SetReference(std::vector<uint16_t> image);  // empty: shows temperatures again
  bool ShowsDifferences();
  void StartReflectionLearning();
  std::vector<uint8_t> StopReflectionLearning();
  void SetReflectionCorrection(std::vector<uint8_t> image);  // empty: none
  // Whether the image of a frame depends on the frames that were decoded before it.
  bool IsStateful();

 protected:
  // After construction, Register().
  Source(std::shared_ptr<zocam::Device> device, std::shared_ptr<Painter> painter);
  void Register();

  void RequireOpen() const;
  const OwningProcess& Process() const noexcept { return process_; }
  // Makes the image of a frame, with the settings as they are. One frame at a time, in the order
  // of the calls.
  void Decode(zocam::Device& device, FrameData& frame);
  DecodeSettings SettingsForScan(zocam::Device& device);
  // Ends whatever other threads wait for; nobody begins to use the device any more.
  virtual void EndWaits(zocam::Device& device) { static_cast<void>(device); }
  // Waits a second for calls of other threads to end: what then still goes on is a command to a
  // camera that stays busy.
  void AwaitOthers();
  // Closes with this in the place of EndWaits().
  void CloseBy(const std::function<void(zocam::Device&)>& endWaits);

 private:
  const OwningProcess process_;
  std::shared_mutex life_;  // shared by those who use device_, alone by who ends it
  std::shared_ptr<zocam::Device> device_;
  std::atomic<bool> closing_ = false;
  std::mutex closeMutex_;  // one close at a time

  const std::string label_;
  const Geometry geometry_;
  const std::shared_ptr<Painter> painter_;
  std::atomic<bool> decoding_ = true;

  std::mutex decodeMutex_;  // one decode with its settings at a time; guards:
  std::vector<uint16_t> reference_;
  std::vector<uint8_t> reflections_;
  bool isLearning_ = false;
};

}  // namespace zopy

#endif
