#include "render/manual_gain.h"

#include <algorithm>
#include <cstddef>

namespace zocam {

// 64 bits, because an unvalidated range may have any ends.
void scalar::MapManual(std::span<const uint16_t> image, ManualRange range, uint32_t steps,
                       std::span<uint16_t> levels) {
  const int64_t low = range.low;
  const int64_t span = std::max(range.span, 1);
  for (std::size_t i = 0; i < image.size(); ++i) {
    const int64_t above = std::clamp<int64_t>(image[i] - low, 0, span - 1);
    levels[i] = static_cast<uint16_t>(above * steps / span);
  }
}

}  // namespace zocam
