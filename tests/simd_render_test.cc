// The faster forms of the render stages write what the scalar forms write.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <vector>

#include "render/palettes.h"
#include "tests/simd_level.h"

namespace {

using namespace zocam;

using Image = std::vector<uint16_t>;

// Calls check(image, width) for images of every size to 67 x 67 in steps and of a camera's size,
// flat ones, narrow and wide ones.
template <class Check>
void ForImages(Check check) {
  std::mt19937 random(1);
  constexpr std::pair<int, int> kRanges[] = {{0, 0},         {65535, 65535}, {0, 65535},
                                             {29000, 29001}, {28914, 32114}, {20480, 21503},
                                             {0, 20},        {65500, 65535}, {30000, 44000}};
  const auto checkSize = [&](uint32_t width, uint32_t height) {
    const auto& [low, high] = kRanges[random() % std::size(kRanges)];
    SCOPED_TRACE(testing::Message() << width << " x " << height << ' ' << low << ' ' << high);
    check(RandomImage(random, width * height, low, high), width);
  };
  for (uint32_t width = 1; width <= 67; ++width) {
    for (uint32_t height = 1; height <= 67; height += 1 + random() % 8) checkSize(width, height);
  }
  for (int round = 0; round < 20; ++round) checkSize(160, 120);
}

Image EveryValue() {
  Image image(65536);
  std::iota(image.begin(), image.end(), uint16_t{0});
  return image;
}

// Compares the levels that map(stages, output) writes.
template <class Map>
void CompareLevels(const Image& image, Map map) {
  Image expected(image.size());
  map(ScalarStages(), std::span(expected));
  AtEachLevel([&](const StageTable& stages) {
    GuardedOutput<uint16_t> out(image.size());
    map(stages, out.Get());
    ASSERT_EQ(out.Values(), expected);
    ASSERT_TRUE(out.GuardsAreIntact());
  });
}

TEST(FasterStatistics, CountTheSamePixels) {
  std::mt19937 random(2);
  ForImages([&](const Image& image, uint32_t width) {
    std::vector<uint32_t> weights(image.size());
    for (uint32_t& weight : weights) weight = random() % 3 << random() % 32;
    const uint32_t skipped = random() % (width + 2);
    const Extremes found{*std::ranges::min_element(image), *std::ranges::max_element(image)};
    const uint32_t low = random() % 65536;
    const uint32_t high = random() % 65536;
    const BinRange ranges[] = {WholeBlocks(found),
                               WholeBlocks({0, 0xFFFF}),
                               {low, high, low == high ? 1 : high - low},  // may be wrapped
                               {28672, 32767, 4095},
                               WholeBlocks({30000, 2000})};
    for (const CountedPixels& counted : {CountedPixels{{}, width, 0},
                                         {{}, width, skipped},
                                         {weights, width, 0},
                                         {weights, width, skipped},
                                         {{}, width + 1, 0},
                                         {{}, 0, 0}}) {
      for (const Extremes before : {Extremes{}, {29000, 29100}}) {
        Extremes expected = before;
        ScalarStages().widenExtremes(image, counted, expected);
        AtEachLevel([&](const StageTable& stages) {
          Extremes extremes = before;
          stages.widenExtremes(image, counted, extremes);
          ASSERT_EQ(extremes.min, expected.min);
          ASSERT_EQ(extremes.max, expected.max);
        });
      }
      for (const BinRange& range : ranges) {
        BinCounts expected;
        expected.fill(3);
        ScalarStages().countBins(image, counted, range, expected);
        AtEachLevel([&](const StageTable& stages) {
          BinCounts counts;
          counts.fill(3);
          stages.countBins(image, counted, range, counts);
          ASSERT_EQ(counts, expected) << range.low << ' ' << range.high;
        });
      }
    }
  });
}

TEST(FasterStatistics, CountImagesOfMorePixelsThanSmallCountersHold) {
  const Image image(640 * 2048, 3000);
  AtEachLevel([&](const StageTable& stages) {
    BinCounts counts{};
    stages.countBins(image, {{}, 640, 0}, WholeBlocks({3000, 3000}), counts);
    EXPECT_EQ(counts[29], image.size());
  });
}

TEST(FasterStatistics, FindEveryValueOfEveryBlockRangeInItsBin) {
  const Image image = EveryValue();
  for (uint32_t blocks = 1; blocks <= 64; ++blocks) {
    const BinRange range{0, blocks * 1024, blocks * 1024};
    BinCounts expected{};
    ScalarStages().countBins(image, {{}, 256, 0}, range, expected);
    AtEachLevel([&](const StageTable& stages) {
      BinCounts counts{};
      stages.countBins(image, {{}, 256, 0}, range, counts);
      ASSERT_EQ(counts, expected) << blocks;
    });
  }
}

TEST(FasterGains, MapTheSameLevels) {
  std::mt19937 random(3);
  ForImages([&](const Image& image, uint32_t) {
    const auto value = [&] { return static_cast<uint16_t>(random() >> random() % 17); };
    const uint16_t low = value();
    const uint16_t high = value();
    for (const Extremes extremes :
         {Extremes{low, high},
          {high, low},
          {*std::ranges::min_element(image), *std::ranges::max_element(image)},
          {0, 32767},
          {1, 32769},
          {0, 65535}}) {
      CompareLevels(image, [&](const StageTable& stages, std::span<uint16_t> levels) {
        stages.mapLinear(image, extremes, levels);
      });
    }
    const auto any = static_cast<int32_t>(random());
    for (const ManualRange range : {ManualRange{28914, 3200},
                                    {low, high},
                                    {-low, high},
                                    {0, 0},
                                    {any, INT32_MAX},
                                    {INT32_MIN, any},
                                    {65535, 1},
                                    {low, 32768},
                                    {70000, 5}}) {
      for (const uint32_t steps : {255U, 1024U}) {
        CompareLevels(image, [&](const StageTable& stages, std::span<uint16_t> levels) {
          stages.mapManual(image, range, steps, levels);
        });
      }
    }
  });
}

TEST(FasterGains, MapEveryValueOfManyRangesLinearly) {
  const Image image = EveryValue();
  for (uint32_t span = 1; span < 65536; span += 1 + span / 40) {
    CompareLevels(image, [&](const StageTable& stages, std::span<uint16_t> levels) {
      stages.mapLinear(image, {static_cast<uint16_t>(65535 - span), 65535}, levels);
    });
  }
}

TEST(FasterGains, MapTheSameSegments) {
  std::mt19937 random(4);
  ForImages([&](const Image& image, uint32_t width) {
    const Extremes found{*std::ranges::min_element(image), *std::ranges::max_element(image)};
    const uint32_t low = random() % 65000;
    const auto narrow = static_cast<uint32_t>(kGainBins + random() % 500);
    for (const BinRange& range : {WholeBlocks(found),
                                  WholeBlocks({0, 0xFFFF}),
                                  BinRange{low, low + narrow, narrow},
                                  {28672, 32767, 4095},
                                  WholeBlocks({30000, 20000})}) {
      BinCounts counts{};
      const bool oneBin = random() % 4 == 0;
      for (uint64_t& count : counts) count = oneBin ? 0 : random() % 3 * (random() % 100);
      counts[random() % kGainBins] += 1;
      const SegmentTable segments = *BuildSegments(counts);
      CompareLevels(image, [&](const StageTable& stages, std::span<uint16_t> levels) {
        stages.mapSegments(image, range, segments, levels);
      });
    }
    SegmentTable strange;  // of no frame
    for (GainSegment& segment : strange) {
      segment.base = random();
      segment.slope = random();
    }
    CompareLevels(image, [&](const StageTable& stages, std::span<uint16_t> levels) {
      stages.mapSegments(image, {low, low + width + 32, width + 32}, strange, levels);
    });
  });
}

TEST(FasterGains, MapEveryValueOfEveryBlockRangeBySegments) {
  const Image image = EveryValue();
  std::mt19937 random(7);
  for (uint32_t blocks = 1; blocks <= 64; ++blocks) {
    SegmentTable segments;
    for (GainSegment& segment : segments) segment = {0, static_cast<uint32_t>(random() % 1025)};
    CompareLevels(image, [&](const StageTable& stages, std::span<uint16_t> levels) {
      stages.mapSegments(image, {0, blocks * 1024, blocks * 1024}, segments, levels);
    });
  }
}

TEST(FasterPainters, PaintTheSamePixels) {
  struct Layout {
    Painter PainterTable::*painter;
    std::size_t bytes;
  };
  constexpr Layout kLayouts[] = {{&PainterTable::gray8, 1}, {&PainterTable::bgr24, 3},
                                 {&PainterTable::rgb24, 3}, {&PainterTable::bgr32, 4},
                                 {&PainterTable::rgb32, 4}, {&PainterTable::rgb565, 2}};
  std::mt19937 random(5);
  Palette anyColours;
  for (uint32_t& colour : anyColours) colour = random() & 0xFFFFFF;
  const Palette* const palettes[] = {&anyColours, &PaletteFor(Colours::kGrey, Gain::kManual),
                                     &PaletteFor(Colours::kGrey, Gain::kLinear)};
  for (std::size_t count = 0; count <= 1400; count += count < 140 ? 1 : 61) {
    const Image levels = RandomImage(random, count, 0, 1023);
    for (const Layout& layout : kLayouts) {
      const auto painter = layout.painter;
      const std::size_t bytes = layout.bytes;
      for (const Palette* palette : palettes) {
        std::vector<uint8_t> expected(count * bytes);
        (ScalarStages().painters->*painter)(levels, *palette, expected.data());
        AtEachLevel([&](const StageTable& stages) {
          GuardedOutput<uint8_t> out(count * bytes);
          (stages.painters->*painter)(levels, *palette, out.Get().data());
          ASSERT_EQ(out.Values(), expected) << count << ' ' << bytes;
          ASSERT_TRUE(out.GuardsAreIntact()) << count << ' ' << bytes;
        });
      }
    }
  }
}

TEST(FasterMagnifier, MakesTheSameBlocks) {
  std::mt19937 random(6);
  const auto check = [&](uint32_t width, uint32_t height, uint32_t bytes) {
    const uint32_t margin = random() % 2 == 0 ? 0 : random() % width;
    // The image ends where its memory ends.
    std::vector<uint8_t> pixels(std::size_t{width} * height * bytes);
    for (uint8_t& byte : pixels) byte = static_cast<uint8_t>(random() % 4 == 0 ? 255 : random());
    const ColourImage image{pixels.data(), width, height, bytes, margin};
    const std::size_t size = std::size_t{width - margin} * height * bytes * 9;
    GuardedOutput<uint8_t> expected(size);  // its fourth bytes are guards
    ScalarStages().magnify3(image, expected.Get().data());
    AtEachLevel([&](const StageTable& stages) {
      GuardedOutput<uint8_t> out(size);
      stages.magnify3(image, out.Get().data());
      ASSERT_EQ(out.Values(), expected.Values())
          << width << ' ' << height << ' ' << bytes << ' ' << margin;
      ASSERT_TRUE(out.GuardsAreIntact()) << width << ' ' << height << ' ' << bytes;
    });
  };
  for (const uint32_t bytes : {3U, 4U}) {
    for (uint32_t width = 1; width <= 67; ++width) {
      for (uint32_t height = 1; height <= 67; height += height < 5 ? 1 : 31) {
        check(width, height, bytes);
      }
    }
    check(160, 120, bytes);
  }
}

}  // namespace
