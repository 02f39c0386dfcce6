// Circumference correction: evens out the counts between the image centre and its border, before
// the counts become temperatures. The term grows with the squared distance from the centre and is
// weighted per frame by how warm the sensor is.
#ifndef ZOCAM_DECODE_CIRCUMFERENCE_H
#define ZOCAM_DECODE_CIRCUMFERENCE_H

#include <cstdint>
#include <span>

#include "decode/raw_frame.h"

// Fills width x height entries with each pixel's squared distance from the centre, times 0.005.
void FillCircumferenceTable(std::span<double> table, uint32_t width, uint32_t height);

// The frame's weight. correctionFlag counts on telemetry revision 14 only.
double CircumferenceFactor(const Footer& footer, uint8_t revision, uint32_t correctionFlag);

namespace scalar {
// Adds table x factor to each big-endian word of an image of that width; the result lies in 0 to
// 65535. The table is as FillCircumferenceTable makes it; words and out lie apart.
void CorrectCircumference(std::span<const uint8_t> words, std::span<const double> table,
                          uint32_t width, double factor, std::span<uint8_t> out);
}  // namespace scalar

#endif
