// The correction stages and decoder D: each as a pure stage where its numbers are known, and
// through ZoLib_Decode for what the pipeline makes of them.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "decode/circumference.h"
#include "decode/decoder_d.h"
#include "decode/noise_filter.h"
#include "decode/reflection.h"
#include "decode/reflection_correction.h"
#include "decode/subtraction.h"
#include "decode/undistortion.h"
#include "tests/raw_camera.h"

namespace {

using Image = std::vector<uint16_t>;

TEST(DecoderD, ShiftsPixels) {
  const DriftCorrection stretching{300.0, 0.5, 1.0, true};
  const DriftCorrection plain{300.0, 0.5, 1.0, false};
  const uint16_t pixels[][3] = {
      {31000, 31050, 31050}, {33000, 33040, 33040}, {38000, 38000, 38000}, {29000, 28812, 29050}};
  for (const auto& [word, stretched, shifted] : pixels) {
    EXPECT_EQ(CorrectDrift(word, stretching, 100), stretched) << word;
    EXPECT_EQ(CorrectDrift(word, plain, 100), shifted) << word;
  }
  EXPECT_EQ(CorrectDrift(100, {300.0, -50.0, 1.0, false}, 100), 0);
  EXPECT_EQ(CorrectDrift(65535, {10.0, 0.0, 1.1, false}, 100), 65535);
  EXPECT_EQ(CorrectDrift(100, {NAN, NAN, 1.0, false}, 100), 0);
}

// A camera with reference body, at a camera time and a time since its last FFC.
struct BodyCamera : RawCamera {
  BodyCamera() : RawCamera(0x6120) {
    SetFooter(418, 1);
    SetAllPixels(30000);
    SetFooter(52, 30500);
    SetFooter(58, 31200);
    SetReadings(0x0A00);
  }
  void SetReadings(uint16_t reading) {  // little-endian, unlike the rest of the frame
    for (uint32_t i = 0; i < 3; ++i) {
      frame[dev->imageBytes + 160 + 2 * i] = static_cast<uint8_t>(reading & 0xFF);
      frame[dev->imageBytes + 160 + 2 * i + 1] = static_cast<uint8_t>(reading >> 8);
    }
  }
  uint16_t At(uint32_t time, uint32_t sinceFfc) {
    SetTimes(time, time - sinceFfc);
    return Fresh()[80 * 30 + 40];
  }
  // What decoder D gives a 300 K pixel when the image shows `measured` at the body.
  static uint16_t Expected(double reference, double measured, double drift) {
    const double offset = reference - (measured / 0.9859569 - 0.00162 * 305.0) + drift;
    double v = 300.0 + offset;
    if (v < reference) v = (v - reference) * 1.25 + reference;
    return static_cast<uint16_t>(v * 100);
  }
};

TEST(DecoderD, FollowsTheBodyAndHoldsAfterAnFfc) {
  BodyCamera camera;
  const double reference = RefSensorKelvin(0x0A00);
  EXPECT_EQ(camera.At(5000, 100), BodyCamera::Expected(reference, 300.0, 0)) << "early: track";
  camera.SetReadings(0x0800);
  EXPECT_EQ(camera.At(9001, 8999), BodyCamera::Expected(reference, 300.0, 0))
      << "hold puts nothing";
  EXPECT_EQ(camera.dev->driftBaseline, 300.0);
  EXPECT_TRUE(camera.dev->driftBaselineCaptured);
  EXPECT_EQ(camera.At(9001, 9000), BodyCamera::Expected(RefSensorKelvin(0x0800), 300.0, 0))
      << "track again, the newest value until ten are in";
  EXPECT_FALSE(camera.dev->driftBaselineCaptured);

  // Late: the image at the body has moved by 1 K since the baseline of 300 K.
  const double sensor = RefSensorKelvin(0x0800);
  const auto body = [&](uint16_t word) {
    for (uint32_t row = 0; row < 60; ++row) {
      for (uint32_t column = 0; column < 3; ++column) camera.SetPixel(row * 80 + column, word);
    }
  };
  EXPECT_NEAR(camera.At(400000, 5000), BodyCamera::Expected(sensor, 300.0, 0), 1);
  body(30100);
  EXPECT_NEAR(camera.At(401000, 6000), BodyCamera::Expected(sensor, 301.0, 0.3), 1);
  EXPECT_NEAR(camera.At(410000, 19500), BodyCamera::Expected(sensor, 301.0, 0.3 * 0.5), 1);
  camera.SetFooter(48, 30400);  // sensor and sensor at FFC, 4 K apart
  camera.SetFooter(58, 30000);
  EXPECT_NEAR(camera.At(500000, 165000), BodyCamera::Expected(sensor, 301.0, 0.5 * 4 * 0.25), 1);
  EXPECT_NEAR(camera.At(500000, 30000), BodyCamera::Expected(sensor, 301.0, 0), 1);
}

TEST(DecoderD, SamplesTheBodyAtItsRowsAndScalesAColdStart) {
  EXPECT_EQ(RefPointOffset({1, 10}, 80), 5 * 160 + 2);
  EXPECT_EQ(RefPointOffset({1, 50}, 80), 25 * 160 + 2);
  BodyCamera camera;
  camera.SetPixel(25 * 80 + 2, 30000 + 1500);  // right of the third centre
  const auto readings =
      ReadReference(camera.frame, camera.dev->imageBytes, 80, camera.dev->refPoints, 100);
  EXPECT_DOUBLE_EQ(readings.measured[0], 300.0);
  EXPECT_DOUBLE_EQ(readings.measured[2], 303.0);
  camera.SetFooter(58, 30000);
  camera.SetTimes(20000, 4000);
  EXPECT_EQ(camera.Decode(), 0);
  RefAverages averages;
  bool captured = false;
  double baseline = 0.0;
  const auto correction = FollowDrift(camera.footer(), readings, {averages, captured, baseline});
  EXPECT_EQ(correction.scale, 0.9903583480636349);
}

TEST(Circumference, AddsWithTheSquaredDistance) {
  RawCamera camera(0x6110);
  camera.SetAllPixels(1000);
  camera.SetFooter(48, 26999);
  ZoLib_SetCircumferenceCorrection(camera.dev, 1);
  Image image = camera.Fresh(ZO_FMT_RAW16);
  EXPECT_EQ(image[0], 1062);
  EXPECT_EQ(image[30 * 80 + 40], 1000);
  camera.SetPixel(0, 65500);
  EXPECT_EQ(camera.Fresh(ZO_FMT_RAW16)[0], 65535) << "clamped";
  ZoLib_SetWindowCorrection(camera.dev, 2);
  EXPECT_EQ(camera.Fresh(ZO_FMT_RAW16)[0], 65500) << "any window correction switches it off";
}

TEST(Circumference, WeighsBySensorTemperature) {
  RawCamera camera(0x6110);
  const auto factor = [&](uint16_t sensor, uint32_t ffcTime, uint8_t revision = 9,
                          uint32_t flag = 1) {
    camera.SetFooter(48, sensor);
    camera.SetFooter32(60, ffcTime);
    return CircumferenceFactor(camera.footer(), revision, flag);
  };
  EXPECT_EQ(factor(26999, 60000), 5.0);
  EXPECT_EQ(factor(27000, 60000), 5.0);
  EXPECT_DOUBLE_EQ(factor(29250, 60000), 2.5);
  EXPECT_EQ(factor(31501, 60000), 0.0);
  EXPECT_DOUBLE_EQ(factor(38500, 59999), 2.5);
  EXPECT_EQ(factor(29250, 60000, 14), -0.3);
  EXPECT_DOUBLE_EQ(factor(29250, 60000, 14, 0), 2.5);
}

TEST(Undistortion, SamplesCloserToTheCentre) {
  Undistortion lens;
  ASSERT_EQ(lens.Setup(80, 60, 0.6), 0);
  Image columns(80 * 60), rows(80 * 60), out(80 * 60);
  for (uint32_t k = 0; k < columns.size(); ++k) {
    columns[k] = static_cast<uint16_t>(k % 80 * 800);
    rows[k] = static_cast<uint16_t>(k / 80 * 800);
  }
  // The corner samples at radius 46.8 of 50; pixel centres lie half a pixel in.
  const double k = 50 * 133.3333 / std::sqrt(2500 + 17777.78) / 50;
  EXPECT_NEAR(k * 50, 46.8, 0.05);
  lens.Transform(out.data(), columns.data());
  EXPECT_NEAR(out[0], (40 - 40 * k - 0.5) * 800, 2);
  lens.Transform(out.data(), rows.data());
  EXPECT_NEAR(out[0], (30 - 30 * k - 0.5) * 800, 2);
  const Image flat(80 * 60, 30000);
  lens.Transform(out.data(), flat.data());
  for (uint16_t value : out) {
    ASSERT_TRUE(value == 30000 || value == 29999) << value << ": truncation, and 0.249999";
  }
}

TEST(Undistortion, KeepsItsTableWhenAStrengthIsRefused) {
  Undistortion lens;
  EXPECT_EQ(lens.SetStrength(0.5), 22) << "no size yet";
  ASSERT_EQ(lens.Setup(8, 8, 0.5), 0);
  Image in(64), before(64), after(64);
  for (uint16_t i = 0; i < 64; ++i) in[i] = static_cast<uint16_t>(i * i);
  lens.Transform(before.data(), in.data());
  for (double refused : {-0.1, 9.0, double{NAN}}) EXPECT_EQ(lens.SetStrength(refused), 22);
  EXPECT_EQ(lens.Setup(100, 100, -1.0), 22);
  lens.Transform(after.data(), in.data());
  EXPECT_EQ(before, after);
  EXPECT_EQ(lens.SetStrength(8.0), 0);
  EXPECT_EQ(lens.SetStrength(0.0), 0);
  lens.Transform(after.data(), in.data());
  EXPECT_EQ(after, in) << "strength 0 is the identity";
  for (uint32_t size : {1U, 2U, 3U, 7U}) {  // borders never read outside
    const auto fits = std::make_unique<uint16_t[]>(size * size);
    const auto out = std::make_unique<uint16_t[]>(size * size);
    ASSERT_EQ(lens.Setup(size, size, 0.5), 0);
    lens.Transform(out.get(), fits.get());
  }
}

// FNV-1a over the values; tells any changed bit.
uint64_t Hash(const Image& image) {
  uint64_t hash = 14695981039346656037U;
  for (const uint16_t value : image) hash = (hash ^ value) * 1099511628211U;
  return hash;
}

TEST(Undistortion, GivesTheSameBitsEverywhere) {
  struct Lens {
    uint32_t width, height;
    double strength;
    uint64_t hash;
  };
  for (const Lens& l :
       {Lens{80, 60, 0.6, 3302964201606347710U}, Lens{160, 120, 0.7, 11674868019114283184U}}) {
    std::mt19937 random(11);
    Image in(l.width * l.height), out(in.size());
    for (auto& value : in) value = static_cast<uint16_t>(random());
    Undistortion lens;
    ASSERT_EQ(lens.Setup(l.width, l.height, l.strength), 0);
    lens.Transform(out.data(), in.data());
    EXPECT_EQ(Hash(out), l.hash) << l.width;
  }
}

uint16_t FilteredCentre(const Image& in, int32_t threshold) {
  Image out(9);
  scalar::FilterNoise(in, out, 3, 3, threshold);
  return out[4];
}

TEST(NoiseFilter, AveragesOnlyWhatIsClose) {
  EXPECT_EQ(FilteredCentre({100, 100, 100, 100, 178, 100, 100, 100, 100}, 79), 110) << "10 of 78";
  EXPECT_EQ(FilteredCentre({100, 100, 100, 100, 178, 100, 100, 100, 100}, 78), 178) << "isolated";
  EXPECT_EQ(FilteredCentre({178, 0, 0, 0, 100, 0, 0, 0, 0}, 79), 132) << "diagonals weigh 7";
  EXPECT_EQ(FilteredCentre({0, 170, 0, 0, 100, 0, 0, 0, 0}, 79), 135) << "sides weigh 10";
  EXPECT_EQ(FilteredCentre({101, 99, 101, 99, 100, 99, 101, 99, 101}, 1), 100);
  const Image corner = {100, 127, 127, 127};
  Image out(4);
  scalar::FilterNoise(corner, out, 2, 2, 50);
  EXPECT_EQ(out[0], (1000 + 127 * 27) / 37) << "two sides and one diagonal";
  for (uint32_t size : {1U, 2U}) {
    Image line(size, 7), result(size);
    scalar::FilterNoise(line, result, size, 1, 5);
    EXPECT_EQ(result, line);
  }
}

TEST(NoiseFilter, ScalesItsThresholdForTemperatureCameras) {
  struct Case {
    uint16_t product, resolutionFlag, accepted;  // largest accepted difference
  };
  for (const Case& c : {Case{0x6101, 1, 149}, Case{0x6101, 0, 15}, Case{0x6102, 1, 49}}) {
    RawCamera camera(c.product);
    camera.SetSteady(100000, 90000);
    camera.SetFooter(418, c.resolutionFlag);
    ZoLib_SetColorizeByRaw(camera.dev, 1);
    ZoLib_SetNoiseFilter(camera.dev, 1);
    camera.SetAllPixels(10000);
    camera.SetPixel(500, static_cast<uint16_t>(10000 + c.accepted));
    EXPECT_NE(camera.Fresh()[500], 10000 + c.accepted) << c.product;
    camera.SetPixel(500, static_cast<uint16_t>(10001 + c.accepted));
    EXPECT_EQ(camera.Fresh()[500], 10001 + c.accepted) << c.product;
  }
}

// Generates from one frame: half of the pixels 0.123 K above, half below the mean.
Image Generate(RawCamera& camera, uint32_t* size) {
  for (uint32_t k = 0; k < camera.dev->pixelCount; ++k)
    camera.SetPixel(k, k % 2 == 0 ? 30000 : 29975);
  uint16_t* zorc = nullptr;
  EXPECT_EQ(ZoLib_ReflectCorrGenStart(camera.dev), 0);
  camera.Fresh();
  EXPECT_EQ(ZoLib_ReflectCorrGenStop(camera.dev, &zorc, size), 0);
  Image copy(zorc, zorc + *size / 2);
  ZoLib_ReflectCorrDataRelease(zorc);
  return copy;
}

TEST(Reflection, IsLearntAndTakenAway) {
  RawCamera camera(0x6101);
  camera.SetFooter(418, 1);
  uint32_t size = 0;
  const Image zorc = Generate(camera, &size);
  ASSERT_EQ(size, ZoLib_Priv_GetReflectCorrFmtSize(camera.dev));
  EXPECT_EQ(std::memcmp(zorc.data(), "ZORC\0\0\x01\x61", 8), 0);
  EXPECT_EQ(static_cast<int16_t>(zorc[4]), -13) << "trunc(12.5 + 0.5)";
  EXPECT_EQ(static_cast<int16_t>(zorc[5]), 12) << "trunc(-12.5 + 0.5)";
  EXPECT_EQ(ZoLib_SetReflectCorrData(camera.dev, zorc.data(), size), 0);
  Image image = camera.Fresh();
  EXPECT_EQ(image[0], 29987);
  EXPECT_EQ(image[1], 29987);
  camera.SetAllPixels(5);
  EXPECT_EQ(camera.Fresh()[0], 65528) << "modulo 65536";
  ZoLib_ReflectCorrGenStart(camera.dev);
  EXPECT_EQ(camera.Fresh()[0], 5) << "not applied while learning";
  uint16_t* again = nullptr;
  ZoLib_ReflectCorrGenStop(camera.dev, &again, &size);
  ZoLib_ReflectCorrDataRelease(again);
  EXPECT_EQ(ZoLib_SetReflectCorrData(camera.dev, nullptr, 0), 0);
  EXPECT_EQ(camera.Fresh()[0], 5);
}

TEST(Reflection, RoundsTheDeviation) {
  // Deviations of +-0.123 K summed over a thousand frames of 300 K.
  std::vector<double> sums = {300123.0, 299877.0};
  std::vector<uint8_t> zorc(12);
  BuildZorc(sums, 1000, 100, 0x6101, zorc);
  EXPECT_EQ(static_cast<int16_t>(zorc[8] | zorc[9] << 8), -12);
  EXPECT_EQ(static_cast<int16_t>(zorc[10] | zorc[11] << 8), 11);
}

TEST(Reflection, AnswersEachMisuseWithItsStatus) {
  RawCamera camera(0x6101);
  camera.SetFooter(418, 1);
  _ZoDev* dev = camera.dev;
  uint16_t* image = nullptr;
  uint32_t size = 0;
  EXPECT_EQ(ZoLib_ReflectCorrGenStart(nullptr), 21);
  EXPECT_EQ(ZoLib_ReflectCorrGenStop(dev, nullptr, &size), 21);
  EXPECT_EQ(ZoLib_ReflectCorrGenStop(dev, &image, &size), 22) << "none runs";
  EXPECT_EQ(ZoLib_ReflectCorrGenStart(dev), 0);
  EXPECT_EQ(ZoLib_ReflectCorrGenStart(dev), 0);
  EXPECT_EQ(ZoLib_ReflectCorrGenStop(dev, &image, &size), 22) << "no frame seen";
  EXPECT_FALSE(dev->reflectGenActive);
  Image zorc = Generate(camera, &size);
  EXPECT_EQ(ZoLib_SetReflectCorrData(nullptr, zorc.data(), size), 20);
  EXPECT_EQ(ZoLib_SetReflectCorrData(dev, zorc.data(), size + 1), 21);
  zorc[3] = 0x6102;
  EXPECT_EQ(ZoLib_SetReflectCorrData(dev, zorc.data(), size), 26);
  zorc[0] = 0;
  EXPECT_EQ(ZoLib_SetReflectCorrData(dev, zorc.data(), size), 24);
}

TEST(Reflection, LoadsOnlyWholeRegularFiles) {
  RawCamera camera(0x6101);
  camera.SetFooter(418, 1);
  _ZoDev* dev = camera.dev;
  uint32_t size = 0;
  const Image zorc = Generate(camera, &size);
  const auto folder = std::filesystem::temp_directory_path() / ("zorc-" + std::to_string(getpid()));
  std::filesystem::create_directory(folder);
  const auto write = [&](const char* name, std::size_t bytes) {
    std::vector<char> contents(bytes);
    std::copy_n(reinterpret_cast<const char*>(zorc.data()), std::min<std::size_t>(bytes, size),
                contents.begin());
    std::ofstream(folder / name, std::ios::binary).write(contents.data(), static_cast<long>(bytes));
    return (folder / name).string();
  };
  mkfifo((folder / "fifo").c_str(), 0600);
  EXPECT_EQ(ZoLib_SetReflectCorrFile(dev, write("good", size).c_str()), 0);
  EXPECT_EQ(ZoLib_SetReflectCorrFile(dev, write("long", size + 1).c_str()), 24);
  EXPECT_EQ(ZoLib_SetReflectCorrFile(dev, write("short", size - 1).c_str()), 24);
  EXPECT_EQ(ZoLib_SetReflectCorrFile(dev, write("empty", 0).c_str()), 24);
  for (const char* name : {"missing", "fifo", "."}) {
    EXPECT_EQ(ZoLib_SetReflectCorrFile(dev, (folder / name).c_str()), 23) << name;
  }
  EXPECT_NE(dev->reflectCorrData, nullptr) << "a failed load keeps what is installed";
  EXPECT_EQ(ZoLib_SetReflectCorrFile(dev, nullptr), 0);
  EXPECT_EQ(dev->reflectCorrData, nullptr);
  dev->connected = 0;
  EXPECT_EQ(ZoLib_SetReflectCorrFile(dev, nullptr), 4);
  EXPECT_EQ(ZoLib_SetReflectCorrFile(nullptr, "x"), 20);
  std::filesystem::remove_all(folder);
}

TEST(Subtraction, ShowsTheDifferenceToAReference) {
  RawCamera camera(0x6101);
  camera.SetFooter(418, 1);
  camera.SetAllPixels(30000);
  _ZoDev* dev = camera.dev;
  Image table(dev->pixelCount);
  EXPECT_EQ(ZoLib_GetTempTable(dev, table.data(), dev->imageBytes - 1), 6);
  EXPECT_EQ(ZoLib_GetTempTable(dev, table.data(), dev->imageBytes), 7);
  EXPECT_EQ(camera.Decode(), 0);
  EXPECT_EQ(ZoLib_GetTempTable(dev, table.data(), dev->imageBytes), 0);
  ZoLib_FinishDecode(dev);
  EXPECT_EQ(ZoLib_SetSubtractionTempTable(dev, table.data(), dev->imageBytes - 1), 6);
  EXPECT_EQ(ZoLib_SetSubtractionTempTable(nullptr, table.data(), dev->imageBytes), 20);
  EXPECT_EQ(ZoLib_GetTempTable(dev, nullptr, dev->imageBytes), 20);
  EXPECT_EQ(ZoLib_SetSubtractionTempTable(dev, table.data(), dev->imageBytes), 0);
  EXPECT_EQ(camera.Fresh()[0], 30000) << "a table alone does nothing";
  ZoLib_SetSubtractionTemp(dev, 1);
  camera.SetPixel(1, 27000);
  camera.SetPixel(2, 100);
  camera.SetPixel(3, 65535);
  table[3] = 0;
  ZoLib_SetSubtractionTempTable(dev, table.data(), dev->imageBytes);
  Image image = camera.Fresh();
  EXPECT_EQ(image[0], 27315);
  EXPECT_EQ(image[1], 24315);
  EXPECT_EQ(image[2], 0);
  EXPECT_EQ(image[3], 65535) << "saturates";
  ZoLib_SetColorizeByRaw(dev, 1);
  EXPECT_EQ(camera.Fresh()[1], 27000) << "raw counts have no reference";
  ZoLib_SetColorizeByRaw(dev, 0);
  ZoLib_SetSubtractionTemp(dev, 0);
  ZoLib_SetSubtractionTemp(dev, 1);
  EXPECT_EQ(camera.Fresh()[1], 27000) << "switching off discards the table";
}

TEST(Reflection, LearnsEachFrameOnceAndOnlyDecodedOnes) {
  RawCamera camera(0x6110);
  ZoLib_ReflectCorrGenStart(camera.dev);
  EXPECT_EQ(camera.Decode(), 22) << "before the first flat-field correction";
  EXPECT_EQ(camera.dev->reflectGenFrames, 0);
  camera.SetSteady(100000, 90000);
  EXPECT_EQ(camera.Decode(), 0);
  EXPECT_EQ(camera.Decode(ZO_FMT_GRAY_RGB565), 0);
  EXPECT_EQ(camera.dev->reflectGenFrames, 1);
}

TEST(Pipeline, RunsItsStagesInTheirOrder) {
  std::mt19937 random(3);
  RawCamera camera(0x6103);
  camera.SetFooter(418, 1);
  uint32_t size = 0;
  const Image zorc = Generate(camera, &size);
  ZoLib_SetReflectCorrData(camera.dev, zorc.data(), size);
  const uint32_t width = camera.dev->frameWidth, height = camera.dev->frameHeight;
  Image expected(camera.dev->pixelCount), scratch(expected.size()), table(expected.size());
  for (uint32_t k = 0; k < expected.size(); ++k) {
    expected[k] = static_cast<uint16_t>(29000 + random() % 300);
    table[k] = static_cast<uint16_t>(29000 + random() % 300);
    camera.SetPixel(k, expected[k]);
  }
  ZoLib_SetUndistortion(camera.dev, 1);
  ZoLib_SetNoiseFilter(camera.dev, 1);
  ZoLib_SetSubtractionTemp(camera.dev, 1);
  ZoLib_SetSubtractionTempTable(camera.dev, table.data(), camera.dev->imageBytes);

  scalar::ApplyCorrections(expected, std::span(zorc).subspan(4));
  Undistortion lens;
  lens.Setup(width, height, 0.7);
  lens.Transform(scratch.data(), expected.data());
  scalar::FilterNoise(scratch, expected, width, height, 150);
  scalar::SubtractReference(expected, table);
  EXPECT_EQ(camera.Fresh(), expected);
  EXPECT_EQ(camera.Fresh(), expected) << "whichever buffer it starts in";
}

constexpr uint16_t kProducts[] = {0x6101, 0x6102, 0x6103, 0x6110, 0x6120};

// Switches each setting by one bit of choice.
void ApplySettings(_ZoDev* dev, uint32_t choice, const Image& table) {
  ZoLib_SetNoiseFilter(dev, choice & 1);
  ZoLib_SetUndistortion(dev, choice >> 1 & 1);
  ZoLib_SetWindowCorrection(dev, choice >> 2 & 1);
  ZoLib_SetUpsideDown(dev, choice >> 3 & 1);
  ZoLib_SetColorizeByRaw(dev, choice >> 4 & 1);
  ZoLib_SetCircumferenceCorrection(dev, choice >> 5 & 1);
  ZoLib_SetSubtractionTemp(dev, choice >> 6 & 1);
  ZoLib_SetSubtractionTempTable(dev, table.data(), static_cast<uint32_t>(table.size() * 2));
}
constexpr uint32_t kChoices = 1 << 7;

TEST(Pipeline, GivesEveryFormatOfAFrameAsIfItWereAlone) {
  std::mt19937 random(7);
  constexpr uint32_t kFormats[] = {ZO_FMT_RAW16, ZO_FMT_TEMP16, ZO_FMT_GRAY_RGB565,
                                   ZO_FMT_IRON_RGB565 + ZO_GAIN_NONLINEAR,
                                   ZO_FMT_RAINBOW_RGB565 + ZO_GAIN_LINEAR};
  for (uint16_t product : kProducts) {
    for (uint32_t choice = 0; choice < kChoices; ++choice) {
      RawCamera together(product);
      together.SetSteady(100000, 90000);
      for (uint32_t k = 0; k < together.dev->pixelCount; ++k) {
        together.SetPixel(k, static_cast<uint16_t>(7500 + random() % 1500));
      }
      const Image table(together.dev->pixelCount, 29000);
      ApplySettings(together.dev, choice, table);
      for (uint32_t format : kFormats) {
        RawCamera alone(product);
        alone.frame = together.frame;
        ApplySettings(alone.dev, choice, table);
        ASSERT_EQ(together.Decode(format), 0);
        ASSERT_EQ(alone.Decode(format), 0);
        ASSERT_EQ(together.image, alone.image)
            << std::hex << product << " settings " << choice << " format " << std::dec << format;
      }
    }
  }
}

TEST(Pipeline, SurvivesRandomFramesOnEveryModel) {
  const char* wanted = std::getenv("ZOCAM_TEST_RANDOM_FRAMES");
  const int frames = wanted != nullptr ? std::atoi(wanted) : 500;
  for (uint16_t product : kProducts) {
    std::mt19937 random(product);
    RawCamera camera(product);
    Image table(camera.dev->pixelCount);
    for (auto& value : table) value = static_cast<uint16_t>(random());
    for (int round = 0; round < frames; ++round) {
      if (round < 2) {
        std::ranges::fill(camera.frame, round == 0 ? uint8_t{0} : uint8_t{0xFF});
        camera.frame[camera.dev->imageBytes + 1] = camera.dev->telemetryRevision;
      } else {
        camera.Randomize(random);
      }
      ApplySettings(camera.dev, static_cast<uint32_t>(random()) % kChoices, table);
      const ZoStatus status = camera.Decode();
      ASSERT_TRUE(status == 0 || status == 22) << status;
      ZoLib_FinishDecode(camera.dev);
    }
  }
}

TEST(Pipeline, SettingsMayChangeWhileAnotherThreadDecodes) {
  RawCamera camera(0x6103);
  camera.SetFooter(418, 1);
  const Image table(camera.dev->pixelCount, 100);
  std::atomic<bool> stop = false;
  std::thread changer([&] {
    uint32_t size = 0;
    uint16_t* zorc = nullptr;
    for (uint32_t i = 0; !stop; ++i) {
      ApplySettings(camera.dev, i % kChoices, table);
      ZoLib_ReflectCorrGenStart(camera.dev);
      if (ZoLib_ReflectCorrGenStop(camera.dev, &zorc, &size) != 0) continue;
      ZoLib_SetReflectCorrData(camera.dev, zorc, size);
      ZoLib_ReflectCorrDataRelease(zorc);
    }
  });
  for (int i = 0; i < 300; ++i) {
    EXPECT_EQ(camera.Decode(i % 2 == 0 ? ZO_FMT_TEMP16 : ZO_FMT_RAW16), 0);
    ZoLib_FinishDecode(camera.dev);
  }
  stop = true;
  changer.join();
}

}  // namespace
