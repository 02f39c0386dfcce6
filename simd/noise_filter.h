// The noise filter, in 16-bit lanes.
#ifndef ZOCAM_SIMD_NOISE_FILTER_H
#define ZOCAM_SIMD_NOISE_FILTER_H

#include "decode/noise_filter.h"
#include "simd/extremes.h"
#include "simd/lanes.h"

namespace simd {
namespace {

// Whole quotients; divisors are 10 to 78, quotients below 2^10.
U16s Quotient(U16s dividend, U16s divisor) {
  using Ints = Vector<int32_t, kWords / 2>;
  using Floats = Vector<float, kWords / 2>;
  // 2^19 / divisor, too large by less than 78 / divisor, so that the product is too large by less
  // than 78 * 2^10 / 2^19: its whole part is the quotient or the next number.
  constexpr float kDividend = 0x1p19F + 78;
  const Ints divisors = reinterpret_cast<Ints>(divisor);
  const Ints even = Convert<Ints>(kDividend / Convert<Floats>(divisors & 0xFFFF));
  const Ints odd = Convert<Ints>(kDividend / Convert<Floats>(divisors >> 16));
  const U16s quotient = MultiplyHigh(dividend, reinterpret_cast<U16s>(even | (odd << 16))) >> 3;
  const I16s remainder = reinterpret_cast<I16s>(dividend - quotient * divisor);
  return quotient + reinterpret_cast<U16s>(remainder >> 15);
}

// Filters one vector of pixels between rows whose ends have pixels that never count: each differs
// from all pixels by threshold or more, wrapped to 16 bits as well.
//
// With t the threshold and z = neighbour - pixel + t of the neighbours that count, which is 1 to
// 2t - 1, the result is pixel - t + (10t + the weighted sum of z) / (the sum of all weights). All
// of it fits into 16 bits.
class NoiseKernel {
 public:
  static constexpr int32_t kMaxThreshold = 0xFFFF / (10 + 68 * 2);

  explicit NoiseKernel(uint16_t threshold)
      : threshold_(threshold),
        least_(static_cast<int16_t>(0x8000 - 2 * threshold)),
        offset_(static_cast<uint16_t>((10 + 68 * 2) * threshold)) {}

  U16s Filter(const uint16_t* above, const uint16_t* centre, const uint16_t* below) const {
    const U16s pixel = Load<U16s>(centre);
    const U16s base = pixel + threshold_ + 0x8000;
    Neighbours sides = {};
    Neighbours diagonals = {};
    Add(diagonals, base, above - 1);
    Add(sides, base, above);
    Add(diagonals, base, above + 1);
    Add(sides, base, centre - 1);
    Add(sides, base, centre + 1);
    Add(diagonals, base, below - 1);
    Add(sides, base, below);
    Add(diagonals, base, below + 1);
    const U16s sum = Weigh(sides.sum, diagonals.sum) + offset_;
    const U16s weights = Weigh(sides.count, diagonals.count) + 10;
    return pixel - threshold_ + Quotient(sum, weights);
  }

 private:
  struct Neighbours {
    U16s sum;    // of z, and 0x8000 - 2t for each neighbour
    U16s count;  // of those that count
  };

  // The z that count end at 2t - 1; with 0x8000 - 2t more they are the largest of all signed
  // numbers.
  void Add(Neighbours& all, U16s base, const uint16_t* place) const {
    const I16s z = reinterpret_cast<I16s>(Load<U16s>(place) - base);
    const I16s counted = z > least_ ? z : least_ + I16s{};
    all.sum += reinterpret_cast<U16s>(counted);
    all.count -= reinterpret_cast<U16s>(z > least_);
  }

  // 10 * sides + 7 * diagonals
  static U16s Weigh(U16s sides, U16s diagonals) {
    return ((sides + diagonals) << 3) + (sides + sides) - diagonals;
  }

  uint16_t threshold_;
  int16_t least_;
  uint16_t offset_;  // 10t - 68 * (0x8000 - 2t)
};

// Copies of the rows around the current one, between pixels that never count.
class PaddedRows {
 public:
  static constexpr uint32_t kMaxWidth = 4096;

  PaddedRows(const uint16_t* image, uint32_t width, uint32_t height, uint16_t padding)
      : image_(image), width_(width), height_(height), padding_(padding) {
    for (auto& row : rows_) Fill(row, width + 2 * kWords);
    Fetch(0);
    Fetch(1);
  }

  const uint16_t* Row(uint32_t y) const { return rows_[y % kRows] + kWords; }

  // Rows are fetched before their turn, so that they have left the store buffer.
  void Fetch(uint32_t y) {
    uint16_t* row = rows_[y % kRows] + kWords;
    if (y == height_) Fill(row, width_);
    if (y >= height_) return;
    const uint16_t* from = image_ + std::size_t{y} * width_;
    std::size_t x = 0;
    for (; x + kWords <= width_; x += kWords) Store(row + x, Load<U16s>(from + x));
    for (; x < width_; ++x) row[x] = from[x];
  }

 private:
  static constexpr uint32_t kRows = 4;

  // Rounds up to whole vectors; what follows is padding, too.
  void Fill(uint16_t* pixels, std::size_t count) const {
    for (std::size_t i = 0; i < count; i += kWords) Store(pixels + i, U16s{} + padding_);
  }

  const uint16_t* image_;
  uint32_t width_;
  uint32_t height_;
  uint16_t padding_;
  alignas(kVectorBytes) uint16_t rows_[kRows][kMaxWidth + 3 * kWords];
};

void FilterNoise(std::span<const uint16_t> in, std::span<uint16_t> out, uint32_t width,
                 uint32_t height, int32_t threshold) {
  const std::size_t count = std::size_t{width} * height;
  RunningExtremes running;
  running.Widen(in.data(), count);
  const zocam::Extremes extremes = running.Get();
  // More would let wrapped differences count.
  const int64_t maxSpan = 0x10000 - 2 * int64_t{threshold};
  if (threshold < 1 || threshold > NoiseKernel::kMaxThreshold || width > PaddedRows::kMaxWidth ||
      extremes.max - extremes.min > maxSpan) {
    scalar::FilterNoise(in, out, width, height, threshold);
    return;
  }
  const NoiseKernel kernel(static_cast<uint16_t>(threshold));
  PaddedRows rows(in.data(), width, height, static_cast<uint16_t>(extremes.max + threshold));
  uint16_t* to = out.data();
  for (uint32_t y = 0; y < height; ++y, to += width) {
    rows.Fetch(y + 2);
    const uint16_t* above = rows.Row(y - 1);
    const uint16_t* centre = rows.Row(y);
    const uint16_t* below = rows.Row(y + 1);
    const auto filter = [&](std::size_t x) {
      return kernel.Filter(above + x, centre + x, below + x);
    };
    std::size_t x = 0;
    for (; x + kWords <= width; x += kWords) Store(to + x, filter(x));
    if (x == width) continue;
    const U16s last = filter(x);
    __builtin_memcpy(to + x, &last, (width - x) * sizeof *to);
  }
}

}  // namespace
}  // namespace simd

#endif
