#include "sim/model/frame_encoder.h"

#include <algorithm>
#include <cmath>

#include "sim/model/sensor_counts.h"
#include "sim/model/wire.h"

namespace zosim {
namespace {

template <typename WordOf>
void EncodeImage(const ProductModel& model, const KelvinOfPixel& kelvin, WordOf wordOf,
                 std::span<uint8_t> frame) {
  size_t at = 0;
  for (uint32_t y = 0; y < model.height; ++y) {
    for (uint32_t x = 0; x < model.width; ++x, at += 2) {
      PutBig16(frame, at, wordOf(kelvin(x, y)));
    }
  }
}

}  // namespace

void EncodeFrame(const ProductModel& model, const Telemetry& telemetry, uint8_t revision,
                 const KelvinOfPixel& kelvin, std::span<uint8_t> frame) {
  if (model.rawKind == RawKind::kCounts) {
    const SensorCounts counts(telemetry, model.revision);
    EncodeImage(
        model, kelvin, [&](double k) { return counts.CountFor(k); }, frame);
  } else {
    const double resolution = telemetry.resolutionFlag != 0 ? 100.0 : 10.0;
    const auto wordOf = [resolution](double k) {
      return static_cast<uint16_t>(std::clamp(k * resolution + 0.5, 0.0, 65535.0));
    };
    EncodeImage(model, kelvin, wordOf, frame);
  }
  const std::span<uint8_t> footer = frame.subspan(model.ImageBytes());
  std::fill(footer.begin(), footer.end(), uint8_t{0});
  WriteFooter(telemetry, revision, footer);
}

}  // namespace zosim
