// The lowest and the highest of values.
#ifndef ZOCAM_SIMD_EXTREMES_H
#define ZOCAM_SIMD_EXTREMES_H

#include "render/frame_statistics.h"
#include "simd/word_lanes.h"

namespace simd {
namespace {

// Extremes that widen by runs of values. Signed, because SSE2 compares no unsigned words.
class RunningExtremes {
 public:
  explicit RunningExtremes(zocam::Extremes extremes = {}) {
    for (Lanes& part : parts_) {
      part.min = I16s{} + Ordered(extremes.min);
      part.max = I16s{} + Ordered(extremes.max);
    }
  }

  void Widen(U16s values) { parts_[0].Widen(Ordered(values)); }

  void Widen(const uint16_t* values, std::size_t count) {
    if (count < kWords) {
      for (std::size_t i = 0; i < count; ++i) {
        parts_[0].Widen(I16s{} + Ordered(values[i]));
      }
      return;
    }
    Lanes even = parts_[0];
    Lanes odd = parts_[1];
    std::size_t i = 0;
    for (; i + 2 * kWords <= count; i += 2 * kWords) {
      even.Widen(Ordered(values + i));
      odd.Widen(Ordered(values + i + kWords));
    }
    if (i + kWords <= count) even.Widen(Ordered(values + i));
    odd.Widen(Ordered(values + count - kWords));  // some are seen twice
    parts_[0] = even;
    parts_[1] = odd;
  }

  zocam::Extremes Get() const {
    int16_t min = parts_[0].min[0];
    int16_t max = parts_[0].max[0];
    for (const Lanes& part : parts_) {
      for (std::size_t lane = 0; lane < kWords; ++lane) {
        min = part.min[lane] < min ? part.min[lane] : min;
        max = part.max[lane] > max ? part.max[lane] : max;
      }
    }
    return {Value(min), Value(max)};
  }

 private:
  struct Lanes {
    void Widen(I16s values) {
      min = values < min ? values : min;
      max = values > max ? values : max;
    }

    I16s min{}, max{};
  };

  static int16_t Ordered(uint16_t value) { return static_cast<int16_t>(value ^ 0x8000); }
  static I16s Ordered(U16s values) { return reinterpret_cast<I16s>(values ^ AllWords(0x8000)); }
  static I16s Ordered(const uint16_t* values) { return Ordered(Load<U16s>(values)); }
  static uint16_t Value(int16_t ordered) { return static_cast<uint16_t>(ordered ^ 0x8000); }

  Lanes parts_[2];
};

}  // namespace
}  // namespace simd

#endif
