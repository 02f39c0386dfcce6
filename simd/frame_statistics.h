// Extremes and bins of a frame.
#ifndef ZOCAM_SIMD_FRAME_STATISTICS_H
#define ZOCAM_SIMD_FRAME_STATISTICS_H

#include "render/frame_statistics.h"
#include "simd/extremes.h"

namespace simd {
namespace {

// Calls visit(values, count) for runs that hold the counted pixels in order.
template <class Visit>
void ForEachCountedRun(std::span<const uint16_t> image, const zocam::CountedPixels& counted,
                       Visit visit) {
  const std::size_t width = counted.width;
  if (width == 0 || counted.skippedColumns >= width) return;
  const std::size_t lines = image.size() / width;
  const bool whole = counted.skippedColumns == 0;
  const std::size_t runs = whole ? 1 : lines;
  const std::size_t runPixels = whole ? lines * width : width - counted.skippedColumns;
  for (std::size_t run = 0; run < runs; ++run) {
    const std::size_t first = run * width + counted.skippedColumns;
    const uint16_t* values = image.data() + first;
    if (counted.weights.empty()) {
      visit(values, runPixels);
      continue;
    }
    const uint32_t* weights = counted.weights.data() + first;
    constexpr std::size_t kChunk = 1024;
    uint16_t kept[kChunk];
    for (std::size_t start = 0; start < runPixels; start += kChunk) {
      const std::size_t end = start + kChunk < runPixels ? start + kChunk : runPixels;
      std::size_t count = 0;
      for (std::size_t i = start; i < end; ++i) {
        kept[count] = values[i];
        count += weights[i] != 0 ? 1 : 0;
      }
      visit(kept, count);
    }
  }
}

void WidenExtremes(std::span<const uint16_t> image, const zocam::CountedPixels& counted,
                   zocam::Extremes& extremes) {
  RunningExtremes running(extremes);
  ForEachCountedRun(image, counted, [&](const uint16_t* values, std::size_t count) {
    running.Widen(values, count);
  });
  extremes = running.Get();
}

// Bins of values by multiplication, for ranges of whole blocks of 1024.
//
// A bin is then offset / width with a width that is a multiple of 32, and so is not changed by
// clearing the offset's low 5 bits; the quotient then lies at least 32 / width below the next
// integer. The factor is 2^(16 + shift) / width rounded up, at least 2^15 and below 2^16: the
// product is too high by less than 32 / 2^15 in a quotient below 32, and a width is at most 2048.
class BlockBins {
 public:
  static bool Suit(const zocam::BinRange& range) {
    return range.low < range.high && range.high <= 0x10000 &&
           range.span == range.high - range.low && range.span % 1024 == 0;
  }

  explicit BlockBins(const zocam::BinRange& range)
      : low_(AllWords(range.low)), highest_(AllWords(range.span - 1)) {
    const uint32_t width = range.span / uint32_t{zocam::kGainBins};
    while ((2U << shift_) < width) ++shift_;
    factor_ = AllWords(((0x10000U << shift_) + width - 1) / width);
  }

  U16s Of(U16s values) const {
    const U16s offsets = Min(SubtractDownToZero(values, low_), highest_);
    return MultiplyHigh(offsets & AllWords(0xFFE0), factor_) >> static_cast<uint16_t>(shift_);
  }

 private:
  U16s low_;
  U16s highest_;
  U16s factor_;
  uint32_t shift_ = 0;
};

// Counts pairs of neighbouring pixels by both bins at once, which halves the counting, in turns
// over several tables, because a counter that has just been written is slow to read.
class PairCounts {
 public:
  void Count(const uint16_t* values, std::size_t count, const BlockBins& bins) {
    uint32_t pairs[kChunk / 2];
    for (std::size_t i = 0; i < count; i += kWords) {
      const U16s found = bins.Of(Load<U16s>(values + i));
      const auto both = reinterpret_cast<Pairs>(found);
      Store(pairs + i / 2, (both | both >> 11) & (Pairs{} + (kPairs - 1)));
    }
    ForEachIndex(count / 2, [&](std::size_t i) { ++counts_[i % kTables][pairs[i]]; });
    if (++chunks_ == kChunksBeforeOverflow) Flush();
  }

  // Adds the counts of the pixels to the bins.
  void AddTo(zocam::BinCounts& bins) {
    Flush();
    for (std::size_t bin = 0; bin < zocam::kGainBins; ++bin) bins[bin] += bins_[bin];
  }

  static constexpr std::size_t kChunk = 512;  // pixels at once, at most; a multiple of kWords

 private:
  using Pairs = Vector<uint32_t, kVectorBytes / 4>;
  static constexpr std::size_t kTables = 4;
  static constexpr std::size_t kPairs = zocam::kGainBins * zocam::kGainBins;
  // Counters of all tables are added up in 16 bits.
  static constexpr std::size_t kChunksBeforeOverflow = 0xFFFF / (kChunk / 2);

  void Flush() {
    constexpr std::size_t kBins = zocam::kGainBins;
    constexpr std::size_t kVectors = kBins / kWords;
    U16s byFirst[kVectors] = {};
    for (std::size_t second = 0; second < kBins; ++second) {
      U16s ofSecond{};
      for (std::size_t v = 0; v < kVectors; ++v) {
        U16s sum{};
        for (auto& table : counts_) {
          uint16_t* counters = &table[second * kBins + v * kWords];
          sum += Load<U16s>(counters);
          Store(counters, U16s{});
        }
        byFirst[v] += sum;
        ofSecond += sum;
      }
      uint32_t total = 0;
      for (std::size_t lane = 0; lane < kWords; ++lane) total += ofSecond[lane];
      bins_[second] += total;
    }
    for (std::size_t bin = 0; bin < kBins; ++bin) bins_[bin] += byFirst[bin / kWords][bin % kWords];
    chunks_ = 0;
  }

  uint16_t counts_[kTables][kPairs] = {};
  uint64_t bins_[zocam::kGainBins] = {};
  std::size_t chunks_ = 0;
};

void CountBins(std::span<const uint16_t> image, const zocam::CountedPixels& counted,
               const zocam::BinRange& range, zocam::BinCounts& counts) {
  if (!BlockBins::Suit(range)) return zocam::scalar::CountBins(image, counted, range, counts);
  const BlockBins bins(range);
  PairCounts pairs;
  ForEachCountedRun(image, counted, [&](const uint16_t* values, std::size_t count) {
    const std::size_t whole = count - count % kWords;
    for (std::size_t i = 0; i < whole; i += PairCounts::kChunk) {
      const std::size_t left = whole - i;
      pairs.Count(values + i, left < PairCounts::kChunk ? left : PairCounts::kChunk, bins);
    }
    for (std::size_t i = whole; i < count; ++i) ++counts[range.BinAt(range.OffsetOf(values[i]))];
  });
  pairs.AddTo(counts);
}

}  // namespace
}  // namespace simd

#endif
