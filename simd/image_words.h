// Copies of image words, and the circumference correction.
#ifndef ZOCAM_SIMD_IMAGE_WORDS_H
#define ZOCAM_SIMD_IMAGE_WORDS_H

#include "decode/circumference.h"
#include "decode/raw_frame.h"
#include "simd/lanes.h"

namespace simd {
namespace {

U16s SwapBytes(U16s words) { return words << 8 | words >> 8; }
U16s LoadWords(const uint8_t* words) { return SwapBytes(Load<U16s>(words)); }

U16s Reversed(U16s v) {
#if defined(__AVX2__)
  return __builtin_shufflevector(v, v, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
#elif defined(__SSE2__)
  // Compilers take the words apart instead.
  const __m128i halves = _mm_shufflehi_epi16(_mm_shufflelo_epi16(__m128i(v), 0x1B), 0x1B);
  return U16s(_mm_shuffle_epi32(halves, 0x4E));
#else
  return __builtin_shufflevector(v, v, 7, 6, 5, 4, 3, 2, 1, 0);
#endif
}

// Calls visit(first value) so that vectors of values from there cover all of count, which is at
// least a vector; the last one overlaps its neighbour.
template <class Visit>
void ForEachVector(std::size_t count, Visit visit) {
  std::size_t k = 0;
  for (; k + kWords <= count; k += kWords) visit(k);
  if (k < count) visit(count - kWords);
}

// Copies words and calls see(values) for each vector of them. At least a vector of words.
template <bool turned, class See>
void CopyWords(const uint8_t* words, uint8_t* out, std::size_t count, See see) {
  ForEachVector(count, [&](std::size_t k) {
    const U16s values = LoadWords(words + 2 * k);
    see(values);
    if constexpr (turned) {
      Store(out + 2 * (count - kWords - k), Reversed(values));
    } else {
      Store(out + 2 * k, values);
    }
  });
}

void CopyImageWords(std::span<const uint8_t> words, void* out, bool upsideDown) {
  const std::size_t count = words.size() / 2;
  if (count < kWords) return scalar::CopyImageWords(words, out, upsideDown);
  auto* bytes = static_cast<uint8_t*>(out);
  const auto ignore = [](U16s) {};
  if (upsideDown) {
    CopyWords<true>(words.data(), bytes, count, ignore);
  } else {
    CopyWords<false>(words.data(), bytes, count, ignore);
  }
}

// A line's terms, rounded so that adding them to words is what adding the exact ones and
// truncating is. A sum of a 16-bit word and such a term is rounded to 2^-37 at most: unless the
// term's fraction lies that close to 1 no sum reaches the next integer.
class LineTerms {
 public:
  static constexpr std::size_t kLongest = 1024;

  LineTerms() = default;
  LineTerms(const LineTerms&) = delete;  // terms_ points into it
  LineTerms& operator=(const LineTerms&) = delete;

  // False when a term does not allow it.
  bool Round(const double* line, double factor, std::size_t width) {
    const std::size_t centre = width / 2;
    negative_ = factor < 0;
    const bool rounded = negative_ ? RoundMagnitudes<true>(line, -factor, centre + 1)
                                   : RoundMagnitudes<false>(line, factor, centre + 1);
    // The right half mirrors the left one.
    for (std::size_t x = centre + 1; x < width; x += kWords) {
      Store(terms_ + x, Reversed(Load<U16s>(terms_ + 2 * centre - x - (kWords - 1))));
    }
    return rounded;
  }

  // Adds the terms from i on to a vector of words, saturating.
  U16s AddTo(U16s words, std::size_t i) const {
    const auto terms = Load<U16s>(terms_ + i);
    if (negative_) return words > terms ? words - terms : U16s{};
    const U16s sums = words + terms;
    return sums < words ? ~U16s{} : sums;
  }

 private:
  template <bool negative>
  bool RoundMagnitudes(const double* table, double factor, std::size_t count) {
    constexpr double kLargest = 30000.0;
    constexpr double kNearOne = 1.0 - 0x1p-36;
    DoubleMask right = ~DoubleMask{};
    for (std::size_t i = 0; i < count; i += kDoubles) {
      const Doubles term = Load<Doubles>(table + i) * factor;
      const Doubles below = Truncated(term);
      Doubles whole = below;
      Doubles fraction = term - below;
      if constexpr (negative) {  // the sum's whole part lies away from zero
        const Doubles above = below + 1.0;
        whole = fraction > 0.0 ? above : below;
        fraction = whole - term;
      }
      right &= (term < kLargest) & (fraction < kNearOne);
      StoreLow16(terms_ + i, whole);
    }
    return !AnyLane(~right);
  }

  // Towards zero; for terms below 2^31.
  static Doubles Truncated(Doubles term) {
#if defined(__AVX2__)
    return _mm256_round_pd(term, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
#elif defined(__SSE2__)
    return _mm_cvtepi32_pd(_mm_cvttpd_epi32(term));
#else
    return vrndq_f64(term);
#endif
  }

  bool negative_ = false;
  uint16_t cells_[kWords + kLongest + kWords] = {};
  uint16_t* const terms_ = cells_ + kWords;  // vectors may reach over both ends
};

void CorrectCircumference(std::span<const uint8_t> words, std::span<const double> table,
                          uint32_t width, double factor, std::span<uint8_t> out) {
  const std::size_t count = table.size();
  const bool fits = width >= kWords && width <= LineTerms::kLongest && width % kDoubles == 0;
  if (!fits || count % width != 0 || count == 0)
    return scalar::CorrectCircumference(words, table, width, factor, out);
  const std::size_t height = count / width;
  const std::size_t centre = height / 2;
  LineTerms terms;
  // Lines at the same distance from the centre have the same terms.
  for (std::size_t upper = 0; upper <= centre; ++upper) {
    const bool rounded = terms.Round(&table[upper * width], factor, width);
    const std::size_t lower = 2 * centre - upper;
    for (std::size_t line = upper; line < height; line += lower - upper) {
      const std::size_t first = line * width;
      if (rounded) {
        const uint8_t* from = words.data() + 2 * first;
        uint8_t* to = out.data() + 2 * first;
        ForEachVector(width, [&](std::size_t x) {
          Store(to + 2 * x, SwapBytes(terms.AddTo(LoadWords(from + 2 * x), x)));
        });
      } else {
        scalar::CorrectCircumference(words.subspan(2 * first, std::size_t{2} * width),
                                     table.subspan(first, width), width, factor,
                                     out.subspan(2 * first, std::size_t{2} * width));
      }
      if (line == lower) break;
    }
  }
}

}  // namespace
}  // namespace simd

#endif
