// The state of the virtual kernel. One lock guards all of it.
#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "sim/kernel/call_log.h"
#include "sim/kernel/capture_queue.h"
#include "sim/kernel/faults.h"
#include "sim/kernel/path_tree.h"
#include "sim/model/camera_model.h"
#include "sim/virtual_camera.h"

namespace zosim::kernel {

using Lock = std::unique_lock<std::mutex>;

struct Attachment;
struct OpenFile;

enum class NodeKind { kCapture, kMetadata, kForeign, kGap };

// Seconds per frame.
struct FrameInterval {
  uint32_t numerator;
  uint32_t denominator;
};
constexpr FrameInterval kNormalInterval = {30, 259};
constexpr FrameInterval kShortInterval = {10, 259};

// A number among /dev/videoN. It stays taken while anyone holds the node: the device it belongs to,
// or an open file of it.
struct VideoNode {
  int number = -1;
  NodeKind kind = NodeKind::kGap;
  std::weak_ptr<Attachment> attachment;
};

// One stay of a device on the host, from plug-in to unplug. Open files keep it longer.
struct Attachment {
  std::shared_ptr<CameraState> camera;  // null for a device that is no camera
  bool registered = true;               // false from the unplug on
  std::string busPort;                  // "9-3"; empty when the device is not on USB
  std::map<std::string, std::string> sysfs;
  std::vector<std::shared_ptr<VideoNode>> nodes;

  // The capture stream.
  CaptureQueue queue;
  const OpenFile* owner = nullptr;  // descriptor that took the stream with S_FMT, S_PARM or REQBUFS
  FrameInterval interval = kNormalInterval;
  bool stopping = false;  // STREAMOFF is at work
  bool broken = false;    // transfers failed: silence until the next STREAMON
  uint32_t nextSequence = 0;
  Time nextFrameAt;
};

// What outlives an unplug: the camera itself and what the test set up for it.
struct CameraState {
  explicit CameraState(const CameraConfig& config) : model(config) {}

  CameraModel model;
  std::shared_ptr<Attachment> attachment;  // null while unplugged
  FaultPlan faults;
  HookList hooks;
  Pace pace;
  Timings timings;
  bool stalled = false;
  bool accessDenied = false;
  unsigned spoiledFrames = 0;
  Spoiled spoiledHow = Spoiled::kDropped;
  unsigned mostBuffers = 32;
  uint32_t bufferLength = 0;  // 0: the frame's size
  std::map<std::string, std::optional<std::string>> sysfsChanges;
  size_t openFiles = 0;
  Time lastClosed;

  std::deque<FrameRecord> frames;  // delivered, newest last; bytes only in lastImage
  std::vector<uint8_t> lastImage;
  uint64_t framesDelivered = 0;
  uint64_t framesLost = 0;
};

// An open descriptor of a node. Mappings made through it keep it open after its close.
struct OpenFile {
  explicit OpenFile(std::shared_ptr<VideoNode> openedNode, std::shared_ptr<Attachment> its, int fd);
  ~OpenFile();  // the final close: gives the stream and its buffers back
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  int descriptor;  // a timerfd, readable when a poll of the node would return
  std::shared_ptr<VideoNode> node;
  std::shared_ptr<Attachment> attachment;
  std::optional<Time> armed;  // what the timerfd is set to
};

struct Mapping {
  std::shared_ptr<OpenFile> file;
  std::shared_ptr<DriverBuffer> memory;
  size_t length = 0;
};

struct HostState {
  std::mutex mutex;
  std::vector<std::shared_ptr<Attachment>> attachments;  // plugged in
  std::map<int, std::weak_ptr<VideoNode>> numbers;
  std::unordered_map<int, std::shared_ptr<OpenFile>> files;  // by descriptor
  std::map<uintptr_t, Mapping> mappings;                     // by address
  std::unordered_map<int, std::string> directories;          // open sysfs directories
  std::multimap<Time, std::function<void()>> events;         // run with the lock held
  PathTree paths;
  CallLog log;
  int nextPort = 1;
};

// The state behind Host(). Made at first use, never destroyed.
HostState& State();

// Runs what is due by now: timed events, frames. First thing in every call.
void Advance(HostState& host);
// Sets every open file's timerfd to the moment its poll would return. Last thing in every call that
// may have changed that.
void UpdateWakeups(HostState& host);
// Runs the camera's actions of a moment with the lock released.
void RunHooks(Lock& lock, CameraState& camera, Moment moment,
              std::optional<uint8_t> selector = std::nullopt);

// Plugging (attachments.cc). Numbers are the lowest free ones.
void PlugCamera(HostState& host, const std::shared_ptr<CameraState>& camera);
void UnplugCamera(HostState& host, CameraState& camera, UnplugMode mode);
void Detach(HostState& host, Attachment& attachment);  // nothing when it went already
std::shared_ptr<VideoNode> AddNode(HostState& host, const std::shared_ptr<Attachment>& attachment,
                                   NodeKind kind);
void RebuildPaths(HostState& host);
void RefreshSysfs(Attachment& attachment);  // after a change of sysfsChanges
// Runs an action after `ms`, with the lock held.
void Schedule(HostState& host, int ms, std::function<void()> action);

// Frames (frame_source.cc).
std::vector<FrameInterval> OfferedIntervals(const ProductModel& product);  // shortest first
double FrameRate(const CameraState& camera, const Attachment& attachment);
// When the next frame can change anything for the program; none: never by itself.
std::optional<Time> NextFrameDue(const Attachment& attachment);
void ProduceFrames(Attachment& attachment, Time now);
void ProduceOneFrame(Attachment& attachment, Time now);
// Gives all queued buffers back as errors with an old image in them.
void FailQueuedBuffers(Attachment& attachment, Time now);
void StartFrames(Attachment& attachment, Time now);
void RestartPace(Attachment& attachment, Time now);  // the next frame is one frame time away

// poll (readiness.cc).
short Readiness(const OpenFile& file, short events);

}  // namespace zosim::kernel
