// What comes out of the decode chain is the same on every machine: hashes of all models, settings
// and formats, kept in golden/decoded_frames.txt and compared at every level of instruction sets.
// ZOCAM_WRITE_GOLDEN=FILE writes them anew, for a change that is meant to change results.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <sstream>

#include "raw_camera.h"
#include "simd_level.h"

namespace {

class Hash {  // FNV-1a
 public:
  void Add(std::span<const uint8_t> bytes) {
    for (const uint8_t byte : bytes) value_ = (value_ ^ byte) * 0x100000001b3;
  }
  uint64_t value() const { return value_; }

 private:
  uint64_t value_ = 0xcbf29ce484222325;
};

struct Setting {
  const char* name;
  std::function<void(_ZoDev*)> apply;
};

void LearnReflections(_ZoDev* dev) {
  std::vector<uint8_t> zorc(8 + dev->imageBytes);
  std::memcpy(zorc.data(), "ZORC", 4);
  zorc[6] = static_cast<uint8_t>(dev->identityBlock.productId & 0xFF);
  zorc[7] = static_cast<uint8_t>(dev->identityBlock.productId >> 8);
  for (std::size_t i = 8; i < zorc.size(); i += 2) zorc[i] = static_cast<uint8_t>(i % 23);
  EXPECT_EQ(ZoLib_SetReflectCorrData(dev, zorc.data(), static_cast<uint32_t>(zorc.size())), 0);
}

void Subtract(_ZoDev* dev) {
  const std::vector<uint16_t> table(dev->pixelCount, 29300);
  EXPECT_EQ(ZoLib_SetSubtractionTempTable(dev, table.data(), dev->imageBytes), 0);
  ZoLib_SetSubtractionTemp(dev, 1);
}

void CountTheMiddle(_ZoDev* dev) {
  std::vector<uint32_t> mask(dev->pixelCount);
  std::fill(mask.begin() + mask.size() / 3, mask.end() - mask.size() / 3, 1);
  EXPECT_EQ(ZoLib_SetAGCROIMask(dev, mask.data()), 0);
  EXPECT_EQ(ZoLib_SetAGCRange(dev, 29000, 30000), 0);
}

const Setting kSettings[] = {
    {"plain", [](_ZoDev*) {}},
    {"circumference", [](_ZoDev* dev) { dev->circumferenceCorrection = 1; }},
    {"window", [](_ZoDev* dev) { ZoLib_SetWindowCorrection(dev, 1); }},
    {"undistortion", [](_ZoDev* dev) { ZoLib_SetUndistortion(dev, 1); }},
    {"noise", [](_ZoDev* dev) { ZoLib_SetNoiseFilter(dev, 1); }},
    {"fine-noise",
     [](_ZoDev* dev) {
       ZoLib_SetNoiseFilter(dev, 1);
       ZoLib_SetNoiseFilterThreshold(dev, 9);
     }},
    {"reflection", LearnReflections},
    {"subtraction", Subtract},
    {"upside-down", [](_ZoDev* dev) { ZoLib_SetUpsideDown(dev, 1); }},
    {"raw-colours", [](_ZoDev* dev) { ZoLib_SetColorizeByRaw(dev, 1); }},
    {"red-first", [](_ZoDev* dev) { ZoLib_SetRGBOrder(dev, 0); }},
    {"mask", CountTheMiddle},
    {"all",
     [](_ZoDev* dev) {
       dev->circumferenceCorrection = 1;
       ZoLib_SetUndistortion(dev, 1);
       ZoLib_SetNoiseFilter(dev, 1);
       ZoLib_SetUpsideDown(dev, 1);
       LearnReflections(dev);
     }},
};

// A wall that gets warmer to the right, a warm disc that wanders, noise; sometimes anything.
void DrawFrame(RawCamera& camera, int frame, std::mt19937& random) {
  const auto width = static_cast<int>(camera.dev->frameWidth);
  const bool counts = camera.dev->telemetryRevision != 14;
  if (frame % 5 == 4) {
    camera.Randomize(random);
  } else {
    for (int k = 0; k < static_cast<int>(camera.dev->pixelCount); ++k) {
      const int x = k % width;
      const int y = k / width;
      const int dx = x - width / 2 - frame;
      const int dy = y - 30;
      const bool warm = dx * dx + dy * dy < 150;
      const int value = (counts ? 7250 : 29250) + x + (warm ? 900 : 0);
      camera.SetPixel(k, static_cast<uint16_t>(value + static_cast<int>(random() % 16)));
    }
  }
  const bool startup = frame < 3;
  camera.SetSteady(startup ? 20000 + frame * 40 : 100000 + frame * 9000, startup ? 3000 : 90000);
  camera.SetFooter(48, static_cast<uint16_t>(30000 + frame * 7));
  camera.SetFooter(418, frame % 4 == 3 ? 0 : 1);  // the resolution, where a frame tells it
}

std::string HashesOf(uint16_t product, const Setting& setting) {
  std::mt19937 random(product);
  RawCamera camera(product);
  setting.apply(camera.dev);
  Hash hash;
  std::vector<uint8_t> picture(std::size_t{camera.dev->pixelCount} * 4);
  for (int frame = 0; frame < 18; ++frame) {
    DrawFrame(camera, frame, random);
    for (uint32_t format = 0; format < 83; ++format) {
      if (format > 1 && (format < 10 || format % 10 > 2)) continue;
      // All formats for some frames, the temperatures of every frame.
      if (format != ZO_FMT_TEMP16 && frame % 6 != 5 && frame != 4) continue;
      std::ranges::fill(picture, uint8_t{0});
      EXPECT_EQ(ZoLib_Decode(camera.dev, camera.frame.data(), picture.data(),
                             static_cast<uint32_t>(picture.size()), 0, format),
                0);
      hash.Add(picture);
    }
    ZoLib_FinishDecode(camera.dev);
  }
  std::ostringstream line;
  line << std::hex << product << ' ' << setting.name << ' ' << hash.value() << '\n';
  return line.str();
}

std::string AllHashes() {
  std::string lines;
  for (const uint16_t product : {0x6101, 0x6102, 0x6103, 0x6104, 0x6110, 0x6120}) {
    for (const Setting& setting : kSettings) lines += HashesOf(product, setting);
  }
  return lines;
}

TEST(GoldenFrames, AreTheSameAtEveryLevel) {
  std::ostringstream golden;
  golden << std::ifstream(ZOCAM_GOLDEN_FILE).rdbuf();
  if (const char* file = std::getenv("ZOCAM_WRITE_GOLDEN")) std::ofstream(file) << AllHashes();
  for (int32_t level = 0; level <= 2; ++level) {
    if (ZoLib_Priv_ForceSimdLevel(level) != ZO_STATUS_OK) continue;
    EXPECT_EQ(AllHashes(), golden.str()) << "level " << level;
  }
}

}  // namespace
