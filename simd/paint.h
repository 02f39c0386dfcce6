// Levels to pixels.
#ifndef ZOCAM_SIMD_PAINT_H
#define ZOCAM_SIMD_PAINT_H

#include "render/paint.h"
#include "simd/word_lanes.h"

namespace simd {
namespace {

// Colours are looked up one by one on every level: a gather is at best as fast as loads.

uint32_t RedFirst(uint32_t colour) { return __builtin_bswap32(colour) >> 8; }

template <bool blueFirst>
uint32_t InOrder(uint32_t colour) {
  return blueFirst ? colour : RedFirst(colour);
}

template <bool blueFirst>
void Paint24(std::span<const uint16_t> levels, const zocam::Palette& palette, uint8_t* out) {
  const uint16_t* level = levels.data();
  const uint32_t* colours = palette.data();
  const std::size_t count = levels.size();
  // A pixel is stored with a byte too many, which the next one covers.
  if (count == 0) return;
  ForEachIndex(count - 1,
               [&](std::size_t i) { Store(out + 3 * i, InOrder<blueFirst>(colours[level[i]])); });
  const uint32_t last = InOrder<blueFirst>(colours[level[count - 1]]);
  __builtin_memcpy(out + 3 * (count - 1), &last, 3);
}

template <bool blueFirst>
void Paint32(std::span<const uint16_t> levels, const zocam::Palette& palette, uint8_t* out) {
  const uint16_t* level = levels.data();
  const uint32_t* colours = palette.data();
  ForEachIndex(levels.size(), [&](std::size_t i) {
    Store(out + 4 * i, InOrder<blueFirst>(colours[level[i]]) | 0xFF000000);
  });
}

U16s Rgb565Of(U16s red, U16s green, U16s blue) {
  return red >> 3 << 11 | green >> 2 << 5 | blue >> 3;
}

// The greys of a palette that is a formula; false for other palettes.
struct GreyFormula {
  bool found;
  uint16_t shift;

  explicit GreyFormula(const zocam::Palette& palette)
      : found(&palette == &zocam::g_displayGreys || &palette == &zocam::g_manualGreys),
        shift(&palette == &zocam::g_displayGreys ? 2 : 0) {}

  U16s Of(const uint16_t* levels) const { return Min(Load<U16s>(levels) >> shift, AllWords(255)); }
};

void PaintGray8(std::span<const uint16_t> levels, const zocam::Palette& palette, uint8_t* out) {
  const uint16_t* level = levels.data();
  const std::size_t count = levels.size();
  std::size_t i = 0;
  if (const GreyFormula greys(palette); greys.found) {
    for (; i + 2 * kWords <= count; i += 2 * kWords) {
      Store(out + i, Pack(greys.Of(level + i), greys.Of(level + i + kWords)));
    }
  }
  const uint32_t* colours = palette.data();
  for (; i < count; ++i) out[i] = static_cast<uint8_t>(colours[level[i]]);
}

void PaintRgb565(std::span<const uint16_t> levels, const zocam::Palette& palette, uint8_t* out) {
  const uint16_t* level = levels.data();
  const std::size_t count = levels.size();
  const std::size_t whole = count - count % kWords;
  std::size_t i = 0;
  if (const GreyFormula greys(palette); greys.found) {
    for (; i < whole; i += kWords) {
      const U16s grey = greys.Of(level + i);
      Store(out + 2 * i, Rgb565Of(grey, grey, grey));
    }
  }
  const uint32_t* colours = palette.data();
  for (; i < whole;) {
    // Looked up well ahead, as halves of colours: what has just been stored is slow to load wider.
    constexpr std::size_t kChunk = 512;
    const std::size_t pixels = whole - i < kChunk ? whole - i : kChunk;
    uint16_t greenBlue[kChunk];
    uint16_t red[kChunk];
    for (std::size_t k = 0; k < pixels; ++k) {
      const uint32_t colour = colours[level[i + k]];
      greenBlue[k] = static_cast<uint16_t>(colour);
      red[k] = static_cast<uint16_t>(colour >> 16);
    }
    for (std::size_t k = 0; k < pixels; k += kWords) {
      const U16s both = Load<U16s>(greenBlue + k);
      Store(out + 2 * (i + k), Rgb565Of(Load<U16s>(red + k), both >> 8, both & AllWords(0xFF)));
    }
    i += pixels;
  }
  for (; i < count; ++i) {
    const uint32_t colour = colours[level[i]];
    Store(out + 2 * i, static_cast<uint16_t>((colour >> 8 & 0xF800) | (colour >> 5 & 0x07E0) |
                                             (colour >> 3 & 0x001F)));
  }
}

constexpr zocam::PainterTable kPainters = {PaintGray8,    Paint24<true>,  Paint24<false>,
                                           Paint32<true>, Paint32<false>, PaintRgb565};

}  // namespace
}  // namespace simd

#endif
