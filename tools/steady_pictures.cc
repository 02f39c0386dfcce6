#include "tools/steady_pictures.h"

#include <algorithm>
#include <cstdio>

#include "tools/measurement.h"

namespace {

// Stands for a frame whose pixels run evenly from one value to another. The reference body's
// columns, which nobody looks at, are passed over at the start.
Measurement RampMeasurement(const zocam::Frame& frame, const zocam::Device& device, uint16_t low,
                            uint16_t high) {
  zocam::TemperatureImage image{frame.Width(), frame.Height(), 0, {}};
  image.resolution = ZoLib_GetLastTempResolution(device.Handle());
  const uint32_t pixels = image.width * image.height;
  const uint32_t skipped = ZoLib_GetRefTempRegion(device.Handle());
  image.values.reserve(pixels);
  for (uint32_t i = 0; i < pixels; ++i) {
    const uint32_t step = std::max(i, skipped) - skipped;
    image.values.push_back(
        static_cast<uint16_t>(low + uint64_t{step} * (high - low) / (pixels - 1 - skipped)));
  }
  return MeasurementOf(std::move(image), frame, QuantityOf(device));
}

// The values between which the colours of a rising picture change.
std::pair<uint16_t, uint16_t> ChangingRange(const std::vector<uint16_t>& values,
                                            const std::vector<uint8_t>& levels) {
  const auto first =
      std::ranges::find_if(levels, [&](uint8_t level) { return level != levels[0]; });
  const auto last = std::find_if(levels.rbegin(), levels.rend(),
                                 [&](uint8_t level) { return level != levels.back(); });
  if (first == levels.end()) return {values.front(), values.back()};
  return {values[static_cast<size_t>(first - levels.begin() - 1)],
          values[static_cast<size_t>(levels.rend() - last)]};
}

}  // namespace

void SteadyPictures::Prepare(const zocam::Frame& frame) {
  options_.ApplyRange(film_);
  if (!options_.IsManual()) MakeGain();
  bar_ = layout_.ScaleBarFor(frame.Height(), ScaleOf(frame));
}

void SteadyPictures::MakeGain() const {
  std::fprintf(stderr, "scanning %s for one gain for all pictures ...\n", film_.Label().c_str());
  const bool nonlinear = !options_.IsLinear();
  const auto whole = [&] { film_.ScanGain(nonlinear, 1, {}, range_.to); };
  if (range_.from.count() == 0) {
    whole();
  } else {
    // Only a scan of every second frame knows where to begin.
    try {
      film_.ScanGain(nonlinear, 2, range_.from - std::chrono::milliseconds(1), range_.to);
    } catch (const zocam::Error& error) {
      if (error.Status() != ZO_STATUS_NOT_ENOUGH_SIZE) throw;
      whole();
    }
  }
  film_.SetSteadyGain(true);
}

// The gain maps values wherever they are, so that a made-up picture of all values shows it: at
// first to find the range it maps, then to look at this closely.
ColourScale SteadyPictures::ScaleOf(const zocam::Frame& frame) const {
  std::pair<uint16_t, uint16_t> range = {0, 0xFFFF};
  for (int closer = 0; closer < 2 && !options_.IsManual(); ++closer) {
    const Measurement ramp = RampMeasurement(frame, film_, range.first, range.second);
    range = ChangingRange(ramp.image.values, RenderMeasurement(ramp, film_, options_).grey.pixels);
  }
  const Measurement ramp = RampMeasurement(frame, film_, range.first, range.second);
  return {ramp, RenderMeasurement(ramp, film_, options_).grey, film_, options_};
}
