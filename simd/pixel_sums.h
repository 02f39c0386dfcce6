// Stages that add or subtract a value per pixel.
#ifndef ZOCAM_SIMD_PIXEL_SUMS_H
#define ZOCAM_SIMD_PIXEL_SUMS_H

#include "decode/reflection.h"
#include "decode/subtraction.h"
#include "simd/lanes.h"

namespace simd {
namespace {

void AccumulateKelvin(std::span<double> sums, std::span<const uint16_t> image, int32_t resolution) {
  const std::size_t count = sums.size();
  double* sum = sums.data();
  const uint16_t* pixel = image.data();
  std::size_t i = 0;
  for (; i + kDoubles <= count; i += kDoubles) {
    Store(sum + i,
          Load<Doubles>(sum + i) + WordsToDoubles(pixel + i) / static_cast<double>(resolution));
  }
  for (; i < count; ++i) sum[i] += static_cast<double>(pixel[i]) / resolution;
}

void ApplyCorrections(std::span<uint16_t> image, std::span<const uint16_t> corrections) {
  const std::size_t whole = image.size() - image.size() % kWords;
  for (std::size_t i = 0; i < whole; i += kWords) {
    Store(&image[i], Load<U16s>(&image[i]) + Load<U16s>(&corrections[i]));
  }
  scalar::ApplyCorrections(image.subspan(whole), corrections.subspan(whole));
}

void SubtractReference(std::span<uint16_t> image, std::span<const uint16_t> reference) {
  constexpr uint16_t kZeroCelsius = 27315;
  const std::size_t whole = image.size() - image.size() % kWords;
  for (std::size_t i = 0; i < whole; i += kWords) {
    const auto pixels = Load<U16s>(&image[i]);
    const auto references = Load<U16s>(&reference[i]);
    const U16s above = pixels - references;
    const U16s below = references - pixels;
    const U16s raised = above + kZeroCelsius;
    const U16s saturated = raised < above ? ~U16s{} : raised;
    const U16s lowered = below < kZeroCelsius ? kZeroCelsius - below : U16s{};
    Store(&image[i], pixels >= references ? saturated : lowered);
  }
  scalar::SubtractReference(image.subspan(whole), reference.subspan(whole));
}

}  // namespace
}  // namespace simd

#endif
