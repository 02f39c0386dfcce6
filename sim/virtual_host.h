// The virtual camera: cameras of the family, the UVC driver and sysfs, inside one process.
//
// sim/ stands in for /dev/videoN under an unmodified program by interposing the C library calls it
// makes. Linking `zocam_sim` into a test (or preloading libzocam-sim.so, see sim/launcher) hands
// every path under /dev/video* and /sys/class/video4linux to the virtual host of this header; all
// other files, descriptors and mappings pass through untouched. The layers, each knowing only those
// above it:
//
//   model/      a camera without transport: products, firmware, scene, telemetry, frames
//   kernel/     nodes, sysfs, V4L2 and extension-unit calls as the UVC driver does them; faults,
//   log interpose/  the C library's symbols: is it ours? then kernel/, else the next definition
//   launcher/   the zocam-sim command and the configuration of the preloaded library
//
// It is no USB emulation, and only one process sees its cameras. There is no thread in it: frames
// and timed events happen inside the calls that could observe them, so nothing moves behind the
// back of a test that uses Pace::Manual().
//
//   zosim::Host().Reset();
//   auto camera = zosim::Host().PlugCamera({.productId = 0x6110});
//   camera->SetPace(zosim::Pace::Manual());
//   ... open "/dev/video0", start streaming ...
//   camera->DeliverFrame();
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "sim/kernel/call_log.h"
#include "sim/virtual_camera.h"

namespace zosim {

// What the program under test still holds.
struct LiveCounts {
  size_t descriptors = 0;  // open descriptors of video nodes
  size_t mappings = 0;     // mapped driver buffers
  size_t buffers = 0;      // driver buffers requested and not given back

  bool operator==(const LiveCounts&) const = default;
};

// A USB video device of another vendor. A missing string leaves out its sysfs file.
struct ForeignDevice {
  uint16_t vendorId = 0x1209;
  uint16_t productId = 0x0001;
  std::string productName = "Webcam";
};

// All members may be called from any thread.
class VirtualHost {
 public:
  // Unplugs everything, forgets pinned numbers, gaps, log and timed events. Descriptors that are
  // still open find their camera gone.
  void Reset();

  // A camera takes the lowest free node number, its metadata node the next one. It stays plugged
  // when the handle is dropped.
  std::shared_ptr<VirtualCamera> PlugCamera(const CameraConfig& config = {});
  // One node each; they give the node number.
  int AddForeignNode(const ForeignDevice& device = {});
  int AddNodeWithoutIdentity();  // a video node that is not on USB
  int AddGap();                  // a number that is taken, with nothing to see
  void RemoveNode(int number);   // of the three above

  std::vector<LogEntry> Log() const;
  std::vector<LogEntry> Transfers() const;  // only extension-unit transfers
  // How often a call of this name was made, failed ones counted ("VIDIOC_STREAMON", "open").
  size_t CountOf(const std::string& name) const;
  void ClearLog();
  LiveCounts Live() const;

 private:
  friend VirtualHost& Host();
  explicit VirtualHost(kernel::HostState& state) : state_(state) {}

  kernel::HostState& state_;
};

// The one virtual host of this process. It lives until the process ends.
VirtualHost& Host();

}  // namespace zosim
