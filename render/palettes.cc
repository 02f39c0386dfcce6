#include "render/palettes.h"

#include <algorithm>
#include <span>

namespace zocam {
namespace {

// A channel's value at an index; linear between two knots, rounded down.
struct Knot {
  int index;
  int value;
};

constexpr Knot kIronRed[] = {{0, 0}, {256, 0}, {895, 255}, {1023, 255}};
constexpr Knot kIronGreen[] = {{0, 0},   {128, 0}, {255, 120}, {256, 120},
                               {639, 0}, {640, 0}, {1023, 255}};
constexpr Knot kIronBlue[] = {{0, 0}, {255, 160}, {512, 160}, {895, 0}, {896, 0}, {1023, 255}};

// Rounding down keeps the red peak at its one index, 115.
constexpr Knot kRainbowRed[] = {{0, 0},     {32, 33},   {64, 68},   {96, 82},   {115, 88},
                                {128, 87},  {160, 78},  {192, 59},  {224, 33},  {249, 0},
                                {665, 0},   {672, 9},   {704, 54},  {736, 96},  {768, 142},
                                {800, 191}, {832, 245}, {840, 255}, {1023, 255}};
constexpr Knot kRainbowGreen[] = {{0, 0},     {251, 0},   {256, 6},   {288, 44},  {320, 89},
                                  {352, 122}, {384, 164}, {416, 202}, {448, 244}, {460, 255},
                                  {840, 255}, {864, 229}, {896, 185}, {928, 145}, {960, 102},
                                  {992, 51},  {1015, 0},  {1023, 0}};
constexpr Knot kRainbowBlue[] = {{0, 0},     {32, 29},   {64, 76},   {96, 105},  {128, 148},
                                 {160, 182}, {192, 215}, {224, 249}, {230, 255}, {460, 255},
                                 {480, 225}, {512, 189}, {544, 145}, {576, 109}, {608, 68},
                                 {640, 25},  {665, 0},   {1023, 0}};

constexpr int FloorDivide(int numerator, int denominator) {
  const int quotient = numerator / denominator;
  return numerator % denominator < 0 ? quotient - 1 : quotient;
}

constexpr uint32_t ChannelAt(std::span<const Knot> knots, int index) {
  std::size_t upper = 1;
  while (knots[upper].index < index) ++upper;
  const Knot from = knots[upper - 1];
  const Knot to = knots[upper];
  const int rise = (to.value - from.value) * (index - from.index);
  return static_cast<uint32_t>(from.value + FloorDivide(rise, to.index - from.index));
}

constexpr Palette MakePalette(std::span<const Knot> red, std::span<const Knot> green,
                              std::span<const Knot> blue) {
  Palette palette{};
  for (int i = 0; i < static_cast<int>(kDisplayLevels); ++i) {
    palette[static_cast<std::size_t>(i)] =
        ChannelAt(red, i) << 16 | ChannelAt(green, i) << 8 | ChannelAt(blue, i);
  }
  return palette;
}

template <class GreyAt>
constexpr Palette MakeGreyPalette(GreyAt greyAt) {
  Palette palette{};
  for (uint32_t i = 0; i < kDisplayLevels; ++i) palette[i] = greyAt(i) * 0x010101;
  return palette;
}

}  // namespace

constexpr Palette g_colTabIron = MakePalette(kIronRed, kIronGreen, kIronBlue);
constexpr Palette g_colTabRainbow = MakePalette(kRainbowRed, kRainbowGreen, kRainbowBlue);
constexpr Palette g_manualGreys = MakeGreyPalette([](uint32_t i) { return std::min(i, 255U); });
constexpr Palette g_displayGreys = MakeGreyPalette([](uint32_t i) { return i >> 2; });

const Palette& PaletteFor(Colours colours, Gain gain) {
  switch (colours) {
    case Colours::kIron:
      return g_colTabIron;
    case Colours::kRainbow:
      return g_colTabRainbow;
    case Colours::kGrey:
      break;
  }
  return gain == Gain::kManual ? g_manualGreys : g_displayGreys;
}

}  // namespace zocam

const uint32_t g_colTabSize = zocam::kDisplayLevels;

uint32_t ZoLib_GetColorTableSize(uint32_t) { return g_colTabSize; }

void ZoLib_GetColorTable(uint32_t format, uint32_t* table) {
  if (table == nullptr) return;
  const auto found = zocam::FindPictureFormat(format);
  const zocam::Colours colours = found ? found->colours : zocam::Colours::kGrey;
  std::ranges::copy(zocam::PaletteFor(colours, zocam::Gain::kManual), table);
}
