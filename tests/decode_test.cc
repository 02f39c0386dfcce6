// The raw frame, the decode pipeline and temperature decoders A and B, through ZoLib_Decode.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "decode/decoder_a.h"
#include "decode/temp_decoders.h"
#include "decode/window_correction.h"
#include "tests/raw_camera.h"

namespace {

using Camera = RawCamera;

TEST(DecodeCheck, RefusesWhatDoesNotFitTheModel) {
  Camera camera(0x6103);
  EXPECT_EQ(ZoLib_DecodeCheck(camera.dev, camera.frame.data()), 0);
  EXPECT_EQ(ZoLib_DecodeCheck(camera.dev, nullptr), 20);
  EXPECT_EQ(ZoLib_DecodeCheck(nullptr, camera.frame.data()), 20);
  camera.frame[camera.dev->imageBytes + 1] = 9;
  EXPECT_EQ(ZoLib_DecodeCheck(camera.dev, camera.frame.data()), 22);
  EXPECT_EQ(camera.Decode(ZO_FMT_RAW16), 22);
  camera.dev->connected = 0;
  EXPECT_EQ(camera.Decode(), 4) << "before the revision is looked at";
  EXPECT_EQ(camera.dev->tempImage, nullptr);

  Camera foreign(0x6110);
  foreign.dev->tempResolution = 0;
  EXPECT_EQ(foreign.Decode(), 22);
}

TEST(DecodeCheck, TakesTheResolutionOfRevision14FromTheFrame) {
  Camera camera(0x6101);
  for (uint16_t flag : {0, 1, 0x8000, 0}) {
    camera.SetFooter(418, flag);
    EXPECT_EQ(ZoLib_DecodeCheck(camera.dev, camera.frame.data()), 0);
    EXPECT_EQ(ZoLib_GetLastTempResolution(camera.dev), flag != 0 ? 100 : 10);
  }
}

TEST(Pipeline, KeepsTheImageUntilTheFrameIsFinished) {
  Camera camera(0x6103);
  camera.SetPixel(0, 3000);
  EXPECT_EQ(camera.Decode(), 0);
  camera.SetPixel(0, 4000);
  EXPECT_EQ(camera.Decode(), 0);
  EXPECT_EQ(camera.image[0], 3000) << "the temperature image is the first frame's";
  EXPECT_EQ(camera.Decode(ZO_FMT_RAW16), 0);
  EXPECT_EQ(camera.image[0], 4000) << "raw words are this call's";
  ZoLib_FinishDecode(camera.dev);
  EXPECT_EQ(camera.Decode(), 0);
  EXPECT_EQ(camera.image[0], 4000);
}

TEST(Pipeline, DeliversRawWordsEvenWhenTheDecoderFails) {
  Camera camera(0x6110);
  camera.SetPixel(7, 0x1234);  // TIME_FFC is 0
  EXPECT_EQ(camera.Decode(), 22);
  EXPECT_EQ(camera.Decode(ZO_FMT_GRAY8), 22);
  EXPECT_EQ(camera.Decode(ZO_FMT_RAW16), 0);
  EXPECT_EQ(camera.image[7], 0x1234);
  EXPECT_FALSE(camera.dev->frameDecoded);
  ZoLib_SetColorizeByRaw(camera.dev, 1);
  EXPECT_EQ(camera.Decode(), 0) << "raw counts need no decoder";
  EXPECT_EQ(camera.image[7], 0x1234);
}

TEST(Pipeline, ChecksTheOutputSize) {
  Camera camera(0x6101);
  std::vector<uint16_t> out(camera.dev->pixelCount, 0xEEEE);
  const auto decode = [&](uint32_t size, uint32_t format) {
    return ZoLib_Decode(camera.dev, camera.frame.data(), out.data(), size, 0, format);
  };
  for (uint32_t format : {ZO_FMT_RAW16, ZO_FMT_TEMP16}) {
    EXPECT_EQ(decode(camera.dev->imageBytes - 1, format), 6);
    EXPECT_EQ(decode(0, format), 6);
  }
  EXPECT_EQ(out[0], 0xEEEE);
  EXPECT_EQ(decode(camera.dev->imageBytes, 83), 21);
  EXPECT_EQ(ZoLib_Decode(camera.dev, camera.frame.data(), nullptr, 10, 0, 1), 20);
  std::vector<uint8_t> odd(camera.dev->imageBytes + 1);
  EXPECT_EQ(ZoLib_Decode(camera.dev, camera.frame.data(), &odd[1], camera.dev->imageBytes, 0, 0), 0)
      << "any address will do";
  EXPECT_EQ(ZoLib_GetTelemetryData(camera.dev, camera.frame.data()),
            camera.frame.data() + camera.dev->imageBytes);
}

TEST(Pipeline, TurnsEveryImageUpsideDown) {
  for (uint16_t product : {0x6101, 0x6102}) {
    for (uint32_t window : {0U, 1U}) {
      for (uint32_t format : {ZO_FMT_RAW16, ZO_FMT_TEMP16}) {
        Camera camera(product);
        camera.SetSteady(100000, 90000);
        camera.SetFooter(418, 1);
        ZoLib_SetWindowCorrection(camera.dev, window);
        for (uint32_t k = 0; k < camera.dev->pixelCount; ++k) {
          camera.SetPixel(k, static_cast<uint16_t>(7000 + k));
        }
        const auto upright = camera.Fresh(format);
        ZoLib_SetUpsideDown(camera.dev, 1);
        auto turned = camera.Fresh(format);
        std::ranges::reverse(turned);
        EXPECT_EQ(turned, upright) << product << ' ' << window << ' ' << format;
      }
    }
  }
}

struct Golden {
  uint16_t product;
  bool steady;
  uint32_t time;
  uint16_t count, centikelvin;
};

TEST(DecoderA, DecodesBothRegimesOfBothRevisions) {
  const Golden goldens[] = {
      // Steady: a count below the sensor model's root, its two branches, above its range.
      {0x6110, true, 100000, 6000, 21693},
      {0x6110, true, 100000, 7000, 23804},
      {0x6110, true, 100000, 8000, 29163},
      {0x6110, true, 100000, 65535, 65535},
      {0x6102, true, 100000, 6000, 22808},
      {0x6102, true, 100000, 8000, 29388},
      // Start-up: while the camera warms up, in each of its stretches.
      {0x6110, false, 20000, 0, 15503},
      {0x6110, false, 20000, 3000, 20784},
      {0x6110, false, 20000, 7000, 26967},
      {0x6110, false, 20000, 20000, 50707},
      {0x6110, false, 20000, 65535, 65535},
      {0x6110, false, 45000, 7000, 27129},
      {0x6110, false, 100000, 7000, 27244},
      {0x6110, false, 300000, 7000, 27421},
      {0x6102, false, 20000, 7000, 27543},
  };
  for (const Golden& golden : goldens) {
    Camera camera(golden.product);
    if (golden.steady) {
      camera.SetSteady(golden.time, golden.time - 10000);
    } else {
      camera.SetFooter32(2, golden.time);
      camera.SetFooter32(60, 3000);
      camera.SetFooter(48, 29500);
      camera.SetFooter(58, 29600);
    }
    camera.SetPixel(0, golden.count);
    EXPECT_EQ(camera.Decode(), 0);
    EXPECT_EQ(camera.image[0], golden.centikelvin)
        << std::hex << golden.product << std::dec << ' ' << golden.time << ' ' << golden.count;
  }
  Camera cold(0x6110);  // so cold a sensor that the model's warm-up term is off
  cold.SetFooter32(2, 20000);
  cold.SetFooter32(60, 3000);
  cold.SetFooter(48, 27500);
  cold.SetFooter(58, 27000);
  cold.SetPixel(0, 7000);
  EXPECT_EQ(cold.Fresh()[0], 23986);
}

TEST(DecoderA, ReadsItsParametersFromTheFooter) {
  Camera camera(0x6110);
  camera.SetSteady(100000, 90000);
  const SensorTelemetry telemetry(Footer(&camera.frame[camera.dev->imageBytes]), 9);
  EXPECT_NEAR(SteadyParameters(telemetry)[1], -6.19506, 1e-5);
  EXPECT_NEAR(SteadyParameters(telemetry)[0], 300.5333, 1e-4);
}

TEST(DecoderA, ChoosesRegimeAndDriftByTime) {
  const auto steady = [](uint32_t time, uint32_t ffcTime) {
    Camera camera(0x6110);
    camera.SetSteady(time, ffcTime);
    return SteadyParameters(SensorTelemetry(Footer(&camera.frame[camera.dev->imageBytes]), 9))[1];
  };
  EXPECT_NEAR(steady(27999, 10000), -20.49792, 1e-4);
  EXPECT_NEAR(steady(28000, 10000), -19.50837, 1e-4) << "the quartic begins";
  EXPECT_NEAR(steady(75000, 10000), 0.001155, 1e-5) << "and ends";
  EXPECT_EQ(steady(75001, 10000), 0.0);
  EXPECT_EQ(steady(9999, 10000), 0.0) << "a time before the correction";

  Camera camera(0x6110);
  camera.SetFooter(58, 31099);
  const auto isStartup = [&](uint32_t ffcTime) {
    camera.SetFooter32(60, ffcTime);
    return IsStartup(SensorTelemetry(Footer(&camera.frame[camera.dev->imageBytes]), 9));
  };
  EXPECT_TRUE(isStartup(4999));
  EXPECT_FALSE(isStartup(5000));
  camera.SetFooter(58, 31100);
  EXPECT_FALSE(isStartup(4999));
}

TEST(WindowCorrection, AveragesSixteenFramesAndJoinsItsRanges) {
  EXPECT_EQ(static_cast<int>(ZoLib_Priv_WindowCorrectTemp(300.0, 296.0) * 100.0), 30562);
  EXPECT_NEAR(ZoLib_Priv_WindowCorrectTemp(350.0, 300.0), 386.70, 0.01);
  EXPECT_NEAR(ZoLib_Priv_WindowCorrectTemp(336.0, 300.0), 363.97, 0.01);
  for (double y : {285.0, 300.0, 315.0}) {  // the blend meets both fits
    for (double x : {331.0, 341.0}) {
      EXPECT_NEAR(ZoLib_Priv_WindowCorrectTemp(x - 1e-9, y), ZoLib_Priv_WindowCorrectTemp(x, y),
                  1e-6);
    }
  }
  Camera camera(0x6101);
  camera.SetFooter(418, 1);
  camera.SetPixel(0, 30000);
  ZoLib_SetWindowCorrection(camera.dev, 1);
  const auto expected = [](double sensor) {
    return static_cast<uint16_t>((ZoLib_Priv_WindowCorrectTemp(300.0, sensor) - 14.0) * 100);
  };
  for (int i = 0; i < 15; ++i) {
    camera.SetFooter(48, static_cast<uint16_t>(30000 + 100 * i));
    EXPECT_EQ(camera.Fresh()[0], expected(300.0 + i)) << "the newest value alone";
  }
  camera.SetFooter(48, 31500);
  EXPECT_EQ(camera.Fresh()[0], expected(307.5)) << "the mean of all sixteen";
  ZoLib_SetWindowCorrection(camera.dev, 2);
  EXPECT_EQ(camera.Fresh()[0], 30000) << "only 1 corrects";
}

TEST(WindowCorrection, KnowsResolutionAndProduct) {
  Camera camera(0x6103);
  camera.SetPixel(0, 3000);  // 300.0 K at resolution 10
  camera.SetFooter(48, 30000);
  ZoLib_SetWindowCorrection(camera.dev, 1);
  EXPECT_EQ(camera.Fresh()[0],
            static_cast<uint16_t>(ZoLib_Priv_WindowCorrectTemp(300.0, 300.0) * 10));
}

TEST(WindowCorrection, OfDecoderAIsGivenAColderSensor) {
  Camera camera(0x6110);
  camera.SetSteady(100000, 90000);
  // A count that decodes to exactly 300.00 K.
  uint16_t count = 0;
  for (uint16_t c = 7500; c < 9000 && count == 0; ++c) {
    camera.SetPixel(0, c);
    if (std::abs(camera.Fresh()[0] - 30000) <= 2) count = c;
  }
  ASSERT_NE(count, 0);
  camera.SetPixel(0, count);
  const double converted = camera.Fresh()[0] / 100.0;
  ZoLib_SetWindowCorrection(camera.dev, 1);
  camera.SetFooter32(60, 0);
  EXPECT_EQ(camera.Decode(), 22);
  EXPECT_EQ(camera.dev->windowTempAvg, nullptr) << "a frame without FFC is not averaged";
  camera.SetFooter32(60, 90000);
  EXPECT_EQ(camera.Fresh()[0],
            static_cast<uint16_t>(ZoLib_Priv_WindowCorrectTemp(converted, 300.0 - 14.0) * 100.0));
}

TEST(Decoders, SurviveEveryTelemetry) {
  std::mt19937 random(1);
  for (uint16_t product : {0x6101, 0x6102, 0x6110}) {
    Camera camera(product);
    const uint8_t revision = camera.dev->telemetryRevision;
    for (int round = 0; round < 300; ++round) {
      if (round == 0) std::ranges::fill(camera.frame, uint8_t{0xFF});
      if (round > 1) {
        for (auto& byte : camera.frame) byte = static_cast<uint8_t>(random());
      }
      camera.frame[camera.dev->imageBytes + 1] = revision;
      ZoLib_SetWindowCorrection(camera.dev, round & 1);
      const ZoStatus status = camera.Decode();
      EXPECT_TRUE(status == 0 || status == 22);
      ZoLib_FinishDecode(camera.dev);
    }
  }
}

}  // namespace
