// The three-times magnifier.
#ifndef ZOCAM_SIMD_MAGNIFY_H
#define ZOCAM_SIMD_MAGNIFY_H

#include "render/magnify.h"
#include "simd/word_lanes.h"

namespace simd {
namespace {

// As many whole pixels as fit 16 bytes; a register has one or two such groups.
template <std::size_t bytes>
inline constexpr std::size_t kGroupPixels = 16 / bytes;

inline constexpr std::size_t kGroups = kVectorBytes / 16;

// Bytes of neighbouring groups, widened within each 16 bytes.
struct WideBytes {
  U16s low, high;

  friend WideBytes operator+(WideBytes a, WideBytes b) { return {a.low + b.low, a.high + b.high}; }
};

// Loads 16 bytes per group; the groups' pixels adjoin.
template <std::size_t bytes>
U8s LoadGroups(const uint8_t* from) {
#ifdef __AVX2__
  return reinterpret_cast<U8s>(_mm256_inserti128_si256(
      _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from))),
      _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + kGroupPixels<bytes> * bytes)), 1));
#else
  return Load<U8s>(from);
#endif
}

WideBytes Widen(U8s vector) {
#if defined(__AVX2__)
  const __m256i zero = _mm256_setzero_si256();
  return {reinterpret_cast<U16s>(_mm256_unpacklo_epi8(AsRegister(vector), zero)),
          reinterpret_cast<U16s>(_mm256_unpackhi_epi8(AsRegister(vector), zero))};
#elif defined(__SSE2__)
  const __m128i zero = _mm_setzero_si128();
  return {reinterpret_cast<U16s>(_mm_unpacklo_epi8(AsRegister(vector), zero)),
          reinterpret_cast<U16s>(_mm_unpackhi_epi8(AsRegister(vector), zero))};
#else
  return {vmovl_u8(vget_low_u8(vector)), vmovl_high_u8(vector)};
#endif
}

// Exact where sum is at most 3 or 5 times 255: the factor is less than 1 too high, which adds less
// than 1275 / 2^16 to the quotient.
template <uint32_t divisor>
[[gnu::always_inline]] static inline U8s Divide(WideBytes sum) {
  const U16s factor = AllWords(0x10000 / divisor + 1);
  return PackWithin16(MultiplyHigh(sum.low, factor), MultiplyHigh(sum.high, factor));
}

// The cells of one line of blocks: those of the left, the middle and the right column.
struct CellLine {
  U8s cells[3];
};

#if defined(__AVX2__) || defined(__aarch64__)

// Where the bytes of a 16-byte piece of the output line come from: for each of the three columns
// the byte of its group, or 0x80 for none. The piece after the second is the last of the group.
template <std::size_t bytes>
struct Shuffles {
  static constexpr std::size_t kPieceBytes = kGroupPixels<bytes> * bytes;

  constexpr Shuffles() {
    for (std::size_t piece = 0; piece < 3; ++piece) {
      for (std::size_t i = 0; i < kVectorBytes; ++i) {
        const std::size_t at = piece * kPieceBytes + i % 16;  // in the group's output
        const std::size_t cell = at / bytes;
        const bool used = i % 16 < kPieceBytes && at % bytes < 3;
        for (std::size_t column = 0; column < 3; ++column) {
          from[piece][column][i] = used && cell % 3 == column
                                       ? static_cast<uint8_t>(cell / 3 * bytes + at % bytes)
                                       : 0x80;
        }
        colour[i] = i % bytes < 3 ? 0xFF : 0;
      }
    }
  }

  uint8_t from[3][3][kVectorBytes] = {};
  uint8_t colour[kVectorBytes] = {};  // what a pixel of 4 bytes has of colour
};

template <std::size_t bytes>
inline constexpr Shuffles<bytes> kShuffles;

U8s Shuffle(U8s vector, const uint8_t* from) {
#ifdef __AVX2__
  return reinterpret_cast<U8s>(
      _mm256_shuffle_epi8(AsRegister(vector), AsRegister(Load<U8s>(from))));
#else
  return vqtbl1q_u8(vector, Load<U8s>(from));
#endif
}

// Writes a byte more than the pixels have when they have 3 bytes.
template <std::size_t bytes>
[[gnu::always_inline]] static inline void WriteCells(const CellLine& line, uint8_t* out) {
  constexpr std::size_t kPieceBytes = Shuffles<bytes>::kPieceBytes;
  using Half = Vector<uint8_t, 16>;
  U8s pieces[3];
  Unrolled<3>(
      0, [&](std::size_t piece) __attribute__((always_inline)) {
        const auto& from = kShuffles<bytes>.from[piece];
        pieces[piece] = Shuffle(line.cells[0], from[0]) | Shuffle(line.cells[1], from[1]) |
                        Shuffle(line.cells[2], from[2]);
      });
  Unrolled<3 * kGroups>(
      0, [&](std::size_t i) __attribute__((always_inline)) {
#ifdef __AVX2__
        const __m256i both = AsRegister(pieces[i % 3]);
        auto cells = reinterpret_cast<Half>(i < 3 ? _mm256_castsi256_si128(both)
                                                  : _mm256_extracti128_si256(both, 1));
#else
    Half cells = pieces[i];
#endif
        uint8_t* to = out + i * kPieceBytes;
        if (bytes == 4) cells |= Load<Half>(to) & ~Load<Half>(kShuffles<bytes>.colour);
        Store(to, cells);
      });
}

#else

template <std::size_t bytes>
[[gnu::always_inline]] static inline void WriteCells(const CellLine& line, uint8_t* out) {
  uint8_t cells[3][kVectorBytes + 4];
  for (std::size_t column = 0; column < 3; ++column) Store(cells[column], line.cells[column]);
  Unrolled<3 * kGroupPixels<bytes> >(
      0, [&](std::size_t i) __attribute__((always_inline)) {
        uint8_t* to = out + i * bytes;
        uint32_t cell = Load<uint32_t>(cells[i % 3] + i / 3 * bytes);
        if (bytes == 4) cell = (cell & 0x00FFFFFF) | (Load<uint32_t>(to) & 0xFF000000);
        Store(to, cell);
      });
}

#endif

// A line of the image of which every pixel that is asked for has a left and a right neighbour.
template <std::size_t bytes>
struct InnerLine {
  const uint8_t* pixels;
  std::size_t lineBytes;
  bool hasUp, hasDown;

  // Magnifies the groups' pixels from the given byte of the line on.
  void Magnify(std::size_t at, uint8_t* out, std::size_t outLineBytes) const {
    const uint8_t* from = pixels + at;
    const uint8_t* up = hasUp ? from - lineBytes : from;
    const uint8_t* down = hasDown ? from + lineBytes : from;
    const U8s pixel = LoadGroups<bytes>(from);
    const WideBytes centre = Widen(pixel);
    const WideBytes twice = centre + centre;
    const WideBytes toLeft = twice + Widen(LoadGroups<bytes>(from - bytes));
    const WideBytes toRight = twice + Widen(LoadGroups<bytes>(from + bytes));
    const U8s left = Divide<3>(toLeft);
    const U8s right = Divide<3>(toRight);
    WriteCells<bytes>(Outer(up, hasUp, twice, toLeft, toRight, left, right), out);
    WriteCells<bytes>({{left, pixel, right}}, out + outLineBytes);
    WriteCells<bytes>(Outer(down, hasDown, twice, toLeft, toRight, left, right),
                      out + 2 * outLineBytes);
  }

 private:
  // The upper or lower line of the blocks. Without a neighbour there, it is the middle line.
  [[gnu::always_inline]] static CellLine Outer(const uint8_t* neighbour, bool exists,
                                               WideBytes twice, WideBytes toLeft, WideBytes toRight,
                                               U8s left, U8s right) {
    const WideBytes straight = Widen(LoadGroups<bytes>(neighbour));
    const U8s middle = Divide<3>(twice + straight);
    if (!exists) return {{left, middle, right}};
    return {{Divide<5>(toLeft + straight + Widen(LoadGroups<bytes>(neighbour - bytes))), middle,
             Divide<5>(toRight + straight + Widen(LoadGroups<bytes>(neighbour + bytes)))}};
  }
};

template <std::size_t bytes>
void MagnifyLines(const zocam::ColourImage& image, uint8_t* out) {
  constexpr uint32_t kStep = kGroups * kGroupPixels<bytes>;
  const uint32_t first = image.leftMargin + 1;
  // Columns are counted without reaching over 32 bits.
  if (image.width - image.leftMargin < kStep + 3 || image.width > INT32_MAX) {
    return zocam::scalar::Magnify3(image, out);
  }

  const std::size_t lineBytes = std::size_t{image.width} * bytes;
  const std::size_t outLineBytes = std::size_t{image.width - image.leftMargin} * 3 * bytes;
  for (uint32_t y = 0; y < image.height; ++y) {
    const InnerLine<bytes> line{image.pixels + y * lineBytes, lineBytes, y > 0,
                                y + 1 < image.height};
    uint8_t* blocks = out + std::size_t{y} * 3 * outLineBytes;
    // The first and the last column lack a neighbour. Groups read up to a byte behind their right
    // neighbours, which must not be behind the image.
    const uint32_t last = image.width - (y + 2 < image.height ? 1 : 2);
    for (uint32_t x = first; x < last; x += kStep) {
      const uint32_t start = x + kStep <= last ? x : last - kStep;
      line.Magnify(std::size_t{start} * bytes,
                   blocks + std::size_t{start - image.leftMargin} * 3 * bytes, outLineBytes);
    }
    // After the groups, which write a byte too many.
    zocam::scalar::MagnifyRun(image, y, image.leftMargin, first, out);
    zocam::scalar::MagnifyRun(image, y, last, image.width, out);
  }
}

void Magnify3(const zocam::ColourImage& image, uint8_t* out) {
  return image.bytesPerPixel == 3 ? MagnifyLines<3>(image, out) : MagnifyLines<4>(image, out);
}

}  // namespace
}  // namespace simd

#endif
