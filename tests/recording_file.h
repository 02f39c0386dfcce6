// Recordings made record by record, and what plays them, for tests.
#ifndef ZOCAM_TESTS_RECORDING_FILE_H
#define ZOCAM_TESTS_RECORDING_FILE_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "file/recording_format.h"
#include "tests/handle.h"

using Bytes = std::vector<uint8_t>;

inline constexpr uint32_t kFrameBytes = 10240;  // of product 0x6101
inline constexpr uint32_t kRecordBytes = 6 + kFrameBytes + 160;

// The next frame's number; 0 at the end of the file.
inline uint32_t Next(const Handle& dev) {
  Bytes frame(kFrameBytes);
  EXPECT_EQ(ZoLib_FileReadPassiveNext(dev.get(), frame.data(), kFrameBytes), 0);
  return ZoLib_GetFileReadEOF(dev.get()) != 0 ? 0 : ZoLib_GetFileCurrentFrameNumber(dev.get());
}

// A folder of its own, gone after the test.
class Recording : public testing::Test {
 protected:
  Recording()
      : folder(std::filesystem::temp_directory_path() / ("zocam-" + std::to_string(getpid()))) {
    std::filesystem::create_directories(folder);
    path = (folder / "r.y4m").string();
  }
  ~Recording() override { std::filesystem::remove_all(folder); }

  static std::string HeaderLine(uint32_t width = 80) {
    RecordingHeader header;
    header.width = width;
    header.lines = 65;
    header.rateNumerator = 259;
    header.rateDenominator = 30;
    header.identity.vendorId = 0x7A11;
    header.identity.productId = 0x6101;
    return FormatHeader(header, 0x010903);
  }
  // Record number k + 1 of product 0x6101, which shows one value everywhere.
  static Bytes Record(std::size_t k, uint64_t offset, uint16_t value) {
    Bytes record(kRecordBytes);
    std::memcpy(record.data(), "FRAME\n", 6);
    for (uint32_t i = 0; i < 4800; ++i) {
      record[6 + 2 * i] = static_cast<uint8_t>(value >> 8);
      record[7 + 2 * i] = static_cast<uint8_t>(value & 0xFF);
    }
    record[6 + 9600 + 1] = 14;
    record[6 + 9600 + 419] = 1;
    FrameTrailer trailer{offset, static_cast<uint32_t>(k + 1), {2026, 1, 4, 1, 2, 3, 4, 5}};
    PackTrailer(trailer, std::span<uint8_t, 28>(&record[6 + kFrameBytes], 28));
    return record;
  }
  // A recording with these time offsets; frame k shows 30000 + k, or its own value.
  void Write(const std::vector<uint64_t>& offsets, const std::vector<uint16_t>& values = {}) const {
    std::ofstream file(path, std::ios::binary);
    file << HeaderLine();
    for (std::size_t k = 0; k < offsets.size(); ++k) {
      const Bytes record =
          Record(k, offsets[k], values.empty() ? static_cast<uint16_t>(30000 + k) : values[k]);
      file.write(reinterpret_cast<const char*>(record.data()), kRecordBytes);
    }
  }
  Bytes Contents() const {
    std::ifstream file(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), {});
  }
  Handle OpenPassive(ZoStatus* status = nullptr) const {
    _ZoDev* dev = nullptr;
    const ZoStatus result = ZoLib_FileReadPassiveSetup(&dev, path.c_str());
    if (status != nullptr) *status = result;
    if (dev != nullptr) {
      EXPECT_EQ(ZoLib_CaptureStart(dev), 0);
    }
    return Handle(dev);
  }

  std::filesystem::path folder;
  std::string path;
};

inline std::vector<uint64_t> Regular(std::size_t count, uint64_t interval = 116) {
  std::vector<uint64_t> offsets(count);
  for (std::size_t k = 0; k < count; ++k) offsets[k] = k * interval;
  return offsets;
}

struct Player {
  std::atomic<uint32_t> frames = 0;
  std::atomic<uint32_t> ends = 0;
  std::atomic<uint32_t> lastNumber = 0;
  std::function<void(_ZoDev*)> inside;

  static int OnFrame(_ZoDev* dev, uint8_t*, uint64_t length, void* user) {
    auto* self = static_cast<Player*>(user);
    EXPECT_EQ(length, kFrameBytes);
    self->lastNumber = ZoLib_GetFileCurrentFrameNumber(dev);
    if (self->inside) self->inside(dev);
    ++self->frames;
    return 0;
  }
  static int OnEnd(_ZoDev* dev, void* user) {
    auto* self = static_cast<Player*>(user);
    if (self->inside) self->inside(dev);
    ++self->ends;
    return 0;
  }
  Handle Open(const std::string& path) {
    _ZoDev* dev = nullptr;
    EXPECT_EQ(ZoLib_FileReadSetup(&dev, path.c_str(), OnFrame, OnEnd, this), 0);
    return Handle(dev);
  }
};

#endif
