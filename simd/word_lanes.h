// Arithmetic on 16-bit lanes that has no portable spelling.
#ifndef ZOCAM_SIMD_WORD_LANES_H
#define ZOCAM_SIMD_WORD_LANES_H

#include "simd/lanes.h"

namespace simd {
namespace {

// Keeps the compiler from collecting what is stored before and after in vectors, lane by lane.
void KeepScalar() { asm volatile("" ::: "memory"); }

// Calls visit with first, first + 1 ... first + count - 1, without a loop.
template <std::size_t count, class Visit>
[[gnu::always_inline]] inline void Unrolled(std::size_t first, Visit visit) {
  if constexpr (count > 0) {
    visit(first);
    KeepScalar();
    Unrolled<count - 1>(first + 1, visit);
  }
}

// Calls visit with 0 to count - 1: loops that only look up are bound by their counting otherwise.
template <class Visit>
[[gnu::always_inline]] inline void ForEachIndex(std::size_t count, Visit visit) {
  constexpr std::size_t kTurns = 8;
  std::size_t i = 0;
  for (; i + kTurns <= count; i += kTurns) Unrolled<kTurns>(i, visit);
  for (; i < count; ++i) visit(i);
}

U16s AllWords(uint32_t value) { return U16s{} + static_cast<uint16_t>(value); }

#if defined(__AVX2__)

template <class V>
__m256i AsRegister(V vector) {
  return reinterpret_cast<__m256i>(vector);
}

// a - b, 0 where b is higher.
U16s SubtractDownToZero(U16s a, U16s b) {
  return reinterpret_cast<U16s>(_mm256_subs_epu16(AsRegister(a), AsRegister(b)));
}
// The upper halves of the 32-bit products.
U16s MultiplyHigh(U16s a, U16s b) {
  return reinterpret_cast<U16s>(_mm256_mulhi_epu16(AsRegister(a), AsRegister(b)));
}
U16s Min(U16s a, U16s b) {
  return reinterpret_cast<U16s>(_mm256_min_epu16(AsRegister(a), AsRegister(b)));
}
// Words below 256 to bytes, 16 bytes at a time: 8 of first, 8 of second.
U8s PackWithin16(U16s first, U16s second) {
  return reinterpret_cast<U8s>(_mm256_packus_epi16(AsRegister(first), AsRegister(second)));
}
// The same in the order of the words.
U8s Pack(U16s first, U16s second) {
  return reinterpret_cast<U8s>(
      _mm256_permute4x64_epi64(AsRegister(PackWithin16(first, second)), 0b11'01'10'00));
}

#elif defined(__SSE2__)

template <class V>
__m128i AsRegister(V vector) {
  return reinterpret_cast<__m128i>(vector);
}

U16s SubtractDownToZero(U16s a, U16s b) {
  return reinterpret_cast<U16s>(_mm_subs_epu16(AsRegister(a), AsRegister(b)));
}
U16s MultiplyHigh(U16s a, U16s b) {
  return reinterpret_cast<U16s>(_mm_mulhi_epu16(AsRegister(a), AsRegister(b)));
}
U16s Min(U16s a, U16s b) { return a - SubtractDownToZero(a, b); }
U8s PackWithin16(U16s first, U16s second) {
  return reinterpret_cast<U8s>(_mm_packus_epi16(AsRegister(first), AsRegister(second)));
}
U8s Pack(U16s first, U16s second) { return PackWithin16(first, second); }

#elif defined(__aarch64__)

U16s SubtractDownToZero(U16s a, U16s b) { return vqsubq_u16(a, b); }
U16s MultiplyHigh(U16s a, U16s b) {
  return vuzp2q_u16(vreinterpretq_u16_u32(vmull_u16(vget_low_u16(a), vget_low_u16(b))),
                    vreinterpretq_u16_u32(vmull_high_u16(a, b)));
}
U16s Min(U16s a, U16s b) { return vminq_u16(a, b); }
U8s PackWithin16(U16s first, U16s second) {
  return vcombine_u8(vqmovn_u16(first), vqmovn_u16(second));
}
U8s Pack(U16s first, U16s second) { return PackWithin16(first, second); }

#endif

}  // namespace
}  // namespace simd

#endif
