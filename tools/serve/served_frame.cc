#include "tools/serve/served_frame.h"

#include <bit>
#include <cstring>

namespace serve {
namespace {

static_assert(std::endian::native == std::endian::little, "values are sent as they are in memory");

constexpr uint16_t kVersion = 1;

template <typename Value>
uint8_t* Put(uint8_t* at, Value value) {
  std::memcpy(at, &value, sizeof value);
  return at + sizeof value;
}

}  // namespace

std::array<uint8_t, kFrameHeaderBytes> FrameHeader(const ServedFrame& frame, uint32_t skipped) {
  std::array<uint8_t, kFrameHeaderBytes> header{'Z', 'O', 'C', 'F'};
  uint8_t* at = header.data() + 4;
  at = Put(at, kVersion);
  at = Put(at, static_cast<uint16_t>(kFrameHeaderBytes));
  at = Put(at, frame.number);
  at = Put(at, static_cast<uint16_t>(frame.width));
  at = Put(at, static_cast<uint16_t>(frame.height));
  at = Put(at, frame.resolution);
  at = Put(at, frame.dropped);
  at = Put(at, frame.timeMs);
  at = Put(at, frame.cameraTimeMs);
  Put(at, skipped);
  return header;
}

AreaValues ValuesIn(const ServedFrame& frame, const Area& area) {
  const uint16_t* const first = frame.values.data();
  const uint16_t* coldest = first + size_t{area.y} * frame.width + area.x;
  const uint16_t* hottest = coldest;
  uint64_t sum = 0;
  for (uint32_t y = area.y; y < area.y + area.height; ++y) {
    const uint16_t* row = first + size_t{y} * frame.width;
    for (uint32_t x = area.x; x < area.x + area.width; ++x) {
      sum += row[x];
      if (row[x] < *coldest) coldest = row + x;
      if (row[x] > *hottest) hottest = row + x;
    }
  }
  const auto resolution = static_cast<int32_t>(frame.resolution);
  const auto place = [&](const uint16_t* pixel) -> std::array<uint32_t, 2> {
    const auto index = static_cast<uint32_t>(pixel - first);
    return {index % frame.width, index / frame.width};
  };
  const double count = static_cast<double>(area.width) * area.height;
  return {zocam::Celsius(*coldest, resolution), zocam::Celsius(*hottest, resolution),
          zocam::Celsius(static_cast<double>(sum) / count, resolution), place(coldest),
          place(hottest)};
}

}  // namespace serve
