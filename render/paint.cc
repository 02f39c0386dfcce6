#include "render/paint.h"

#include "core/byte_order.h"

namespace zocam {
namespace {

constexpr uint8_t Red(uint32_t colour) { return colour >> 16 & 0xFF; }
constexpr uint8_t Green(uint32_t colour) { return colour >> 8 & 0xFF; }
constexpr uint8_t Blue(uint32_t colour) { return colour & 0xFF; }

struct Gray8 {
  static constexpr std::size_t kBytes = 1;
  static void Write(uint32_t colour, uint8_t* out) { out[0] = Blue(colour); }
};

struct Bgr24 {
  static constexpr std::size_t kBytes = 3;
  static void Write(uint32_t colour, uint8_t* out) {
    out[0] = Blue(colour);
    out[1] = Green(colour);
    out[2] = Red(colour);
  }
};

struct Rgb24 {
  static constexpr std::size_t kBytes = 3;
  static void Write(uint32_t colour, uint8_t* out) {
    out[0] = Red(colour);
    out[1] = Green(colour);
    out[2] = Blue(colour);
  }
};

template <class Rgb>
struct Opaque {
  static constexpr std::size_t kBytes = Rgb::kBytes + 1;
  static void Write(uint32_t colour, uint8_t* out) {
    Rgb::Write(colour, out);
    out[Rgb::kBytes] = 0xFF;
  }
};

struct Rgb565 {
  static constexpr std::size_t kBytes = 2;
  static void Write(uint32_t colour, uint8_t* out) {
    WriteLe16(out, static_cast<uint16_t>(Red(colour) >> 3 << 11 | Green(colour) >> 2 << 5 |
                                         Blue(colour) >> 3));
  }
};

template <class Pixel>
void Paint(std::span<const uint16_t> levels, const Palette& palette, uint8_t* out) {
  for (const uint16_t level : levels) {
    Pixel::Write(palette[level], out);
    out += Pixel::kBytes;
  }
}

}  // namespace

constinit const PainterTable scalar::kPainters = {Paint<Gray8>,         Paint<Bgr24>,
                                                  Paint<Rgb24>,         Paint<Opaque<Bgr24>>,
                                                  Paint<Opaque<Rgb24>>, Paint<Rgb565>};

Painter PainterTable::For(PixelLayout layout, bool blueFirst) const {
  switch (layout) {
    case PixelLayout::kGray8:
      return gray8;
    case PixelLayout::kRgb24:
      return blueFirst ? bgr24 : rgb24;
    case PixelLayout::kRgb32:
      return blueFirst ? bgr32 : rgb32;
    case PixelLayout::kRgb565:
      break;
  }
  return rgb565;
}

}  // namespace zocam
