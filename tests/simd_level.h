// Comparing the faster forms of stages with the scalar ones.
#ifndef ZOCAM_TESTS_SIMD_LEVEL_H
#define ZOCAM_TESTS_SIMD_LEVEL_H

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "simd/stage_table.h"

inline const StageTable& ScalarStages() { return *StagesOf(SimdLevel::kScalar); }

// Calls compare(table of a level) for each level above scalar that this machine has.
template <class Compare>
void AtEachLevel(Compare compare) {
  for (const SimdLevel level : {SimdLevel::kBaseline, SimdLevel::kAvx2}) {
    const StageTable* stages = StagesOf(level);
    if (stages == nullptr) continue;
    SCOPED_TRACE(testing::Message() << "level " << static_cast<int>(level));
    compare(*stages);
  }
}

// An output between guard bands, at an address of any alignment.
template <class T>
class GuardedOutput {
 public:
  explicit GuardedOutput(std::size_t count) : cells_(count + 2 * kBand, kGuard) {}

  std::span<T> Get() { return {cells_.data() + kBand, cells_.size() - 2 * kBand}; }
  std::vector<T> Values() { return {Get().begin(), Get().end()}; }
  bool GuardsAreIntact() const {
    const auto isGuard = [](T cell) { return cell == kGuard; };
    return std::all_of(cells_.begin(), cells_.begin() + kBand, isGuard) &&
           std::all_of(cells_.end() - kBand, cells_.end(), isGuard);
  }

 private:
  static constexpr std::ptrdiff_t kBand = 67;
  static constexpr T kGuard = static_cast<T>(0xA5A5);
  std::vector<T> cells_;
};

// Values from low to high, both included.
inline std::vector<uint16_t> RandomImage(std::mt19937& random, std::size_t count, int low,
                                         int high) {
  std::uniform_int_distribution<int> value(low, high);
  std::vector<uint16_t> image(count);
  for (uint16_t& pixel : image) pixel = static_cast<uint16_t>(value(random));
  return image;
}

#endif
