#include "bench/views.h"

#include <algorithm>
#include <cmath>
#include <random>

#include "core/device_record.h"
#include "core/model_profile.h"
#include "decode/temp_decoders.h"

namespace {

constexpr double kNoise = 5.0;
constexpr uint16_t kFamilyVendor = 0x7A11;

// 0 on the wall to 1 inside the body, with an edge of a few hundredths of the image.
double BodyAt(double x, double y) {
  const double distance = std::hypot((x - 0.6) * 1.33, y - 0.55);
  return std::clamp((0.24 - distance) / 0.03, 0.0, 1.0);
}

Image View(Size size, uint32_t frameNumber, double wall, double gradient, double body) {
  std::mt19937 random(20260104 + frameNumber);
  std::normal_distribution<double> noise(0.0, kNoise);
  Image image;
  image.reserve(std::size_t{size.width} * size.height);
  for (uint32_t row = 0; row < size.height; ++row) {
    for (uint32_t column = 0; column < size.width; ++column) {
      const double x = static_cast<double>(column) / size.width;
      const double y = static_cast<double>(row) / size.height;
      const double value = wall + gradient * (x + 0.3 * y) + body * BodyAt(x, y);
      image.push_back(static_cast<uint16_t>(std::lround(value + noise(random))));
    }
  }
  return image;
}

}  // namespace

Image ViewInCounts(Size size, uint32_t frameNumber) {
  return View(size, frameNumber, 8000, 200, 450);
}

Image ViewInCentikelvin(Size size, uint32_t frameNumber) {
  return View(size, frameNumber, 29300, 600, 1300);
}

Bytes BigEndianWords(const Image& image) {
  Bytes words(2 * image.size());
  for (std::size_t k = 0; k < image.size(); ++k) WriteBe16(&words[2 * k], image[k]);
  return words;
}

Bytes MakeFooter(uint8_t revision, Regime regime) {
  Bytes footer(640);
  const auto setWord32 = [&](std::size_t offset, uint32_t value) {
    WriteBe16(&footer[offset], static_cast<uint16_t>(value & 0xFFFF));
    WriteBe16(&footer[offset + 2], static_cast<uint16_t>(value >> 16));
  };
  const bool startup = regime == Regime::kStartup;
  footer[1] = revision;
  setWord32(2, startup ? 20000 : 600000);  // time
  setWord32(60, startup ? 3000 : 580000);  // of the last flat-field correction
  WriteBe16(&footer[48], 30000);           // sensor, 1/100 K
  WriteBe16(&footer[52], 30400);           // housing
  WriteBe16(&footer[58], 29900);           // both at the flat-field correction
  WriteBe16(&footer[64], 30500);
  for (std::size_t i = 0; i < 3; ++i) footer[161 + 2 * i] = 11;  // reference body: some 30 C
  WriteBe16(&footer[418], 1);                                    // pixels are 1/100 K
  return footer;
}

Handle MakeCamera(uint16_t product) {
  _ZoDev* dev = nullptr;
  if (ZoLib_CreateWithoutConnect(&dev) != ZO_STATUS_OK) return nullptr;
  dev->identityBlock.vendorId = kFamilyVendor;
  dev->identityBlock.productId = product;
  ZoLib_Priv_SetFrameSpecByVIDPID(dev);
  dev->connected = 1;
  return Handle(dev);
}

Size SizeOfImage(uint16_t product) {
  const Handle camera = MakeCamera(product);
  return {camera->frameWidth, camera->frameHeight};
}

Bytes MakeRawFrame(const Handle& camera, Regime regime, uint32_t frameNumber) {
  const Size size = {camera->frameWidth, camera->frameHeight};
  const bool counts = camera->tempDecoder == ZoLib_Priv_Decode_TEMPERATURE_16_A;
  Bytes frame = BigEndianWords(counts ? ViewInCounts(size, frameNumber)
                                      : ViewInCentikelvin(size, frameNumber));
  const Bytes footer = MakeFooter(camera->telemetryRevision, regime);
  frame.insert(frame.end(), footer.begin(), footer.end());
  frame.resize(camera->rawFrameBytes);
  return frame;
}
