// Kelvin and telemetry in, the bytes of one raw frame out.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

#include "sim/model/product.h"
#include "sim/model/telemetry.h"

namespace zosim {

using KelvinOfPixel = std::function<double(uint32_t x, uint32_t y)>;

// Fills `frame` (model.FrameBytes() bytes) completely. `revision` is what the footer claims; the
// image is always encoded as the model's own revision requires.
void EncodeFrame(const ProductModel& model, const Telemetry& telemetry, uint8_t revision,
                 const KelvinOfPixel& kelvin, std::span<uint8_t> frame);

}  // namespace zosim
