#include "decode/window_correction.h"

namespace {

// Fits of the window's effect, one for hot and one for cold scenes, blended over 10 K.
constexpr double kHotFrom = 341.0;
constexpr double kBlendWidth = 10.0;

double High(double x, double y) {
  return (8.2806113e-5 * (y * y) - 0.047752033 * y + 8.5304455) * x +
         (-0.021489306 * (y * y) + 12.158221 * y - 1906.8087);
}

double Low(double x, double y) {
  return (-0.00027906857 * y + 0.089142027) * (x * x) + (0.18496845 * y - 57.279627) * x +
         (-30.600111 * y + 9533.5527);
}

}  // namespace

double ZoLib_Priv_WindowCorrectTemp(double x, double y) {
  if (x >= kHotFrom) return High(x, y);
  if (x < kHotFrom - kBlendWidth) return Low(x, y);
  const double w = (x - kHotFrom + kBlendWidth) / kBlendWidth;
  return High(x, y) * w + Low(x, y) * (1 - w);
}
