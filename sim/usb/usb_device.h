// One emulated USB video device: its answers to the driver's requests and its stream, on one
// connection to the virtual host controller at a time. Everything happens on the caller's thread.
#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sim/model/extension_unit.h"
#include "sim/usb/usbip_wire.h"
#include "sim/usb/vhci_port.h"
#include "sim/usb/video_source.h"

namespace zosim::usb {

using Time = std::chrono::steady_clock::time_point;

enum class UnplugMode {
  kPlain,               // the device goes at once
  kTransfersFailFirst,  // transfers under way fail, a tenth of a second later the device goes
};

// What happens to a frame on its way.
enum class Spoiled { kShort, kOverlong, kMarked };

class UsbDevice {
 public:
  UsbDevice(std::unique_ptr<VideoSource> source, TransferKind kind);

  VideoSource& source() { return *source_; }
  void Plug();
  void Unplug(UnplugMode mode);
  bool Plugged() const { return port_ != nullptr; }
  const VhciPort* port() const { return port_.get(); }
  // Plugs or unplugs at a later time.
  void PlugAt(Time time) { plugAt_ = time; }
  void UnplugAt(Time time) { unplugAt_ = time; }

  // The stream's faults. A silent device leaves a control request without an answer, a frozen one
  // sends no frames; broken transfers end the stream until it is started anew.
  void SetFrozen(bool frozen);
  void BreakTransfers();
  void SpoilFrames(unsigned count, Spoiled how);
  uint64_t FramesSent() const { return framesSent_; }
  uint64_t FramesLost() const { return framesLost_; }
  bool Streaming() const { return streaming_; }

  // Runs on arrival of the next transfer with the selector, before the device looks at it.
  void AtTransfer(uint8_t selector, std::function<void()> action);
  // Every transfer on a control's current value since the last call, in order: "SET_CUR 3
  // 480204000000". Those that failed have no bytes.
  std::vector<std::string> TakeTransfers();

  // The caller's loop: receive when the socket is readable, and advance at the latest when due.
  int Socket() const { return port_ == nullptr ? -1 : port_->socket(); }
  void Receive();
  std::optional<Time> NextDue() const;
  void Advance();

 private:
  struct Result {
    TransferResult end;
    std::vector<uint8_t> data;
  };

  void Answer(const Request& request);
  void Unlink(const Request& request);
  Result HandleControl(const Request& request);
  Result HandleStandard(const Request& request);
  Result HandleVideoControl(const Request& request);
  Result HandleExtensionUnit(const Request& request, uint8_t selector);
  Result HandleStreaming(const Request& request);
  std::vector<uint8_t> StreamParameters() const;

  double Rate() const;
  std::chrono::nanoseconds FrameTime() const;
  void StartStream();
  void MakeDueFrames(Time now);
  void MakePayload();
  void SendBulk();
  void SendIsochronous(Time now);
  void FailTransfers();

  const std::unique_ptr<VideoSource> source_;
  const TransferKind kind_;
  std::unique_ptr<VhciPort> port_;
  std::optional<Time> plugAt_;
  std::optional<Time> unplugAt_;
  std::optional<std::pair<uint8_t, std::function<void()>>> atTransfer_;
  std::vector<std::string> transfers_;

  // What a stay on the bus begins anew.
  StallReason lastStall_ = StallReason::kNone;
  uint8_t configuration_ = 0;
  uint32_t interval_ = 0;  // negotiated, in 100 ns
  std::deque<Request> videoRequests_;
  bool streaming_ = false;
  Time nextFrameAt_;
  Time nextPacketsAt_;

  // The frame on its way: header and data of the bulk payload, or data alone.
  std::vector<uint8_t> payload_;
  size_t payloadSent_ = 0;
  uint8_t frameToggle_ = 0;
  bool frameMarked_ = false;
  bool frozen_ = false;
  unsigned spoiledFrames_ = 0;
  Spoiled spoiledHow_ = Spoiled::kShort;
  uint64_t framesSent_ = 0;
  uint64_t framesLost_ = 0;
};

}  // namespace zosim::usb
