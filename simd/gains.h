// The gains: values to levels.
#ifndef ZOCAM_SIMD_GAINS_H
#define ZOCAM_SIMD_GAINS_H

#include "render/auto_gain.h"
#include "render/manual_gain.h"
#include "simd/frame_statistics.h"
#include "simd/word_lanes.h"

namespace simd {
namespace {

// above * steps / span for values above low, cut to 0 .. span - 1, without a division per pixel.
//
// The factor is steps * 2^32 / (span << shift) rounded down, plus 1, with the least shift that
// brings it below 2^32, that is steps < span << shift. (above << shift) is then below 2^16: either
// above is, or span << shift is at most 2 * steps. So (above << shift) * factor / 2^32 is too high
// by less than 2^-16, and a quotient that is no integer lies at least 1 / span from the next.
class LevelSpread {
 public:
  static bool Suits(int64_t low, int64_t span, uint32_t steps) {
    return low >= 0 && low <= 0xFFFF && span >= 1 && span <= 0xFFFF && steps <= 1024;
  }

  LevelSpread(uint32_t low, uint32_t span, uint32_t steps)
      : low_(AllWords(low)), highest_(AllWords(span - 1)) {
    uint32_t shift = 0;
    while (span << shift <= steps) ++shift;
    shift_ = AllWords(1U << shift);
    const uint64_t factor = (uint64_t{steps} << (32 - shift)) / span + 1;
    high_ = AllWords(static_cast<uint16_t>(factor >> 16));
    low16_ = AllWords(static_cast<uint16_t>(factor));
  }

  U16s Of(U16s values) const {
    const U16s above = Min(SubtractDownToZero(values, low_), highest_) * shift_;
    const U16s byHigh = above * high_;
    const U16s fraction = byHigh + MultiplyHigh(above, low16_);
    const U16s noCarry = reinterpret_cast<U16s>(fraction >= byHigh);
    return MultiplyHigh(above, high_) + AllWords(1) + noCarry;
  }

 private:
  U16s low_;
  U16s highest_;
  U16s shift_;  // as a factor
  U16s high_;   // of the factor
  U16s low16_;
};

void Spread(std::span<const uint16_t> image, const LevelSpread& spread, uint16_t* levels) {
  const uint16_t* values = image.data();
  const std::size_t whole = image.size() - image.size() % kWords;
  for (std::size_t i = 0; i < whole; i += kWords) {
    Store(levels + i, spread.Of(Load<U16s>(values + i)));
  }
  if (whole == image.size()) return;
  uint16_t last[kWords] = {};
  for (std::size_t i = whole; i < image.size(); ++i) last[i - whole] = values[i];
  Store(last, spread.Of(Load<U16s>(last)));
  for (std::size_t i = whole; i < image.size(); ++i) levels[i] = last[i - whole];
}

void MapManual(std::span<const uint16_t> image, zocam::ManualRange range, uint32_t steps,
               std::span<uint16_t> levels) {
  const int32_t span = range.span < 1 ? 1 : range.span;
  if (!LevelSpread::Suits(range.low, span, steps)) {
    return zocam::scalar::MapManual(image, range, steps, levels);
  }
  Spread(image, LevelSpread(static_cast<uint32_t>(range.low), static_cast<uint32_t>(span), steps),
         levels.data());
}

void MapLinear(std::span<const uint16_t> image, zocam::Extremes extremes,
               std::span<uint16_t> levels) {
  const uint32_t span = uint32_t{extremes.max} - extremes.min;
  if (extremes.min >= extremes.max || !LevelSpread::Suits(extremes.min, span, 1024)) {
    return zocam::scalar::MapLinear(image, extremes, levels);
  }
  Spread(image, LevelSpread(extremes.min, span, 1024), levels.data());
}

// The levels of all values from first to last, for MapSegments.
class LevelTable {
 public:
  static constexpr std::size_t kMaxValues = 30000;  // what the stack of a stage has room for

  LevelTable(const zocam::BinRange& range, std::span<const GainSegment, zocam::kGainBins> segments,
             uint32_t first, uint32_t last) {
    constexpr auto kBins = static_cast<uint32_t>(zocam::kGainBins);
    const uint32_t width = range.span / kBins;
    for (uint32_t value = first; value <= last;) {
      const uint32_t offset = range.OffsetOf(value);
      const uint32_t bin = range.BinAt(offset);
      Line line{segments[bin].base, segments[bin].slope, offset % width, width};
      // The values up to the next bin or the next multiple of the width follow one line.
      const uint32_t nextBin = ((bin + 1) * range.span + kBins - 1) / kBins;
      const uint32_t nextWidth = offset - line.rest + width;
      uint32_t count = (nextBin < nextWidth ? nextBin : nextWidth) - offset;
      if (value < range.low || value >= range.high) {
        line = {line.base + line.rest * line.slope / width, 0, 0, width};
        count = value < range.low ? range.low - value : last - value + 1;
      }
      if (last - value < count) count = last - value + 1;
      line.Fill(levels_ + (value - first), count);
      value += count;
    }
  }

  uint16_t operator[](std::size_t i) const { return levels_[i]; }

 private:
  using Floats = Vector<float, kVectorBytes / 4>;
  using Ints = Vector<int32_t, kVectorBytes / 4>;
  static constexpr uint32_t kInts = kVectorBytes / 4;

  // base + (rest + i) * slope / width, for slopes up to 1024 and widths up to 2048: products below
  // 2^21, to which a half is added exactly, so that a quotient below 1024 lies at least 2^-12 from
  // the next integer and the roundings, below 2^-13, do not reach it.
  struct Line {
    // Writes whole vectors.
    void Fill(uint16_t* levels, uint32_t count) const {
      const float inverse = 1.0F / static_cast<float>(width);
      Floats product{};
      for (uint32_t lane = 0; lane < kInts; ++lane) {
        product[lane] = static_cast<float>((rest + lane) * slope) + 0.5F;
      }
      const Floats step = Floats{} + static_cast<float>(kInts * slope);
      const Ints from = Ints{} + static_cast<int32_t>(base);
      const Ints highest = Ints{} + 1023;
      for (uint32_t i = 0; i < count; i += kInts) {
        const Ints level = from + Convert<Ints>(product * inverse);
        Store(levels + i, Convert<Vector<uint16_t, kInts>>(level < highest ? level : highest));
        product += step;
      }
    }

    uint32_t base, slope, rest, width;
  };

  uint16_t levels_[kMaxValues + kWords];
};

bool SegmentsAreSane(const zocam::BinRange& range,
                     std::span<const GainSegment, zocam::kGainBins> segments) {
  uint32_t highest = 0;
  for (const GainSegment& segment : segments) {
    if (segment.slope > 1024 || segment.base > 0xFFFF) highest = 1;
  }
  return highest == 0 && range.low < range.high && range.high <= 0x10000 &&
         range.span == range.high - range.low && range.span >= zocam::kGainBins;
}

void MapSegments(std::span<const uint16_t> image, const zocam::BinRange& range,
                 std::span<const GainSegment, zocam::kGainBins> segments,
                 std::span<uint16_t> levels) {
  constexpr uint32_t kValues = LevelTable::kMaxValues;
  RunningExtremes running;
  running.Widen(image.data(), image.size());
  const zocam::Extremes extremes = running.Get();
  const uint32_t min = extremes.min;
  const uint32_t max = extremes.max;
  const uint16_t* values = image.data();
  uint16_t* out = levels.data();
  // Tables of many more values than there are pixels cost more than the divisions they save.
  if (min > max || max - min > 4 * image.size() || !SegmentsAreSane(range, segments)) {
    return zocam::scalar::MapSegments(image, range, segments, levels);
  }
  if (max - min < LevelTable::kMaxValues) {
    const LevelTable table(range, segments, min, max);
    ForEachIndex(image.size(), [&](std::size_t i) { out[i] = table[values[i] - min]; });
    return;
  }
  for (uint32_t first = min; first <= max; first += kValues) {
    const uint32_t last = first + kValues - 1 < max ? first + kValues - 1 : max;
    const LevelTable table(range, segments, first, last);
    ForEachIndex(image.size(), [&](std::size_t i) {
      const uint32_t at = values[i] - first;
      const uint16_t level = table[at < kValues ? at : 0];
      if (at < kValues) out[i] = level;
    });
  }
}

}  // namespace
}  // namespace simd

#endif
