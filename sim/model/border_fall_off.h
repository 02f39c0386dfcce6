// The count cameras' detector gives fewer counts the farther a pixel lies from the centre, and the
// fewer the colder the sensor is.
#pragma once

#include <cstdint>
#include <span>

#include "sim/model/product.h"
#include "sim/model/telemetry.h"

namespace zosim {

// Takes the missing counts away from the image words of a frame.
void TakeBorderFallOff(const ProductModel& model, const Telemetry& telemetry,
                       std::span<uint8_t> image);

}  // namespace zosim
