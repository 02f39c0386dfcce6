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

struct RemapTable {
  const RemapEntry* entries;  // one per output pixel
  uint32_t width;
  uint32_t height;
};

namespace scalar {
// Fills dst with src, resampled; both are different images of the table's size.
void Undistort(const RemapTable& table, const uint16_t* src, uint16_t* dst);
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
  MallocPtr<RemapEntry[]> table_;
};

#endif
