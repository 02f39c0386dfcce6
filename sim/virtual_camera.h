// One virtual camera in the hands of a test or tool: its place on the host, what it sees, how fast
// it delivers, and everything that can go wrong with it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sim/kernel/faults.h"
#include "sim/model/camera_model.h"

namespace zosim {

namespace kernel {
struct CameraState;
struct HostState;
}  // namespace kernel

// How frames come while the stream runs.
struct Pace {
  enum class Kind {
    kNegotiated,     // the rate the program set with S_PARM
    kRate,           // framesPerSecond, whatever was negotiated
    kAsFastAsTaken,  // a queued buffer is full at once; no frame is ever lost
    kManual,         // only by DeliverFrame
  };
  Kind kind = Kind::kNegotiated;
  double framesPerSecond = 0.0;

  static Pace Negotiated() { return {}; }
  static Pace Rate(double framesPerSecond) { return {Kind::kRate, framesPerSecond}; }
  static Pace AsFastAsTaken() { return {Kind::kAsFastAsTaken, 0.0}; }
  static Pace Manual() { return {Kind::kManual, 0.0}; }
};

// Real durations of the camera and its driver, shortened by default where tests would only wait.
struct Timings {
  int transferMs = 0;           // of every extension-unit transfer
  int noAnswerMs = 5000;        // until an unanswered transfer gives ETIMEDOUT
  int streamOffMs = 10;         // a real STREAMOFF takes up to 40
  int wakeUpMs = 0;             // open of a camera that was closed for 2 s; really about 140
  int lostTransfersMs = 100;    // UnplugMode::kTransfersFailFirst: from the first failing transfer
                                // until the node goes
  int reconnectLeaveMs = 200;   // from the reconnect bit until the node goes; up to 1000
  int reconnectReturnMs = 500;  // from then until it is back; negative: never
};

enum class UnplugMode {
  kPlain,               // the node goes at once
  kTransfersFailFirst,  // the queued buffers come back marked as errors, then the node goes
};

// What happens to a frame whose transfer was short, overlong or marked bad by the camera.
enum class Spoiled {
  kDropped,    // the driver's default: silently, leaving a gap in the sequence
  kDelivered,  // with V4L2_BUF_FLAG_ERROR and an old image
};

// A frame that reached a driver buffer.
struct FrameRecord {
  uint64_t number = 0;    // camera's frame number, lost frames counted
  uint32_t sequence = 0;  // the driver's, from STREAMON on
  Telemetry telemetry;    // telemetry.time / 1000.0 is the scene time in seconds
  std::vector<uint8_t> bytes;
};

// All members may be called from any thread and from hook actions and frame callbacks.
class VirtualCamera {
 public:
  VirtualCamera(kernel::HostState& host, std::shared_ptr<kernel::CameraState> state)
      : host_(host), state_(std::move(state)) {}
  ~VirtualCamera();

  const ProductModel& product() const;
  Firmware& firmware();
  CameraModel& model();  // scene, telemetry, footer revision, noise

  // Place on the host.
  bool Plugged() const;
  int NodeNumber() const;          // of the capture node; -1 while unplugged
  int MetadataNodeNumber() const;  // -1 when it has none
  std::string DevicePath() const;  // "/dev/videoN"; empty while unplugged
  void Unplug(UnplugMode mode = UnplugMode::kPlain);
  void UnplugAfter(int ms, UnplugMode mode = UnplugMode::kPlain);
  void Plug();  // takes the lowest free numbers; nothing when already plugged
  void PlugAfter(int ms);
  // Unplugs and comes back `ms` later.
  void Replug(int ms);

  // Frames.
  void SetScene(Scene scene) { model().SetScene(std::move(scene)); }
  double KelvinAt(uint32_t timeMs, uint32_t x, uint32_t y) {
    return model().KelvinAt(timeMs, x, y);
  }
  void SetPace(Pace pace);
  // Manual pace: one frame now. Waits up to `waitMs` for a stream with a queued buffer; false when
  // none came (no frame was made).
  bool DeliverFrame(int waitMs = 1000);
  // Waits until every driver buffer is queued and empty again, that is, the program has finished
  // with all delivered frames. False when `waitMs` passed first.
  bool WaitUntilConsumed(int waitMs = 1000);
  FrameRecord LastFrame() const;  // newest delivered; empty bytes before the first
  // A recent frame by its telemetry TIME; bytes only if it is the newest.
  std::optional<FrameRecord> FrameAt(uint32_t timeMs) const;
  void ForgetFrames();  // those of LastFrame and FrameAt: a long run need not keep thousands
  uint64_t FramesDelivered() const;
  uint64_t FramesLost() const;  // came while no buffer was queued
  bool Streaming() const;

  // Faults of the stream.
  void SetStalled(bool stalled);  // no frames at all, and no error
  void SpoilFrames(unsigned count, Spoiled how);
  // A transfer error without unplug: queued buffers come back marked as errors, then silence until
  // STREAMOFF and STREAMON.
  void BreakTransfers();
  void LimitBuffers(unsigned most);       // REQBUFS grants at most so many
  void SetBufferLength(uint32_t length);  // QUERYBUF length; 0: the frame's size

  // Faults of calls; see FaultPlan::Add for skip and times. EINTR works like any other error.
  void FailStep(Step step, int error, unsigned skip = 0, unsigned times = 1);
  void FailTransfer(uint8_t selector, int error, unsigned skip = 0, unsigned times = 1);
  void ClearFaults();  // also hooks
  // Runs the action once at the matching moment number `skip` from now.
  void At(Moment moment, std::function<void()> action, unsigned skip = 0);
  void AtTransfer(Moment moment, uint8_t selector, std::function<void()> action, unsigned skip = 0);

  // Nodes and sysfs.
  void DenyAccess(bool denied);  // open gives EACCES
  // Content of "idVendor", "idProduct", "product" or any other file of the USB device; none
  // removes it. Holds for this and every later plug-in.
  void SetSysfsFile(const std::string& name, std::optional<std::string> content);

  void SetTimings(const Timings& timings);

 private:
  kernel::HostState& host_;
  std::shared_ptr<kernel::CameraState> state_;
};

}  // namespace zosim
