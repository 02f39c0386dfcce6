// The faster forms of the decoders and of the stages that copy or add write what the scalar ones
// write.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <numeric>

#include "core/byte_order.h"
#include "simd_level.h"

namespace {

using testing::Each;
using testing::Eq;

std::vector<uint8_t> AsWords(std::span<const uint16_t> values) {
  std::vector<uint8_t> words(values.size() * 2);
  for (std::size_t i = 0; i < values.size(); ++i) WriteBe16(&words[2 * i], values[i]);
  return words;
}

// Runs one stage of a table over big-endian words.
using WordStage =
    std::function<void(const StageTable&, std::span<const uint8_t>, std::span<uint16_t>)>;

void ExpectSameAtEachLevel(std::span<const uint16_t> values, const WordStage& stage) {
  const std::vector<uint8_t> words = AsWords(values);
  std::vector<uint16_t> expected(values.size());
  stage(ScalarStages(), words, expected);
  AtEachLevel([&](const StageTable& stages) {
    GuardedOutput<uint16_t> out(values.size());
    stage(stages, words, out.Get());
    EXPECT_THAT(out.Values(), Eq(expected));
    EXPECT_TRUE(out.GuardsAreIntact());
  });
}

std::vector<uint16_t> EveryValue() {
  std::vector<uint16_t> values(65536);
  std::iota(values.begin(), values.end(), uint16_t{0});
  return values;
}

double Uniform(std::mt19937& random, double low, double high) {
  return std::uniform_real_distribution(low, high)(random);
}

SensorTelemetry RandomTelemetry(std::mt19937& random) {
  std::vector<uint8_t> bytes(1024);
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
  SensorTelemetry telemetry(Footer(bytes.data()), random() % 2 == 0 ? 9 : 10);
  if (random() % 4 == 0) return telemetry;  // anything
  telemetry.sensor = Uniform(random, 270, 330);
  telemetry.ffcSensor = telemetry.sensor + Uniform(random, -5, 5);
  telemetry.ffcHousing = telemetry.sensor + Uniform(random, -5, 5);
  telemetry.ffcTime = random() % 2 == 0 ? random() % 5000 : random() % 1000000;
  telemetry.time = telemetry.ffcTime + random() % 400000;
  return telemetry;
}

// Every stage that turns words into values, with settings drawn at random.
std::vector<WordStage> RandomWordStages(std::mt19937& random) {
  const bool upsideDown = random() % 2 == 0;
  const SensorModel model(RandomTelemetry(random));
  const int32_t resolution = random() % 2 == 0 ? 100 : 10;
  const double sensor = random() % 4 == 0 ? Uniform(random, -20, 700) : Uniform(random, 280, 330);
  const double offset = random() % 2 == 0 ? -14.0 : 0.0;
  const DriftCorrection drift{Uniform(random, 270, 330), Uniform(random, -20, 20),
                              random() % 2 == 0 ? 1.0 : 0.9903583480636349, random() % 2 == 0};
  return {
      [=](auto& stages, auto words, auto out) {
        stages.copyImageWords(words, out.data(), upsideDown);
      },
      [=](auto& stages, auto words, auto out) {
        stages.convertCounts(model, words, out, upsideDown);
      },
      [=](auto& stages, auto words, auto out) {
        stages.correctWindowOfTemperatures(words, out, upsideDown, resolution, sensor, offset);
      },
      [=](auto& stages, auto words, auto out) {
        stages.correctDrifts(words, out, upsideDown, drift, resolution);
      },
      [=](auto& stages, auto words, auto out) {
        std::vector<uint16_t> image(out.size());
        scalar::CopyImageWords(words, image.data(), upsideDown);
        stages.correctWindowOfCounts(image, out, sensor);
      },
  };
}

TEST(Levels, AreForcedFromOutside) {
  const char* wanted = std::getenv("ZOCAM_SIMD_LEVEL");
  if (wanted == nullptr) GTEST_SKIP() << "no level is forced";
  EXPECT_EQ(&Stages(), StagesOf(SimdLevel{std::atoi(wanted)}));
}

TEST(FasterDecoders, DecodeEveryWordUnderEveryTelemetry) {
  std::mt19937 random(1);
  const std::vector<uint16_t> every = EveryValue();
  const char* wanted = std::getenv("ZOCAM_TEST_TELEMETRIES");
  const int sets = wanted != nullptr ? std::atoi(wanted) : 400;
  for (int set = 0; set < sets; ++set) {
    SCOPED_TRACE(set);
    // Few values go through a table, many do not.
    const int low = static_cast<int>(random() % 60000);
    const auto few = RandomImage(random, 6000, low, low + static_cast<int>(random() % 3200));
    for (const WordStage& stage : RandomWordStages(random)) {
      ExpectSameAtEachLevel(every, stage);
      ExpectSameAtEachLevel(few, stage);
    }
    if (HasFailure()) return;
  }
}

TEST(FasterDecoders, TakeImagesOfEverySize) {
  std::mt19937 random(2);
  for (std::size_t count = 1; count <= 67 * 67; count += count < 200 ? 1 : 97) {
    SCOPED_TRACE(count);
    const int low = static_cast<int>(random() % 65536);
    const auto image = RandomImage(random, count, low, std::min(65535, low + 30));
    for (const WordStage& stage : RandomWordStages(random)) ExpectSameAtEachLevel(image, stage);
    if (HasFailure()) return;
  }
}

TEST(FasterDecoders, KeepTheLowBitsOfResultsOfAnySize) {
  // Coefficients of such a sensor temperature leave 32 bits, and some 64.
  for (const double sensor : {1e6, 1e9, -1e9, 1e13, 1e200}) {
    ExpectSameAtEachLevel(EveryValue(), [=](auto& stages, auto words, auto out) {
      stages.correctWindowOfTemperatures(words, out, false, 10, sensor, 0.0);
    });
  }
}

TEST(FasterCircumference, AddsTheSameTerms) {
  std::mt19937 random(3);
  for (uint32_t width = 1; width <= 1100; width += width < 68 ? 1 : 60) {
    for (const uint32_t height : {1U, 2U, 5U, 60U, 61U}) {
      SCOPED_TRACE(testing::Message() << width << " x " << height);
      std::vector<double> table(std::size_t{width} * height);
      FillCircumferenceTable(table, width, height);
      // The words and factors make sums that reach both ends and, with 0.2 and 200, whole numbers.
      const double factors[] = {0.0, -0.3, 5.0, Uniform(random, 0, 5), 0.2, -0.2, 200.0, 1e9, -1e9,
                                // a hair above and below whole terms
                                std::nextafter(40.0, 0.0), std::nextafter(-40.0, -50.0)};
      for (const double factor : factors) {
        const int low = random() % 2 == 0 ? 0 : 65000;
        const auto words = AsWords(RandomImage(random, table.size(), low, low + 500));
        std::vector<uint8_t> expected(words.size());
        scalar::CorrectCircumference(words, table, width, factor, expected);
        AtEachLevel([&](const StageTable& stages) {
          GuardedOutput<uint8_t> out(words.size());
          stages.correctCircumference(words, table, width, factor, out.Get());
          EXPECT_THAT(out.Values(), Eq(expected)) << factor;
          EXPECT_TRUE(out.GuardsAreIntact());
        });
        if (HasFailure()) return;
      }
    }
  }
}

TEST(FasterSums, AddAndSubtractAlike) {
  std::mt19937 random(4);
  for (std::size_t count = 1; count <= 300; ++count) {
    SCOPED_TRACE(count);
    const auto image = RandomImage(random, count, 0, 65535);
    const auto other = RandomImage(random, count, 0, 65535);
    using Stage = decltype(StageTable::applyCorrections);
    for (Stage StageTable::*stage :
         {&StageTable::applyCorrections, &StageTable::subtractReference}) {
      auto expected = image;
      (ScalarStages().*stage)(expected, other);
      AtEachLevel([&](const StageTable& stages) {
        GuardedOutput<uint16_t> out(count);
        std::ranges::copy(image, out.Get().begin());
        (stages.*stage)(out.Get(), other);
        EXPECT_THAT(out.Values(), Eq(expected));
        EXPECT_TRUE(out.GuardsAreIntact());
      });
    }
    std::vector<double> expected(count, 0.1);
    ScalarStages().accumulateKelvin(expected, image, 100);
    AtEachLevel([&](const StageTable& stages) {
      std::vector<double> sums(count, 0.1);
      stages.accumulateKelvin(sums, image, 100);
      EXPECT_THAT(sums, Eq(expected));
    });
  }
}

}  // namespace
