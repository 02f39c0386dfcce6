#include "decode/reflection.h"

#include <cstring>

#include "core/byte_order.h"
#include "decode/raw_frame.h"

namespace {

constexpr char kMagic[4] = {'Z', 'O', 'R', 'C'};
constexpr std::size_t kProductOffset = 6;

}  // namespace

void scalar::AccumulateKelvin(std::span<double> sums, std::span<const uint16_t> image,
                              int32_t resolution) {
  for (std::size_t i = 0; i < sums.size(); ++i) {
    sums[i] += static_cast<double>(image[i]) / resolution;
  }
}

void BuildZorc(std::span<const double> sums, uint32_t frames, int32_t resolution,
               uint16_t productId, std::span<uint8_t> zorc) {
  std::memcpy(zorc.data(), kMagic, sizeof kMagic);
  WriteLe16(&zorc[4], 0);
  WriteLe16(&zorc[kProductOffset], productId);
  double total = 0.0;
  for (const double sum : sums) total += sum;
  const double mean = total / static_cast<double>(sums.size());
  uint8_t* correction = &zorc[kZorcHeaderBytes];
  for (const double sum : sums) {
    const uint16_t deviation =
        TruncateToLow16(((sum - mean) / frames + 0.5 / resolution) * resolution);
    WriteLe16(correction, static_cast<uint16_t>(-deviation));
    correction += 2;
  }
}

bool HasZorcMagic(std::span<const uint8_t> zorc) {
  return std::memcmp(zorc.data(), kMagic, sizeof kMagic) == 0;
}

uint16_t ZorcProduct(std::span<const uint8_t> zorc) { return ReadLe16(&zorc[kProductOffset]); }

void ReadZorcCorrections(std::span<const uint8_t> zorc, std::span<uint16_t> corrections) {
  const uint8_t* value = &zorc[kZorcHeaderBytes];
  for (uint16_t& correction : corrections) {
    correction = ReadLe16(value);
    value += 2;
  }
}

void scalar::ApplyCorrections(std::span<uint16_t> image, std::span<const uint16_t> corrections) {
  for (std::size_t i = 0; i < image.size(); ++i) {
    image[i] = static_cast<uint16_t>(image[i] + corrections[i]);
  }
}
