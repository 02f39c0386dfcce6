#include "sim/usb/video_source.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "sim/virtual_host.h"

namespace zosim::usb {
namespace {

constexpr double kIntervalsPerSecond = 1e7;

uint32_t IntervalOf(double rate) {
  return static_cast<uint32_t>(std::lround(kIntervalsPerSecond / rate));
}

Identity IdentityOf(const CameraConfig& config) {
  return {config.vendorId, config.productId, config.releaseNumber, config.productName,
          std::to_string(config.serialNumber)};
}

// The driver sees one picture, footer lines and all.
VideoFormat FormatOf(const ProductModel& product) {
  VideoFormat format{
      static_cast<uint16_t>(product.width), static_cast<uint16_t>(product.Lines()), {}};
  if (product.highRate) format.intervals.push_back(IntervalOf(kHighRate));
  format.intervals.push_back(IntervalOf(kNormalRate));
  return format;
}

Identity ForeignIdentity() {
  const ForeignDevice device;
  return {device.vendorId, device.productId, 0x0100, device.productName, ""};
}

}  // namespace

CameraSource::CameraSource(const CameraConfig& config, Pace pace)
    : VideoSource(IdentityOf(config), FormatOf(ModelOf(config.productId))),
      model_(config),
      pace_(pace) {}

double CameraSource::RateFor(double negotiated) const {
  switch (pace_.kind) {
    case Pace::Kind::kRate:
      return pace_.framesPerSecond;
    case Pace::Kind::kAsFastAsTaken:
      return 0.0;
    default:
      return negotiated;
  }
}

WebcamSource::WebcamSource() : VideoSource(ForeignIdentity(), {64, 48, {IntervalOf(30.0)}}) {}

void WebcamSource::NextFrame(double, std::span<uint8_t> frame) {
  std::fill(frame.begin(), frame.end(), number_++);
}

}  // namespace zosim::usb
