// decode/: from a raw frame to a temperature image. Stages are pure functions over spans; the glue
// that reads a handle and calls them is pipeline.cc, temp_decoders.cc, reflection_correction.cc and
// decode_settings.cc. Not here: pictures (render/). Runs on whichever thread calls ZoLib_Decode,
// under the handle's decodeLock.
//
// This file: the layout of a raw frame. A frame is 16-bit big-endian words, image first, then the
// footer lines, of which the first ones carry telemetry. Offsets count from the footer's start.
#ifndef ZOCAM_DECODE_RAW_FRAME_H
#define ZOCAM_DECODE_RAW_FRAME_H

#include <cstdint>
#include <span>

#include "zocam/zocam.h"

#include "core/byte_order.h"

// Reads a frame's telemetry. The footer of every model is long enough for every field.
class Footer {
 public:
  explicit Footer(const uint8_t* start) : start_(start) {}

  uint8_t Revision() const { return start_[1]; }
  uint8_t FfcState() const { return start_[6] >> 4 & 3; }  // shown by frame dumps only
  uint32_t Time() const { return Word32(2); }              // ms
  double SensorKelvin() const { return Kelvin(48); }
  double HousingKelvin() const { return Kelvin(52); }
  // At the last flat-field correction (FFC); FfcTime is 0 while none has been made.
  double FfcSensorKelvin() const { return Kelvin(58); }
  uint32_t FfcTime() const { return Word32(60); }
  double FfcHousingKelvin() const { return Kelvin(64); }
  // Tested for zero; the last two on revision 14 only.
  uint16_t StretchFlag() const { return Word(330); }
  uint16_t CorrectionFlag() const { return Word(416); }
  uint16_t ResolutionFlag() const { return Word(418); }

 private:
  uint16_t Word(int offset) const { return ReadBe16(start_ + offset); }
  // The less significant word stands first.
  uint32_t Word32(int offset) const {
    return Word(offset) | static_cast<uint32_t>(Word(offset + 2)) << 16;
  }
  double Kelvin(int offset) const { return Word(offset) / 100.0; }

  const uint8_t* start_;
};

// Writes f(word) for each big-endian word of an image, in order or, upside down, from the end.
// out holds one value for every two bytes of words.
template <class Function>
void MapImageWords(std::span<const uint8_t> words, std::span<uint16_t> out, bool upsideDown,
                   Function f) {
  const std::size_t count = out.size();
  if (upsideDown) {
    for (std::size_t k = 0; k < count; ++k) out[count - 1 - k] = f(ReadBe16(&words[2 * k]));
  } else {
    for (std::size_t k = 0; k < count; ++k) out[k] = f(ReadBe16(&words[2 * k]));
  }
}

namespace scalar {
// Writes the words of an image in native byte order to any address, aligned or not.
void CopyImageWords(std::span<const uint8_t> words, void* out, bool upsideDown);
}  // namespace scalar

// Truncates toward zero and keeps the low 16 bits; what no 64-bit integer can hold becomes 0.
inline uint16_t TruncateToLow16(double value) {
  constexpr double kInt64Limit = 9223372036854775808.0;
  if (!(value > -kInt64Limit && value < kInt64Limit)) return 0;
  return static_cast<uint16_t>(static_cast<int64_t>(value));
}

extern "C" {

// Writes a frame's image words in native byte order, turned when the handle is upside down. 6 when
// dstSize (bytes) is too small.
ZO_API ZoStatus ZoLib_Priv_CopyRawImage(_ZoDev* dev, const uint8_t* raw, uint16_t* dst,
                                        uint32_t dstSize);
}

#endif
