// What is behind the USB side of an emulated device: who it is, what it sees, and the controls of
// its extension unit. A camera of the family shares all of that with the virtual camera; the other
// webcam is anyone's.
#pragma once

#include <cstdint>
#include <span>

#include "sim/model/camera_model.h"
#include "sim/usb/usb_descriptors.h"
#include "sim/virtual_camera.h"

namespace zosim::usb {

class VideoSource {
 public:
  VideoSource(Identity identity, VideoFormat format)
      : identity_(std::move(identity)), format_(std::move(format)) {}
  virtual ~VideoSource() = default;

  const Identity& identity() const { return identity_; }
  const VideoFormat& format() const { return format_; }

  // The camera behind the source; null for any other device.
  virtual CameraModel* camera() { return nullptr; }
  // Frames per second when the host asked for this rate; 0: as fast as they are fetched.
  virtual double RateFor(double negotiated) const { return negotiated; }
  // The next frame, or one that nobody takes, of a stream with so many frames per second.
  virtual void NextFrame(double rate, std::span<uint8_t> frame) = 0;
  virtual void SkipFrame(double rate) = 0;
  virtual void PowerOn() {}

 private:
  const Identity identity_;
  const VideoFormat format_;
};

class CameraSource : public VideoSource {
 public:
  CameraSource(const CameraConfig& config, Pace pace);

  CameraModel* camera() override { return &model_; }
  double RateFor(double negotiated) const override;
  void NextFrame(double rate, std::span<uint8_t> frame) override { model_.RenderNext(rate, frame); }
  void SkipFrame(double rate) override { model_.SkipNext(rate); }
  void PowerOn() override { model_.Restart(); }

 private:
  CameraModel model_;
  const Pace pace_;
};

// Vendor and product are those of the virtual camera's foreign device.
class WebcamSource : public VideoSource {
 public:
  WebcamSource();

  void NextFrame(double rate, std::span<uint8_t> frame) override;
  void SkipFrame(double) override { ++number_; }

 private:
  uint8_t number_ = 0;
};

}  // namespace zosim::usb
