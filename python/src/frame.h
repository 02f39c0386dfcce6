// A frame as Python gets it: the raw frame and its decoded image, owned, free of the source.
#ifndef ZOCAM_PYTHON_FRAME_H
#define ZOCAM_PYTHON_FRAME_H

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "zocam/zocam.hpp"

namespace zopy {

// Of the frames of one source.
struct Geometry {
  uint32_t width = 0;
  uint32_t height = 0;
  size_t rawBytes = 0;

  explicit Geometry(const zocam::Device& device)
      : width(device.Width()), height(device.Height()), rawBytes(device.RawFrameBytes()) {}
  size_t PixelCount() const { return size_t{width} * height; }
  size_t ImageBytes() const { return 2 * PixelCount(); }
};

// What the values of a decoded image are.
enum class Meaning { kTemperature, kDifference, kRawCounts };

// Written once, by the thread that fetches the frame; read-only afterwards, but for the cache.
struct FrameData {
  explicit FrameData(const Geometry& g)
      : geometry(g), raw(std::make_unique_for_overwrite<uint8_t[]>(g.rawBytes)) {}

  std::span<uint8_t> Raw() const { return {raw.get(), geometry.rawBytes}; }
  std::span<const uint8_t> Footer() const { return Raw().subspan(geometry.ImageBytes()); }
  std::span<uint16_t> Counts() const { return {counts.get(), geometry.PixelCount()}; }

  // Throws when the frame has no decoded image: why it could not be decoded, or that nobody did.
  void RequireCounts() const;
  // Throws when the values are not temperatures (or differences of them) either.
  void RequireTemperatures() const;
  // Degrees Celsius, or kelvin of difference.
  void WriteTemperatures(std::span<float> out) const;

  Geometry geometry;
  std::unique_ptr<uint8_t[]> raw;
  std::unique_ptr<uint16_t[]> counts;  // null: not decoded
  int32_t resolution = 0;
  Meaning meaning = Meaning::kTemperature;
  std::optional<zocam::Error> failure;  // of decoding

  uint64_t number = 0;   // from 1
  double seconds = 0.0;  // since the source's first frame
  DateTime16 dateTime{};

  std::unique_ptr<float[]> celsius;  // made for views when first asked for; guarded by the GIL
};

}  // namespace zopy

#endif
