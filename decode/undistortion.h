// Lens undistortion: resamples an image that the lens compresses towards its border. The geometry
// is paid once, in a remap table; a frame costs one weighted sum of a 2 x 2 block per pixel.
#ifndef ZOCAM_DECODE_UNDISTORTION_H
#define ZOCAM_DECODE_UNDISTORTION_H

#include <cstdint>

#include "zocam/zocam.h"

#include "core/malloc_ptr.h"

// Which 2 x 2 block of input pixels an output pixel is made of.
struct RemapEntry {
  int32_t x;  // top left pixel of the block
  int32_t y;
  double w00;  // weight of (x, y)
  double w10;  // of (x + 1, y)
  double w01;  // of (x, y + 1)
  double w11;  // of (x + 1, y + 1)
};

// A run of output pixels, made of 2 x 2 blocks that follow one another as the pixels do, with their
// weights in fixed point for the faster forms (see simd/undistortion.h).
struct RemapRun {
  static constexpr uint32_t kPixels = 8;

  // The weights of one row of the 2 x 2 blocks: left, right of the even output pixels, then of the
  // odd ones. What is left of a weight after the coarse part is the fine part.
  struct alignas(16) Weights {
    int16_t coarse[2 * kPixels];  // in 2^-14
    int16_t fine[2 * kPixels];    // in 2^-28
  };

  Weights upper;
  Weights lower;
  uint32_t src;    // top left pixel of the first block
  uint32_t first;  // output pixel
  uint32_t count;
  // 0: the run has no weights in fixed point, and may be of any length; its src and weights are 0.
  // Otherwise kPixels pixels may be read and written even if there are fewer, and the weights of
  // the last pixel fill up.
  uint32_t fixedPoint;
};

struct RemapTable {
  const RemapEntry* entries;  // one per output pixel
  uint32_t width;
  uint32_t height;
  const RemapRun* runs;  // all output pixels, in order
  uint32_t runCount;
};

namespace scalar {
// Fills dst with src, resampled; both are different images of the table's size.
void Undistort(const RemapTable& table, const uint16_t* src, uint16_t* dst);

// Fills only the output pixels from first on.
void UndistortPart(const RemapTable& table, const uint16_t* src, uint16_t* dst, uint32_t first,
                   uint32_t count);
}  // namespace scalar

// No thread rules of its own: one user at a time.
class ZO_API Undistortion {
 public:
  Undistortion();
  ~Undistortion();
  Undistortion(const Undistortion&) = delete;
  Undistortion& operator=(const Undistortion&) = delete;

  // Both build the table. 0; 22 strength outside 0 to width; 12 no memory. A failure changes
  // nothing. Strength 0 is the identity.
  int Setup(unsigned int width, unsigned int height, double strength);
  int SetStrength(double strength);

  // dst and src are different images of the size that was set up.
  void Transform(unsigned short* dst, const unsigned short* src);

 private:
  double strength_ = 0.0;
  uint32_t width_ = 0;
  uint32_t height_ = 0;
  uint32_t runCount_ = 0;
  MallocPtr<RemapEntry[]> table_;
  MallocPtr<RemapRun[]> runs_;
};

#endif
