// Pictures: formats, gains, palettes and the caller's buffer.
#include "render/render.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <map>
#include <numeric>
#include <random>
#include <vector>

#include "zocam/zocam.h"

#include "core/device_record.h"
#include "core/model_profile.h"
#include "render/frame_statistics.h"
#include "render/palettes.h"
#include "tests/handle.h"

namespace {

constexpr std::size_t kPixels = 4800;
constexpr uint16_t kStale = 77;  // a level that an earlier frame left behind
constexpr uint8_t kGuard = 0xA5;

using Bytes = std::vector<uint8_t>;
using Values = std::vector<uint16_t>;

// A handle of 80 x 60 pixels, every value 3000 unless a test says otherwise.
class Rendering : public testing::Test {
 protected:
  Rendering() { Open(0x6100); }

  void Open(uint16_t product) {
    handle_ = MakeHandle();
    dev = handle_.get();
    ASSERT_NE(dev, nullptr);
    dev->identityBlock.vendorId = 0x7A11;
    dev->identityBlock.productId = product;
    ZoLib_Priv_SetFrameSpecByVIDPID(dev);
    dev->tempResolution = 100;
    image.assign(kPixels, 3000);
    std::fill_n(dev->workImage.get(), kPixels, kStale);
  }

  void Start(const Values& values) { std::ranges::copy(values, image.begin()); }

  // Shows the gains only the pixels from the given one on; the others are mapped all the same.
  void CountFrom(std::size_t first) {
    std::vector<uint32_t> mask(kPixels, 5);
    std::fill_n(mask.begin(), first, 0U);
    ASSERT_EQ(ZoLib_SetAGCROIMask(dev, mask.data()), 0U);
  }

  ZoStatus Render(uint32_t format, Bytes& out, uint32_t stride = 0) {
    return ZoLib_Priv_DecodeTemp(dev, image.data(), out.data(), static_cast<uint32_t>(out.size()),
                                 stride, format);
  }

  // The first bytes of a packed picture whose image starts with the given values.
  Bytes First(std::size_t count, uint32_t format, const Values& values) {
    Start(values);
    Bytes out(kPixels * 4);
    EXPECT_EQ(Render(format, out), 0U) << format;
    return {out.data(), out.data() + count};
  }

  Values Levels(std::size_t count = kPixels) const {
    return {dev->workImage.get(), dev->workImage.get() + count};
  }
  Values Linear(std::size_t count = kPixels) {
    ZoLib_Priv_LinearAGC(dev, image.data());
    return Levels(count);
  }
  Values NonLinear(std::size_t count = kPixels) {
    ZoLib_Priv_NonLinearAGC(dev, image.data());
    return Levels(count);
  }

  _ZoDev* dev = nullptr;
  Values image;

 private:
  Handle handle_;
};

TEST_F(Rendering, FormatCodesAreTranslatedAndAcceptedExactlyWithinTheirFamilies) {
  for (int32_t code = -20; code <= 200; ++code) {
    const bool picture = code >= 10 && code <= 82 && code % 10 <= 2;
    const int32_t family = code / 10 * 10;
    EXPECT_EQ(ZoLib_GetManualGainType(code), picture ? family : -1) << code;
    EXPECT_EQ(ZoLib_GetNonLinearAutoGainType(code), picture ? family + 1 : -1) << code;
    EXPECT_EQ(ZoLib_GetLinearAutoGainType(code), picture ? family + 2 : -1) << code;
    EXPECT_EQ(ZoLib_GetAutoGainType(code), picture ? family + 1 : -1) << code;
    Bytes out(kPixels * 4);
    const ZoStatus status = picture || code == 1 ? 0 : 21;
    EXPECT_EQ(Render(static_cast<uint32_t>(code), out), status) << code;
  }
}

TEST_F(Rendering, ManualGreySpreadsTheRangeOver255Levels) {
  EXPECT_EQ(First(5, 10, {28913, 28914, 30514, 32113, 40000}), (Bytes{0, 0, 127, 254, 254}));
  dev->tempResolution = 10;
  EXPECT_EQ(First(5, 10, {2890, 2891, 3051, 3210, 3211}), (Bytes{0, 0, 127, 254, 254}));
  dev->tempResolution = 100;
  ZoLib_SetDecodeRange(dev, 0, 255);
  EXPECT_EQ(First(4, 60, {0, 0x80}), (Bytes{0, 0, 0x10, 0x84}));
}

TEST_F(Rendering, ManualColourSpreadsTheRangeOverThePalette) {
  // Rainbow at 0, 512 and 1023: black, (0, 255, 189) and red.
  EXPECT_EQ(First(9, 40, {28914, 30514, 32114}), (Bytes{0, 0, 0, 189, 255, 0, 0, 0, 255}));
  EXPECT_EQ(First(6, 80, {0, 30514, 65535}), (Bytes{0, 0, 0xF7, 0x07, 0x00, 0xF8}));
}

TEST_F(Rendering, AnyManualRangeAndResolutionIsSurvived) {
  Bytes out(kPixels * 2);
  constexpr uint32_t kEnds[] = {0, 1, 28914, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
  for (const uint32_t low : kEnds) {
    for (const uint32_t high : kEnds) {
      ZoLib_SetDecodeRange(dev, low, high);
      for (const uint32_t format : {10U, 60U, 70U}) EXPECT_EQ(Render(format, out), 0U);
    }
  }
  for (const int32_t resolution : {0, -1, 3, 1000, INT32_MIN}) {
    dev->tempResolution = resolution;
    EXPECT_EQ(Render(10, out), 0U) << resolution;
  }
}

TEST_F(Rendering, AutomaticGainsFeedEveryLayout) {
  image.back() = 7000;
  CountFrom(3);
  const Values values = {0, 5000, 7000};  // linear levels 0, 512, 1023
  EXPECT_EQ(First(3, 12, values), (Bytes{0, 128, 255}));
  EXPECT_EQ(First(6, 62, values), (Bytes{0, 0, 0x10, 0x84, 0xFF, 0xFF}));
  EXPECT_EQ(First(9, 42, values), (Bytes{0, 0, 0, 189, 255, 0, 0, 0, 255}));
  EXPECT_EQ(First(8, 32, values), (Bytes{0, 0, 0, 255, 160, 39, 102, 255}));
  EXPECT_EQ(First(3, 11, values), (Bytes{0, 255, 255}));  // nearly all pixels are below 5000
}

TEST_F(Rendering, ByteOrderConcerns24And32BitPixelsOnly) {
  // Iron at level 512 is (102, 39, 160).
  EXPECT_EQ(First(3, 20, {30514}), (Bytes{160, 39, 102}));
  ZoLib_SetRGBOrder(dev, 0);
  EXPECT_EQ(First(3, 20, {30514}), (Bytes{102, 39, 160}));
  EXPECT_EQ(First(4, 30, {30514}), (Bytes{102, 39, 160, 255}));
  EXPECT_EQ(First(2, 70, {30514}), (Bytes{0x34, 0x61}));
}

TEST_F(Rendering, AStrideLeavesItsGapsAloneInEveryLayout) {
  std::iota(image.begin(), image.end(), uint16_t{29000});
  for (const uint32_t format : {10U, 21U, 32U, 40U, 51U, 62U, 70U, 81U}) {
    const std::size_t line =
        80 * std::array<std::size_t, 8>{1, 3, 4, 3, 4, 2, 2, 2}[format / 10 - 1];
    const std::size_t stride = line + 5;
    Bytes packed(line * 60);
    ASSERT_EQ(Render(format, packed), 0U);
    // One byte in front makes the 16-bit layouts unaligned.
    Bytes expected(1 + stride * 60, kGuard);
    for (std::size_t y = 0; y < 60; ++y) {
      std::copy_n(packed.data() + y * line, line, expected.data() + 1 + y * stride);
    }
    Bytes out(expected.size(), kGuard);
    const auto justEnough = static_cast<uint32_t>(59 * stride + line);
    ZoLib_Priv_DecodeTemp(dev, image.data(), out.data() + 1, justEnough,
                          static_cast<uint32_t>(stride), format);
    EXPECT_EQ(out, expected) << format;
  }
  Bytes copy(dev->imageBytes + 1, kGuard);
  EXPECT_EQ(Render(1, copy, 1), 0U) << "the temperature image has no stride";
  EXPECT_EQ(std::memcmp(copy.data(), image.data(), dev->imageBytes), 0);
  EXPECT_EQ(copy.back(), kGuard);
}

TEST_F(Rendering, ARefusedOutputLeavesBufferAndGainImageUntouched) {
  // Format, size, stride, status; the earlier check wins over the later one.
  constexpr std::array<uint32_t, 4> kRefused[] = {
      {15, 1, 1, 21},     {1, 9599, 0, 6},   {12, 4799, 0, 6},   {11, 4799, 79, 6},
      {12, 4800, 79, 21}, {11, 4800, 81, 6}, {21, 14399, 0, 6},  {42, 14400, 239, 21},
      {32, 19199, 0, 6},  {62, 9599, 0, 6},  {71, 9658, 161, 6}, {22, 20000, 0xFFFFFFFF, 6}};
  for (const auto& [format, outSize, stride, status] : kRefused) {
    Bytes out(outSize, kGuard);
    EXPECT_EQ(Render(format, out, stride), status) << format << ' ' << outSize << ' ' << stride;
    EXPECT_EQ(out, Bytes(outSize, kGuard));
    EXPECT_EQ(Levels(), Values(kPixels, kStale));
  }
}

TEST_F(Rendering, MissingPointersBuffersAndGeometryAreSurvived) {
  Bytes out(kPixels * 4);
  EXPECT_EQ(ZoLib_Priv_DecodeTemp(nullptr, image.data(), out.data(), 0, 0, 99), 20U);
  EXPECT_EQ(ZoLib_Priv_DecodeTemp(dev, nullptr, out.data(), 0, 0, 99), 20U);
  EXPECT_EQ(ZoLib_Priv_DecodeTemp(dev, image.data(), nullptr, 0, 0, 99), 20U);
  dev->workImage.reset();
  EXPECT_EQ(Render(11, out), 2U);
  EXPECT_EQ(Render(10, out), 0U);
  const std::vector<uint32_t> mask(kPixels, 1);
  dev->agcMask.reset();
  EXPECT_EQ(ZoLib_SetAGCROIMask(dev, mask.data()), 2U);
  dev->frameWidth = dev->frameHeight = dev->pixelCount = 0;
  for (const uint32_t format : {10U, 11U, 82U}) EXPECT_EQ(Render(format, out), 0U) << format;
  EXPECT_EQ(ZoLib_SetAGCROIMask(dev, mask.data()), 21U);
}

TEST_F(Rendering, LinearGainStretchesTheCountedExtremesWithinTheLimits) {
  EXPECT_EQ(Linear(), Values(kPixels, 0)) << "uniform";
  image.back() = 3999;
  CountFrom(5);
  Start({2000, 3000, 3500, 3999, 65535});
  EXPECT_EQ(Linear(5), (Values{0, 0, 512, 1022, 1022}));
  ZoLib_SetAGCRange(dev, 3200, 3700);
  EXPECT_EQ(Linear(5), (Values{0, 0, 614, 1021, 1021}));
  dev->tempResolution = 10;
  ZoLib_SetAGCRange(dev, 32009, 37009);
  EXPECT_EQ(Linear(5), (Values{0, 0, 614, 1021, 1021}));
  ZoLib_SetAGCRange(dev, 50000, 60000);
  EXPECT_EQ(Linear(5), Values(5, 0)) << "nothing of the frame is within the limits";
}

TEST_F(Rendering, LinearGainUsesTheRecordingsRangeOnlyWhenAskedAndPrepared) {
  Start({999, 1500, 2000});
  dev->tbLinearMin = 1000;
  dev->tbLinearMax = 2000;
  dev->timeBasedAGC = 1;
  EXPECT_EQ(Linear(3), (Values{0, 256, 512}));
  dev->tbLinearValid = true;
  dev->timeBasedAGC = 0;
  EXPECT_EQ(Linear(3), (Values{0, 256, 512}));
  dev->timeBasedAGC = 1;
  EXPECT_EQ(Linear(3), (Values{0, 512, 1022}));
  ZoLib_SetAGCRange(dev, 1400, 1600);
  EXPECT_EQ(Linear(3), (Values{0, 512, 1018}));
}

TEST_F(Rendering, NonLinearGainSharesTheLevelsByTheCountedPixels) {
  // 2048 to 4096 in bins of 64: 3000 is 56 into bin 14, 3999 is 31 into bin 30, half a frame each.
  std::fill(image.begin() + 2403, image.end(), uint16_t{3999});
  CountFrom(6);
  Start({2047, 3000, 3100, 3999, 4096, 65535});
  EXPECT_EQ(NonLinear(6), (Values{0, 448, 512, 760, 1023, 1023}));
}

TEST_F(Rendering, WindowCorrectionDampsATemperatureOfMoreThanFortyPercent) {
  const auto hotAndCold = [&](std::ptrdiff_t hot) {
    std::ranges::fill(image, uint16_t{2064});  // 16 into the first of bins of 32
    std::fill_n(image.begin(), hot, uint16_t{3071});
    return Values{NonLinear()[0], Levels().back()};
  };
  EXPECT_EQ(hotAndCold(480), (Values{1019, 460}));
  dev->windowCorrection = 1;
  // 4320 / 10 + 50 in the first bin, 50 in thirty, 480 + 50 in the last.
  EXPECT_EQ(hotAndCold(480), (Values{1005, 98}));
  CountFrom(960);  // 1920 each: exactly 40 % of all 4800 pixels
  EXPECT_EQ(hotAndCold(2880), (Values{1008, 256}));
}

TEST_F(Rendering, ReferenceColumnsNeverCount) {
  Open(0x6120);
  Start(Values(20, 60000));
  image[20] = 2000;
  EXPECT_EQ(Linear(21).back(), 0);
  EXPECT_EQ(Levels(22).back(), 1022);

  std::vector<uint32_t> mask(kPixels);
  for (std::size_t i = 0; i < kPixels; ++i) mask[i] = i % 80 < 20;
  ASSERT_EQ(ZoLib_SetAGCROIMask(dev, mask.data()), 0U);
  EXPECT_EQ(Linear(), Values(kPixels, 0));
  std::fill_n(dev->workImage.get(), kPixels, kStale);
  EXPECT_EQ(NonLinear(), Values(kPixels, kStale));
}

TEST_F(Rendering, NonLinearGainUsesTheRecordingsTableUnlessTheLimitsLeaveTooLittleOfIt) {
  dev->tbHistTable = AllocateZeroed<GainSegment>(zocam::kGainBins);
  for (uint32_t i = 0; i < zocam::kGainBins; ++i) dev->tbHistTable[i] = {i * 32, 32};
  dev->tbHistMin = 2048;
  dev->tbHistMax = 4096;
  Start({1000, 3072, 3088, 4096});
  dev->timeBasedAGC = 1;
  EXPECT_NE(NonLinear(4)[1], 512);
  dev->tbHistValid = true;
  dev->timeBasedAGC = 0;
  EXPECT_NE(NonLinear(4)[1], 512);
  dev->timeBasedAGC = 1;
  EXPECT_EQ(NonLinear(4), (Values{0, 512, 520, 1023}));
  ZoLib_SetAGCRange(dev, 3072, 3104);  // a value per bin
  EXPECT_EQ(NonLinear(4), (Values{0, 0, 512, 992}));
  for (const auto& [low, high] : {std::pair{3072, 3103}, {3072, 3072}, {4000, 3000}}) {
    ZoLib_SetAGCRange(dev, low, high);
    dev->timeBasedAGC = 1;
    const Values withTable = NonLinear();
    dev->timeBasedAGC = 0;
    EXPECT_EQ(NonLinear(), withTable) << low;
  }
}

TEST_F(Rendering, NoMaskRangeOrFrameMakesALevelAbove1023) {
  std::minstd_rand random(1);
  std::vector<uint32_t> mask(kPixels);
  const auto anyInt = [&] { return static_cast<int32_t>(random() * 2) >> random() % 20; };
  for (int round = 0; round < 300; ++round) {
    const auto spread = 1U << random() % 17;
    const auto start = random() % (65537 - spread);
    for (uint16_t& value : image) value = static_cast<uint16_t>(start + random() % spread);
    image[random() % image.size()] = 65535;
    const auto sparse = 1U << random() % 12;
    for (uint32_t& weight : mask) weight = random() % sparse == 0;
    ZoLib_SetAGCROIMask(dev, mask.data());
    ZoLib_SetAGCRange(dev, anyInt(), anyInt());
    dev->windowCorrection = random() % 2;
    EXPECT_LT(std::ranges::max(Linear()), 1024);
    EXPECT_LT(std::ranges::max(NonLinear()), 1024);
  }
}

TEST_F(Rendering, GainSettingsAreKeptAndConvertedToImageUnits) {
  using Pair = std::pair<int32_t, int32_t>;
  const auto read = [&](auto getter) {
    Pair values{-1, -1};
    getter(dev, &values.first, &values.second);
    return values;
  };
  ZoLib_SetAGCRange(dev, -100, 5000);
  EXPECT_EQ(read(ZoLib_GetAGCRange), (Pair{0, 5000}));
  ZoLib_SetAGCRange(dev, 0, 70315);
  EXPECT_EQ(read(ZoLib_Priv_GetAGCLimits), (Pair{0, 65535}));
  dev->tempResolution = 10;
  EXPECT_EQ(read(ZoLib_Priv_GetAGCLimits), (Pair{0, 7031}));
  EXPECT_EQ(read(ZoLib_Priv_GetManualRange), (Pair{320, 2891}));

  CountFrom(1);
  const std::vector<uint32_t> none(kPixels);
  EXPECT_EQ(ZoLib_SetAGCROIMask(dev, none.data()), 21U);
  EXPECT_EQ(dev->agcMask[1], 5U) << "the old mask stays";
}

TEST(Palettes, HaveTheirTellingColoursAndTurnWhereTheyShould) {
  using Colours = std::map<uint32_t, uint32_t>;
  const Colours iron = {{100, 0x00003E}, {128, 0x000050}, {256, 0x0078A0}, {639, 0x98006A},
                        {700, 0xB12751}, {896, 0xFFAA00}, {1023, 0xFFFFFF}};
  for (const auto& [index, colour] : iron) EXPECT_EQ(zocam::g_colTabIron[index], colour) << index;
  const Colours rainbow = {{0, 0x000000},   {114, 0x570081},  {115, 0x580082},  {116, 0x570083},
                           {229, 0x1A00FE}, {230, 0x1900FF},  {249, 0x0000FF},  {251, 0x0000FF},
                           {252, 0x0001FF}, {460, 0x00FFFF},  {461, 0x00FFFD},  {664, 0x00FF01},
                           {665, 0x00FF00}, {666, 0x01FF00},  {840, 0xFFFF00},  {841, 0xFFFD00},
                           {992, 0xFF3300}, {1014, 0xFF0200}, {1015, 0xFF0000}, {1023, 0xFF0000}};
  for (const auto& [index, colour] : rainbow) {
    EXPECT_EQ(zocam::g_colTabRainbow[index], colour) << index;
  }
}

TEST(Palettes, AreHandedOutByFormatFamily) {
  const auto tableOf = [](uint32_t code) {
    zocam::Palette table;
    ZoLib_GetColorTable(code, table.data());
    return table;
  };
  EXPECT_EQ(g_colTabSize, 1024U);
  EXPECT_EQ(ZoLib_GetColorTableSize(99), 1024U);
  for (const uint32_t code : {21U, 22U, 30U, 70U}) EXPECT_EQ(tableOf(code), zocam::g_colTabIron);
  for (const uint32_t code : {42U, 50U, 81U}) EXPECT_EQ(tableOf(code), zocam::g_colTabRainbow);
  for (const uint32_t code : {0U, 11U, 60U, 99U, 0xFFFFFFFFU}) {
    EXPECT_EQ(tableOf(code)[200], 0xC8C8C8U) << code;
    EXPECT_EQ(tableOf(code)[300], 0xFFFFFFU) << code;
  }
}

TEST(GreyExpansion, FillsEveryByteOfAPixelAndSkipsTheGaps) {
  const Bytes grey = {1, 2, 3, 0x40};
  Bytes out(16, kGuard);
  EXPECT_EQ(ZoLib_Gray8ToRGB(grey.data(), 2, 2, out.data(), 16, 8, 3), 0U);
  EXPECT_EQ(out, (Bytes{1, 1, 1, 2, 2, 2, kGuard, kGuard,  //
                        3, 3, 3, 0x40, 0x40, 0x40, kGuard, kGuard}));
  EXPECT_EQ(ZoLib_Gray8ToRGB(grey.data() + 3, 1, 1, out.data(), 4, 0, 4), 0U);
  EXPECT_EQ((Bytes{out.data(), out.data() + 5}), (Bytes{0x40, 0x40, 0x40, 0x40, 2}));
}

TEST(GreyExpansion, ChecksSizeBeforePixelBeforeStride) {
  Bytes out(40);
  const auto expand = [&](uint32_t width, uint32_t height, uint32_t size, uint32_t stride,
                          int32_t bytesPerPixel) {
    const Bytes grey(8);
    return ZoLib_Gray8ToRGB(grey.data(), width, height, out.data(), size, stride, bytesPerPixel);
  };
  EXPECT_EQ(expand(4, 2, 23, 0, 3), 6U);
  EXPECT_EQ(expand(4, 2, 24, 0, 3), 0U);
  EXPECT_EQ(expand(4, 2, 7, 0, 2), 6U);
  EXPECT_EQ(expand(4, 2, 40, 0, 2), 21U);
  EXPECT_EQ(expand(4, 2, 40, 10, 3), 21U);
  EXPECT_EQ(expand(4, 2, 27, 14, 3), 6U);
  EXPECT_EQ(expand(4, 0, 0, 0, 3), 0U);
  EXPECT_EQ(expand(0x40000000, 4, 40, 0, 4), 6U) << "2^34 bytes";
  EXPECT_EQ(expand(0xFFFFFFFF, 0xFFFFFFFF, 40, 0, INT32_MAX), 6U);
}

// The cell of a magnified image by its definition: the mean of the pixel, counted twice, and of the
// neighbours that lie on the cell's side and exist.
uint8_t MagnifiedCell(const Bytes& src, int width, int height, int bytesPerPixel, int margin,
                      int outX, int outY, int channel) {
  const int x = margin + outX / 3, y = outY / 3, dx = outX % 3 - 1, dy = outY % 3 - 1;
  const auto at = [&](int px, int py) {
    return int{src[(py * width + px) * bytesPerPixel + channel]};
  };
  const bool across = dx != 0 && x + dx >= margin && x + dx < width;
  const bool along = dy != 0 && y + dy >= 0 && y + dy < height;
  const int p = at(x, y);
  if (across && along) return (2 * p + at(x + dx, y) + at(x, y + dy) + at(x + dx, y + dy)) / 5;
  if (across) return (2 * p + at(x + dx, y)) / 3;
  if (along) return (2 * p + at(x, y + dy)) / 3;
  return p;
}

TEST(Magnifier, BlendsEveryCellWithTheNeighboursThatExist) {
  std::mt19937 random(3);
  for (const auto [width, height, margin] :
       {std::array{160, 120, 20}, {80, 60, 0}, {2, 2, 0}, {1, 1, 0}, {5, 1, 1}, {4, 7, 3}}) {
    for (const int bytesPerPixel : {3, 4}) {
      Bytes src(width * height * bytesPerPixel);
      for (uint8_t& byte : src) byte = random();
      const int columns = 3 * (width - margin);
      const uint32_t size = columns * 3 * height * bytesPerPixel;
      Bytes out(size + 1, kGuard);
      EXPECT_EQ(
          ZoLib_Magnify3(src.data(), width, height, out.data(), size - 1, bytesPerPixel, margin),
          6U);
      EXPECT_EQ(out, Bytes(size + 1, kGuard));
      ASSERT_EQ(ZoLib_Magnify3(src.data(), width, height, out.data(), size, bytesPerPixel, margin),
                0U);
      for (uint32_t i = 0; i < size; ++i) {
        const int pixel = i / bytesPerPixel, channel = i % bytesPerPixel;
        const uint8_t expected = channel == 3
                                     ? kGuard
                                     : MagnifiedCell(src, width, height, bytesPerPixel, margin,
                                                     pixel % columns, pixel / columns, channel);
        ASSERT_EQ(out[i], expected) << width << " x " << height << ", byte " << i;
      }
      EXPECT_EQ(out[size], kGuard);
    }
  }
  const Bytes example{0, 0, 0, 60, 0, 0, 30, 0, 0, 90, 0, 0};  // UL, U, L, P
  Bytes out(108);
  ASSERT_EQ(ZoLib_Magnify3(example.data(), 2, 2, out.data(), 108, 3, 0), 0U);
  EXPECT_EQ((std::array{out[63], out[66], out[81], out[84]}),
            (std::array<uint8_t, 4>{54, 80, 70, 90}));
}

TEST(Magnifier, RefusesSizesThatMakeNoImage) {
  Bytes bytes(36);
  const auto magnify = [&](uint32_t width, uint32_t height, uint32_t size, uint32_t bytesPerPixel,
                           uint32_t margin) {
    return ZoLib_Magnify3(bytes.data(), width, height, bytes.data(), size, bytesPerPixel, margin);
  };
  for (const uint32_t bytesPerPixel : {2, 5}) EXPECT_EQ(magnify(1, 1, 0, bytesPerPixel, 0), 21U);
  EXPECT_EQ(magnify(4, 1, 36, 3, 4), 21U);
  EXPECT_EQ(magnify(0, 1, 36, 3, 0), 21U);
  EXPECT_EQ(magnify(1, 0, 0, 3, 0), 0U);
  EXPECT_EQ(magnify(0xFFFFFFFF, 0xFFFFFFFF, 36, 4, 0), 21U) << "more than 2^64 bytes";
  EXPECT_EQ(magnify(0x10000, 0x10000, 36, 3, 0), 6U);
  EXPECT_EQ(ZoLib_Magnify3(nullptr, 1, 1, bytes.data(), 36, 3, 0), 20U);
}

}  // namespace
