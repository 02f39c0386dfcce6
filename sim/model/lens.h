// The lens of a camera with a wide view: barrel distortion.
#pragma once

#include <cstdint>

namespace zosim {

// Where in the scene, in pixels, something lies.
struct ScenePlace {
  double x = 0.0;
  double y = 0.0;
};

// Compresses the scene towards the border: what lies at radius r from the optical axis is seen at
// r * R / sqrt(r^2 + R^2), R being the bending radius.
//
// The axis meets the detector in the middle of the image, between four pixels. In the scene it is
// the pixel to the lower right of that, as the host counts it when it straightens the image.
class BarrelLens {
 public:
  BarrelLens(uint32_t width, uint32_t height);

  ScenePlace SeenBy(uint32_t x, uint32_t y) const;

 private:
  ScenePlace onDetector_;
  ScenePlace inScene_;
  double bendingRadiusSquared_;
};

}  // namespace zosim
