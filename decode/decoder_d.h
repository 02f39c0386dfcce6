// Decoder D: temperatures from a camera that sees a reference body of known temperature. The
// camera's pixels drift between flat-field corrections (FFCs); decoder D shifts them so that the
// reference body reads what its sensors say, plus a drift term that depends on the time since the
// last FFC. The coefficients are fits to the camera.
#ifndef ZOCAM_DECODE_DECODER_D_H
#define ZOCAM_DECODE_DECODER_D_H

#include <array>
#include <cstdint>
#include <span>

#include "core/device_record.h"
#include "decode/raw_frame.h"

inline constexpr std::size_t kRefPointCount = 3;

// What a frame says of the reference body; kelvin.
struct ReferenceReadings {
  std::array<double, kRefPointCount> sensor;    // what the body's sensors say
  std::array<double, kRefPointCount> measured;  // what the image shows at the points
};

// Where in the frame the centre sample of a reference point lies, in bytes: column x of row y / 2.
std::size_t RefPointOffset(const RefPoint& point, uint32_t width);

// Kelvin of a reading of one of the body's sensors.
double RefSensorKelvin(uint16_t reading);

// Reads a frame; footer line 1 holds the sensors' readings. The points lie inside the image, off
// its border.
ReferenceReadings ReadReference(std::span<const uint8_t> frame, std::size_t imageBytes,
                                uint32_t width, std::span<const RefPoint> points,
                                int32_t resolution);

// What decoder D keeps from frame to frame.
struct DriftState {
  RefAverages& averages;
  bool& baselineCaptured;
  double& baseline;  // kelvin; 0.0: none yet
};

// How the pixels of one frame are shifted.
struct DriftCorrection {
  double reference;  // R, the reference body's true temperature in kelvin
  double offset;     // O, in kelvin
  double scale;      // c
  bool stretchCold;  // whether pixels below R are stretched about it
};

// Takes a frame's readings into the state and says how to shift its pixels.
DriftCorrection FollowDrift(const Footer& footer, const ReferenceReadings& readings,
                            DriftState state);

// Shifts one pixel word.
uint16_t CorrectDrift(uint16_t word, const DriftCorrection& correction, int32_t resolution);

namespace scalar {
// Shifts every word of an image.
void CorrectDrifts(std::span<const uint8_t> words, std::span<uint16_t> out, bool upsideDown,
                   const DriftCorrection& correction, int32_t resolution);
}  // namespace scalar

#endif
