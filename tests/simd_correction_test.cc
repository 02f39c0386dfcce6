// The faster forms of the noise filter and of the undistortion write what the scalar ones write.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "decode/undistortion.h"
#include "simd_level.h"

namespace {

using testing::Eq;
using Image = std::vector<uint16_t>;

struct Size {
  uint32_t width;
  uint32_t height;
};

void ForEachSmallSize(const std::function<void(Size)>& visit) {
  for (uint32_t width = 1; width <= 67; ++width) {
    for (uint32_t height = 1; height <= 67; ++height) visit({width, height});
  }
}

Image OfValues(std::mt19937& random, Size size, const std::vector<int>& values) {
  Image image(size.width * size.height);
  for (auto& pixel : image) pixel = static_cast<uint16_t>(values[random() % values.size()]);
  return image;
}

Image Gradient(Size size, uint32_t perColumn, uint32_t perRow) {
  Image image;
  for (uint32_t y = 0; y < size.height; ++y) {
    for (uint32_t x = 0; x < size.width; ++x) {
      image.push_back(static_cast<uint16_t>(30000 + x * perColumn + y * perRow));
    }
  }
  return image;
}

Image Checkerboard(Size size, uint16_t a, uint16_t b) {
  Image image;
  for (uint32_t k = 0; k < size.width * size.height; ++k) {
    image.push_back((k % size.width + k / size.width) % 2 == 0 ? a : b);
  }
  return image;
}

// What reaches every branch of stages that compare neighbours with a threshold.
std::vector<Image> Images(std::mt19937& random, Size size, int threshold) {
  const int t = std::clamp(threshold, 1, 1000);
  const std::size_t count = size.width * size.height;
  const auto any = static_cast<uint16_t>(random());
  const int farthest = 0x10000 - 2 * t;  // what 16-bit lanes can tell apart
  return {
      Image(count, any),
      Image(count, random() % 2 == 0 ? 0 : 65535),
      Gradient(size, 1, 3),
      Gradient(size, 700, 0),
      Checkerboard(size, any, static_cast<uint16_t>(any + 1)),
      Checkerboard(size, 0, 65535),
      RandomImage(random, count, 29980, 30020),
      RandomImage(random, count, 30000 - 2 * t, 30000 + 2 * t),
      RandomImage(random, count, 0, 65535),
      OfValues(random, size, {30000, 30000 - t, 30001 - t, 29999 + t, 30000 + t}),
      OfValues(random, size, {0, t - 1, t, farthest - t, farthest - 1, farthest}),
      OfValues(random, size, {0, t - 1, t, farthest - t, 65536 - t, 65535}),
      OfValues(random, size, {0, farthest + 1}),
  };
}

void ExpectSameFilteredNoise(const Image& image, Size size, int threshold) {
  Image expected(image.size());
  scalar::FilterNoise(image, expected, size.width, size.height, threshold);
  AtEachLevel([&](const StageTable& stages) {
    GuardedOutput<uint16_t> out(image.size());
    stages.filterNoise(image, out.Get(), size.width, size.height, threshold);
    ASSERT_THAT(out.Values(), Eq(expected)) << size.width << "x" << size.height << " " << threshold;
    ASSERT_TRUE(out.GuardsAreIntact());
  });
}

constexpr int kThresholds[] = {1, 2, 50, 150, 300, 448, 449, 482, 70000, 0, -7, INT32_MAX};

TEST(FasterNoiseFilter, IsScalarAtEverySmallSize) {
  std::mt19937 random(1);
  ForEachSmallSize([&](Size size) {
    const int threshold = kThresholds[random() % std::size(kThresholds)];
    const std::vector<Image> images = Images(random, size, threshold);
    ExpectSameFilteredNoise(images[random() % images.size()], size, threshold);
  });
}

TEST(FasterNoiseFilter, IsScalarForEveryKindOfImageAndThreshold) {
  std::mt19937 random(2);
  for (const Size size : {Size{80, 60}, Size{41, 33}, Size{4096, 3}, Size{4097, 3}}) {
    for (const int threshold : kThresholds) {
      for (const Image& image : Images(random, size, threshold)) {
        ExpectSameFilteredNoise(image, size, threshold);
      }
    }
  }
}

// Every weighted sum of each set of neighbours, nearly.
TEST(FasterNoiseFilter, DividesEverySum) {
  std::mt19937 random(3);
  constexpr Size kSize = {67, 500};
  for (const int threshold : {50, 150, 448}) {
    std::vector<int> values;
    for (int d = -threshold - threshold / 4; d <= threshold; ++d) values.push_back(30000 + d);
    ExpectSameFilteredNoise(OfValues(random, kSize, values), kSize, threshold);
  }
}

Image Undistorted(Undistortion& lens, const Image& image, SimdLevel level) {
  EXPECT_EQ(ZoLib_Priv_ForceSimdLevel(static_cast<int32_t>(level)), ZO_STATUS_OK);
  GuardedOutput<uint16_t> out(image.size());
  lens.Transform(out.Get().data(), image.data());
  EXPECT_TRUE(out.GuardsAreIntact());
  return out.Values();
}

void ExpectSameUndistorted(Undistortion& lens, const Image& image) {
  const Image expected = Undistorted(lens, image, SimdLevel::kScalar);
  for (const SimdLevel level : {SimdLevel::kBaseline, SimdLevel::kAvx2}) {
    if (StagesOf(level) == nullptr) continue;
    ASSERT_THAT(Undistorted(lens, image, level), Eq(expected)) << static_cast<int>(level);
  }
}

TEST(FasterUndistortion, IsScalarAtEverySmallSize) {
  std::mt19937 random(4);
  ForEachSmallSize([&](Size size) {
    // The identity, one whose border is left as it is, the cameras', and the strongest.
    const double strengths[] = {0, 1e-200, 0.1, 0.6, 1, size.width / 2.0, 1.0 * size.width};
    const double strength = strengths[random() % std::size(strengths)];
    SCOPED_TRACE(testing::Message() << size.width << "x" << size.height << " " << strength);
    Undistortion lens;
    ASSERT_EQ(lens.Setup(size.width, size.height, strength), 0);
    const std::vector<Image> images = Images(random, size, 50);
    ExpectSameUndistorted(lens, images[random() % images.size()]);
    ExpectSameUndistorted(lens, images[8]);
  });
}

TEST(FasterUndistortion, IsScalarForEveryKindOfImage) {
  std::mt19937 random(5);
  constexpr Size kSize = {160, 120};
  for (const double strength : {0.0, 1e-200, 0.1, 0.6, 0.7, 1.0, 7.5, 160.0}) {
    SCOPED_TRACE(strength);
    Undistortion lens;
    ASSERT_EQ(lens.Setup(kSize.width, kSize.height, strength), 0);
    for (int repeat = 0; repeat < 20; ++repeat) {
      for (const Image& image : Images(random, kSize, 50)) ExpectSameUndistorted(lens, image);
    }
  }
}

}  // namespace
