#include "decode/window_correction.h"

namespace {

double Hot(const WindowFit& fit, double x) { return fit.hotSlope * x + fit.hotOffset; }

double Cold(const WindowFit& fit, double x) {
  return fit.coldSquare * (x * x) + fit.coldSlope * x + fit.coldOffset;
}

}  // namespace

WindowFit::WindowFit(double y)
    : hotSlope(8.2806113e-5 * (y * y) - 0.047752033 * y + 8.5304455),
      hotOffset(-0.021489306 * (y * y) + 12.158221 * y - 1906.8087),
      coldSquare(-0.00027906857 * y + 0.089142027),
      coldSlope(0.18496845 * y - 57.279627),
      coldOffset(-30.600111 * y + 9533.5527) {}

double ZoLib_Priv_WindowCorrectTemp(double x, double y) {
  const WindowFit fit(y);
  if (x >= kHotFrom) return Hot(fit, x);
  if (x < kHotFrom - kBlendWidth) return Cold(fit, x);
  const double w = (x - kHotFrom + kBlendWidth) / kBlendWidth;
  return Hot(fit, x) * w + Cold(fit, x) * (1 - w);
}
