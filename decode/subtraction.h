// Subtraction temperature: the image as its difference to a reference image.
#ifndef ZOCAM_DECODE_SUBTRACTION_H
#define ZOCAM_DECODE_SUBTRACTION_H

#include <cstdint>
#include <span>

namespace scalar {
// Turns each pixel into its difference to the reference plus 27315 (0 degrees Celsius in 1/100 K,
// whatever the image's resolution), saturating at 0 and 65535.
void SubtractReference(std::span<uint16_t> image, std::span<const uint16_t> reference);
}  // namespace scalar

#endif
