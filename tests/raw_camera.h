// A handle that counts as connected without a camera, and one raw frame of its model to decode.
#ifndef ZOCAM_TESTS_RAW_CAMERA_H
#define ZOCAM_TESTS_RAW_CAMERA_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "core/device_record.h"
#include "core/model_profile.h"
#include "decode/raw_frame.h"
#include "tests/handle.h"

// Every correction stage starts switched off.
struct RawCamera {
  explicit RawCamera(uint16_t product) : handle(MakeHandle()), dev(handle.get()) {
    dev->identityBlock.vendorId = 0x7A11;
    dev->identityBlock.productId = product;
    ZoLib_Priv_SetFrameSpecByVIDPID(dev);
    dev->connected = 1;
    frame.resize(dev->rawFrameBytes);
    frame[dev->imageBytes + 1] = dev->telemetryRevision;
    ZoLib_SetCircumferenceCorrection(dev, 0);
    ZoLib_SetUndistortion(dev, 0);
    ZoLib_SetNoiseFilter(dev, 0);
  }

  void SetPixel(uint32_t k, uint16_t word) { SetBe16(2 * k, word); }
  void SetAllPixels(uint16_t word) {
    for (uint32_t k = 0; k < dev->pixelCount; ++k) SetPixel(k, word);
  }
  void SetFooter(uint32_t offset, uint16_t word) { SetBe16(dev->imageBytes + offset, word); }
  void SetFooter32(uint32_t offset, uint32_t value) {
    SetFooter(offset, static_cast<uint16_t>(value & 0xFFFF));
    SetFooter(offset + 2, static_cast<uint16_t>(value >> 16));
  }
  void SetTimes(uint32_t time, uint32_t ffcTime) {
    SetFooter32(2, time);
    SetFooter32(60, ffcTime);
  }
  void SetSteady(uint32_t time, uint32_t ffcTime) {
    SetTimes(time, ffcTime);
    SetFooter(48, 30000);
    SetFooter(58, 29900);
    SetFooter(64, 30500);
  }
  void Randomize(std::mt19937& random) {
    for (std::size_t at = 0; at < frame.size(); at += 4) {
      const auto word = static_cast<uint32_t>(random());
      std::memcpy(&frame[at], &word, sizeof word);  // a raw frame is a whole number of words
    }
    frame[dev->imageBytes + 1] = dev->telemetryRevision;
  }
  Footer footer() const { return Footer(&frame[dev->imageBytes]); }

  ZoStatus Decode(uint32_t format = ZO_FMT_TEMP16) {
    image.assign(dev->pixelCount, 0xEEEE);
    return ZoLib_Decode(dev, frame.data(), image.data(), dev->imageBytes, 0, format);
  }
  // A frame decoded on its own.
  std::vector<uint16_t> Fresh(uint32_t format = ZO_FMT_TEMP16) {
    EXPECT_EQ(Decode(format), ZO_STATUS_OK);
    ZoLib_FinishDecode(dev);
    return image;
  }

  Handle handle;
  _ZoDev* dev;
  std::vector<uint8_t> frame;
  std::vector<uint16_t> image;

 private:
  void SetBe16(uint32_t at, uint16_t word) {
    frame[at] = static_cast<uint8_t>(word >> 8);
    frame[at + 1] = static_cast<uint8_t>(word & 0xFF);
  }
};

#endif
