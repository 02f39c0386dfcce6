// Vectors of the level that is compiled: the compiler's vector types, loads and stores to any
// address. Comparisons give lanes of all ones or zero.
#ifndef ZOCAM_SIMD_LANES_H
#define ZOCAM_SIMD_LANES_H

#include <cstddef>
#include <cstdint>

#if defined(__SSE2__)
#include <immintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#else
#error "no vectors for this machine: see simd/levels.h"
#endif

namespace simd {
namespace {

#ifdef __AVX2__
constexpr std::size_t kVectorBytes = 32;
#else
constexpr std::size_t kVectorBytes = 16;
#endif

// A vector of count lanes.
template <class T, std::size_t count>
struct VectorOf {
  typedef T Type __attribute__((vector_size(count * sizeof(T))));  // NOLINT(modernize-use-using)
};
template <class T, std::size_t count>
using Vector = typename VectorOf<T, count>::Type;

// Whole registers.
constexpr std::size_t kWords = kVectorBytes / sizeof(uint16_t);
constexpr std::size_t kDoubles = kVectorBytes / sizeof(double);
using U8s = Vector<uint8_t, kVectorBytes>;
using U16s = Vector<uint16_t, kWords>;
using I16s = Vector<int16_t, kWords>;
using Doubles = Vector<double, kDoubles>;
using DoubleMask = Vector<int64_t, kDoubles>;

template <class V>
V Load(const void* from) {
  V vector;
  __builtin_memcpy(&vector, from, sizeof vector);
  return vector;
}

template <class V>
void Store(void* to, V vector) {
  __builtin_memcpy(to, &vector, sizeof vector);
}

template <class To, class From>
To Convert(From vector) {
  return __builtin_convertvector(vector, To);
}

Doubles Sqrt(Doubles x) {
#if defined(__AVX2__)
  return _mm256_sqrt_pd(x);
#elif defined(__SSE2__)
  return _mm_sqrt_pd(x);
#else
  return vsqrtq_f64(x);
#endif
}

// The first of kDoubles words as doubles.
Doubles WordsToDoubles(const uint16_t* words) {
#if defined(__AVX2__)
  const __m128i four = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(words));
  return _mm256_cvtepi32_pd(_mm_cvtepu16_epi32(four));
#elif defined(__SSE2__)
  const __m128i two = _mm_cvtsi32_si128(Load<int32_t>(words));
  return _mm_cvtepi32_pd(_mm_unpacklo_epi16(two, _mm_setzero_si128()));
#else
  return Doubles{static_cast<double>(words[0]), static_cast<double>(words[1])};
#endif
}

// Truncates and keeps the low 16 bits of lanes within -2^31 to 2^31; of others something is stored.
void StoreLow16(uint16_t* words, Doubles values) {
#if defined(__AVX2__)
  const __m128i whole = _mm256_cvttpd_epi32(values);
  const __m128i low = _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, -1, -1, -1, -1, -1, -1, -1, -1);
  _mm_storel_epi64(reinterpret_cast<__m128i*>(words), _mm_shuffle_epi8(whole, low));
#elif defined(__SSE2__)
  constexpr int kWords0And2 = 0x08;
  const __m128i whole = _mm_cvttpd_epi32(values);
  Store(words, _mm_cvtsi128_si32(_mm_shufflelo_epi16(whole, kWords0And2)));
#else
  const int64x2_t whole = vcvtq_s64_f64(values);
  words[0] = static_cast<uint16_t>(whole[0]);
  words[1] = static_cast<uint16_t>(whole[1]);
#endif
}

bool AnyLane(DoubleMask mask) {
  int64_t any = 0;
  for (std::size_t i = 0; i < kDoubles; ++i) any |= mask[i];
  return any != 0;
}

}  // namespace
}  // namespace simd

#endif
