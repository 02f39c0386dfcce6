#include "python/src/celsius.h"

#include <cstddef>

namespace zopy {
namespace {

// (value * kFactor - zero) / divisor, whose dividend has at most 17 bits. A division would take
// twice the time of two products: with the few leading bits of 1/divisor, which is exact, and with
// the rest of it. That their sum is rounded as the quotient would be was found by trying all
// values; the package's tests do so again.
struct Scale {
  int32_t zero;
  float high;
  float low;

  constexpr Scale(int32_t zeroAt, int32_t divisor)
      : zero(zeroAt),
        high(static_cast<float>(Leading(1.0 / divisor))),
        low(static_cast<float>(1.0 / divisor - static_cast<double>(high))) {}

 private:
  static constexpr double Leading(double value) {
    constexpr int kBits = 6;
    double unit = 1.0;
    while (unit > value) unit /= 2;
    unit /= 1 << (kBits - 1);
    return static_cast<double>(static_cast<int>(value / unit)) * unit;
  }
};

template <int kFactor>
[[gnu::always_inline]] inline void Convert(const uint16_t* values, size_t count, Scale scale,
                                           float* out) {
  for (size_t i = 0; i < count; ++i) {
    const auto dividend = static_cast<float>(values[i] * kFactor - scale.zero);
    out[i] = dividend * scale.high + dividend * scale.low;
  }
}

template <int kFactor>
void ConvertPlain(const uint16_t* values, size_t count, Scale scale, float* out) {
  Convert<kFactor>(values, count, scale, out);
}

#if defined(__x86_64__)
template <int kFactor>
[[gnu::target("avx2")]] void ConvertAvx2(const uint16_t* values, size_t count, Scale scale,
                                         float* out) {
  Convert<kFactor>(values, count, scale, out);
}
#endif

template <int kFactor>
void ConvertAll(std::span<const uint16_t> values, Scale scale, std::span<float> out) {
#if defined(__x86_64__)
  static const bool hasAvx2 = __builtin_cpu_supports("avx2") != 0;
  if (hasAvx2) return ConvertAvx2<kFactor>(values.data(), values.size(), scale, out.data());
#endif
  ConvertPlain<kFactor>(values.data(), values.size(), scale, out.data());
}

constexpr int32_t kZeroCelsius = 27315;  // in 1/100 K; what differences are shown above, too

}  // namespace

void WriteCelsius(std::span<const uint16_t> values, int32_t resolution, std::span<float> out) {
  // In 1/20 K the zero of tenths is a whole number.
  if (resolution == 10) return ConvertAll<2>(values, Scale(kZeroCelsius / 5, 20), out);
  ConvertAll<1>(values, Scale(kZeroCelsius, 100), out);
}

void WriteDifferences(std::span<const uint16_t> values, int32_t resolution, std::span<float> out) {
  ConvertAll<1>(values, Scale(kZeroCelsius, resolution), out);
}

}  // namespace zopy
