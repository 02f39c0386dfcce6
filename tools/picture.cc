#include "tools/picture.h"

#include <algorithm>

#include "zocam/zocam.h"

namespace {

// The pixels of one axis that fall on new pixel i; at least one.
struct Stretch {
  uint32_t begin;
  uint32_t end;

  bool operator==(const Stretch&) const = default;
};

Stretch SourceOf(uint32_t i, uint32_t newSize, uint32_t oldSize) {
  const auto scaled = [&](uint64_t position) {
    return static_cast<uint32_t>(position * oldSize / newSize);
  };
  const uint32_t begin = scaled(i);
  return {begin, std::max(begin + 1, scaled(uint64_t{i} + 1))};
}

Rgb MeanOf(const Picture& picture, Stretch columns, Stretch rows) {
  const uint32_t count = (columns.end - columns.begin) * (rows.end - rows.begin);
  if (count == 1) return picture.At(columns.begin, rows.begin);
  std::array<uint32_t, 3> sums{};
  for (uint32_t y = rows.begin; y < rows.end; ++y)
    for (uint32_t x = columns.begin; x < columns.end; ++x)
      for (size_t channel = 0; channel < 3; ++channel) sums[channel] += picture.At(x, y)[channel];
  Rgb mean;
  for (size_t channel = 0; channel < 3; ++channel)
    mean[channel] = static_cast<uint8_t>(sums[channel] / count);
  return mean;
}

}  // namespace

Picture Resample(const Picture& picture, uint32_t width, uint32_t height) {
  Picture result(width, height);
  std::vector<Stretch> columns(width);
  for (uint32_t x = 0; x < width; ++x) columns[x] = SourceOf(x, width, picture.width);
  Stretch above{};
  for (uint32_t y = 0; y < height; ++y) {
    const Stretch rows = SourceOf(y, height, picture.height);
    if (y > 0 && rows == above) {  // enlarged rows repeat
      std::copy_n(&result.At(0, y - 1), width, &result.At(0, y));
      continue;
    }
    for (uint32_t x = 0; x < width; ++x) result.At(x, y) = MeanOf(picture, columns[x], rows);
    above = rows;
  }
  return result;
}

Picture Magnify(const Picture& picture) {
  Picture result(picture.width * kMagnifierFactor, picture.height * kMagnifierFactor);
  static_assert(sizeof(Rgb) == 3);
  ZoLib_Magnify3(picture.pixels.data()->data(), picture.width, picture.height,
                 result.pixels.data()->data(), static_cast<uint32_t>(result.pixels.size() * 3), 3,
                 0);
  return result;
}

Picture Enlarge(const Picture& picture, uint32_t factor) {
  if (factor % kMagnifierFactor == 0) return Enlarge(Magnify(picture), factor / kMagnifierFactor);
  return Resample(picture, picture.width * factor, picture.height * factor);
}

Picture Turn(const Picture& picture) {
  Picture turned(picture.height, picture.width);
  for (uint32_t y = 0; y < picture.height; ++y)
    for (uint32_t x = 0; x < picture.width; ++x)
      turned.At(picture.height - 1 - y, x) = picture.At(x, y);
  return turned;
}

void Paste(Picture& canvas, const Picture& picture, uint32_t left, uint32_t top) {
  if (picture.width == 0) return;
  for (uint32_t y = 0; y < picture.height; ++y)
    std::copy_n(&picture.At(0, y), picture.width, &canvas.At(left, top + y));
}
