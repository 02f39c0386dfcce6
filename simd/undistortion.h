// Lens undistortion: runs of pixels in fixed point. Where that is too near to a whole number to
// tell its digits from those of the scalar form's doubles, the run is made again in doubles.
#ifndef ZOCAM_SIMD_UNDISTORTION_H
#define ZOCAM_SIMD_UNDISTORTION_H

#include <utility>

#include "decode/undistortion.h"
#include "simd/lanes.h"

namespace simd {
namespace {

using I32s = Vector<int32_t, kVectorBytes / sizeof(int32_t)>;

// Adds the products of lanes 0 and 1, 2 and 3, ...
I32s AddProductPairs(I16s a, I16s b) {
#if defined(__AVX2__)
  return reinterpret_cast<I32s>(
      _mm256_madd_epi16(reinterpret_cast<__m256i>(a), reinterpret_cast<__m256i>(b)));
#elif defined(__SSE2__)
  return reinterpret_cast<I32s>(
      _mm_madd_epi16(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b)));
#else
  const int32x4_t low = vmull_s16(vget_low_s16(a), vget_low_s16(b));
  return vpaddq_s32(low, vmull_high_s16(a, b));
#endif
}

bool AnyIsNegative(I32s lanes) {
#if defined(__AVX2__)
  return _mm256_movemask_ps(reinterpret_cast<__m256>(lanes)) != 0;
#elif defined(__SSE2__)
  return _mm_movemask_ps(reinterpret_cast<__m128>(lanes)) != 0;
#else
  return vminvq_s32(lanes) < 0;
#endif
}

// The pixels that the even output pixels are made of start at row, those of the odd ones one
// further. With AVX2 both are in one register; else part tells which. 32768 is taken away.
I16s LoadBlocks(const uint16_t* row, uint32_t part) {
#ifdef __AVX2__
  const __m256i even = _mm256_castsi128_si256(Load<__m128i>(row + part));
  const __m256i both = _mm256_inserti128_si256(even, Load<__m128i>(row + part + 1), 1);
  return reinterpret_cast<I16s>(both) ^ INT16_MIN;
#else
  return Load<I16s>(row + part) ^ INT16_MIN;
#endif
}

I16s LoadWeights(const int16_t* weights, uint32_t part) {
  return Load<I16s>(__builtin_assume_aligned(weights + part * kWords, 16));
}

// What a sum in fixed point, in 2^-14, can be off: it is above the exact one by at most 4, as four
// fine parts are rounded by 2^-29 and weigh values up to 2^15; and below by at most 5, as a shift
// drops up to 1 more. What the doubles and the sum of their weights are off is next to nothing.
// With the margin added, all doubtful sums end in less than twice the margin, and no other has come
// to the next whole number.
constexpr int32_t kMargin = 6;
constexpr int32_t kFraction = (1 << 14) - 1;

I32s SumBlocks(const RemapRun& run, uint32_t width, const uint16_t* src, uint32_t part) {
  constexpr int32_t kTakenAway = 0x8000 << 14;
  const I16s upper = LoadBlocks(src + run.src, part);
  const I16s lower = LoadBlocks(src + run.src + width, part);
  const I32s coarse = AddProductPairs(upper, LoadWeights(run.upper.coarse, part)) +
                      AddProductPairs(lower, LoadWeights(run.lower.coarse, part));
  const I32s fine = AddProductPairs(upper, LoadWeights(run.upper.fine, part)) +
                    AddProductPairs(lower, LoadWeights(run.lower.fine, part));
  return coarse + (fine >> 14) + (kTakenAway + kMargin);
}

// Writes runs until one has a doubtful sum; returns that run, or end.
const RemapRun* UndistortInFixedPoint(const RemapRun* run, const RemapRun* end, uint32_t width,
                                      const uint16_t* src, uint16_t* dst) {
  const auto distance = [](I32s sums) { return (sums & kFraction) - 2 * kMargin; };
  for (; run != end; ++run) {
    const I32s sums = SumBlocks(*run, width, src, 0);
#ifdef __AVX2__
    if (AnyIsNegative(distance(sums))) break;
    const auto even = _mm256_castsi256_si128(reinterpret_cast<__m256i>(sums));
    const auto odd = _mm256_extracti128_si256(reinterpret_cast<__m256i>(sums), 1);
    constexpr int kOddWords = 0xAA;
    Store(dst + run->first,
          _mm_blend_epi16(_mm_srli_epi32(even, 14), _mm_slli_epi32(odd, 2), kOddWords));
#else
    const I32s oddSums = SumBlocks(*run, width, src, 1);
    if (AnyIsNegative(distance(sums) | distance(oddSums))) break;
    using Quads = Vector<uint32_t, 4>;
    const auto even = reinterpret_cast<Quads>(sums);
    const auto odd = reinterpret_cast<Quads>(oddSums);
    Store(dst + run->first, (even >> 14) | ((odd >> 14) << 16));
#endif
  }
  return run;
}

template <std::size_t... lanes>
Doubles GatherWeights(const RemapEntry* entries, double RemapEntry::*weight,
                      std::index_sequence<lanes...>) {
  return Doubles{entries[lanes].*weight...};
}

// Operation for operation what the scalar form does.
void UndistortInDoubles(const RemapTable& table, const RemapRun& run, const uint16_t* src,
                        uint16_t* dst) {
  for (uint32_t i = 0; i < RemapRun::kPixels; i += kDoubles) {
    const RemapEntry* entries = table.entries + run.first + i;
    const uint16_t* upper = src + run.src + i;
    const uint16_t* lower = upper + table.width;
    const auto weigh = [&](const uint16_t* pixels, double RemapEntry::*weight) {
      return WordsToDoubles(pixels) *
             GatherWeights(entries, weight, std::make_index_sequence<kDoubles>());
    };
    StoreLow16(dst + run.first + i,
               weigh(upper, &RemapEntry::w00) + weigh(upper + 1, &RemapEntry::w10) +
                   weigh(lower, &RemapEntry::w01) + weigh(lower + 1, &RemapEntry::w11));
  }
}

void Undistort(const RemapTable& table, const uint16_t* src, uint16_t* dst) {
  // Runs without weights in fixed point read the first pixels.
  if (uint64_t{table.width} * table.height < uint64_t{table.width} + 1 + RemapRun::kPixels) {
    scalar::Undistort(table, src, dst);
    return;
  }
  const RemapRun* const end = table.runs + table.runCount;
  const RemapRun* run = table.runs;
  while ((run = UndistortInFixedPoint(run, end, table.width, src, dst)) != end) {
    if (run->fixedPoint != 0) {
      UndistortInDoubles(table, *run, src, dst);
    } else {
      scalar::UndistortPart(table, src, dst, run->first, run->count);
    }
    ++run;
  }
}

}  // namespace
}  // namespace simd

#endif
