#include "sim/model/border_fall_off.h"

#include <algorithm>

#include "sim/model/wire.h"

namespace zosim {
namespace {

// Counts lost per squared pixel of distance while the sensor is at `kFullBelow` or colder. From
// there the loss declines linearly and ends at one of two temperatures, by the time of the last
// FFC.
constexpr double kFullLoss = 5.0 * 0.005;
constexpr double kFullBelow = 270.0;
constexpr double kNoneFrom = 315.0;
constexpr double kNoneFromEarly = 500.0;
constexpr uint32_t kEarlyFfcMs = 60000;

double LossPerSquare(const Telemetry& telemetry) {
  const double end = telemetry.timeFfc < kEarlyFfcMs ? kNoneFromEarly : kNoneFrom;
  const double rest = (end - telemetry.fpat / 100.0) / (end - kFullBelow);
  return kFullLoss * std::clamp(rest, 0.0, 1.0);
}

}  // namespace

void TakeBorderFallOff(const ProductModel& model, const Telemetry& telemetry,
                       std::span<uint8_t> image) {
  const double perSquare = LossPerSquare(telemetry);
  const uint32_t centreX = model.width / 2;
  const uint32_t centreY = model.height / 2;
  size_t at = 0;
  for (uint32_t y = 0; y < model.height; ++y) {
    const double dy = static_cast<double>(y) - centreY;
    for (uint32_t x = 0; x < model.width; ++x, at += 2) {
      const double dx = static_cast<double>(x) - centreX;
      // Whole counts, so that nothing of the scene is lost in rounding.
      const auto lost = static_cast<uint32_t>((dx * dx + dy * dy) * perSquare);
      const uint32_t count = GetBig16(image, at);
      PutBig16(image, at, count > lost ? count - lost : 0);
    }
  }
}

}  // namespace zosim
