// What the benchmarks look at: a wall with a slight gradient and a warm body in front of it, and
// the sensor's noise. The same at every run, but its frames differ, as those of a stream do: a
// processor learns the branches of a small image that it sees again and again.
#ifndef ZOCAM_BENCH_VIEWS_H
#define ZOCAM_BENCH_VIEWS_H

#include <cstdint>
#include <memory>
#include <vector>

#include "zocam/zocam.h"

#include "bench/benchmarks.h"

using Image = std::vector<uint16_t>;
using Bytes = std::vector<uint8_t>;

// How many different frames are taken in turn; as many as stay in the cache.
constexpr uint32_t FrameCount(Size size) {
  constexpr uint32_t kMost = 16;
  const uint32_t fitting = 307200 / (size.width * size.height);
  return fitting < 1 ? 1 : fitting > kMost ? kMost : fitting;
}

Image ViewInCounts(Size size, uint32_t frameNumber);  // as a sensor sees it that decoder A is for
Image ViewInCentikelvin(Size size,
                        uint32_t frameNumber);  // as a camera sends it that decodes by itself
Bytes BigEndianWords(const Image& image);

enum class Regime { kStartup, kSteady };

// The telemetry of a frame at room temperature, 640 bytes.
Bytes MakeFooter(uint8_t revision, Regime regime);

// A handle that counts as connected without a camera, and a raw frame of its model.
struct ReleaseHandle {
  void operator()(_ZoDev* dev) const { ZoLib_Release(dev); }
};
using Handle = std::unique_ptr<_ZoDev, ReleaseHandle>;

Handle MakeCamera(uint16_t product);
Size SizeOfImage(uint16_t product);
Bytes MakeRawFrame(const Handle& camera, Regime regime, uint32_t frameNumber);

#endif
