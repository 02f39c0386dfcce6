// Vectors of the level that is compiled: the compiler's vector types, loads and stores to any
// address. Comparisons give lanes of all ones or zero.
#ifndef ZOCAM_SIMD_LANES_H
#define ZOCAM_SIMD_LANES_H

#include <cstddef>
#include <cstdint>

namespace simd {

#ifdef __AVX2__
inline constexpr std::size_t kVectorBytes = 32;
#else
inline constexpr std::size_t kVectorBytes = 16;
#endif

// A vector of count lanes.
template <class T, std::size_t count>
struct VectorOf {
  typedef T Type __attribute__((vector_size(count * sizeof(T))));  // NOLINT(modernize-use-using)
};
template <class T, std::size_t count>
using Vector = typename VectorOf<T, count>::Type;

// Whole registers.
inline constexpr std::size_t kWords = kVectorBytes / sizeof(uint16_t);
inline constexpr std::size_t kDoubles = kVectorBytes / sizeof(double);
using U8s = Vector<uint8_t, kVectorBytes>;
using U16s = Vector<uint16_t, kWords>;
using I16s = Vector<int16_t, kWords>;
using Doubles = Vector<double, kDoubles>;

template <class V>
static inline V Load(const void* from) {
  V vector;
  __builtin_memcpy(&vector, from, sizeof vector);
  return vector;
}

template <class V>
static inline void Store(void* to, V vector) {
  __builtin_memcpy(to, &vector, sizeof vector);
}

template <class To, class From>
static inline To Convert(From vector) {
  return __builtin_convertvector(vector, To);
}

}  // namespace simd

#endif
