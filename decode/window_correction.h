// What a protective window in front of the camera does to temperatures, undone.
#ifndef ZOCAM_DECODE_WINDOW_CORRECTION_H
#define ZOCAM_DECODE_WINDOW_CORRECTION_H

#include "zocam/zocam.h"

// Fits of the window's effect, one for hot and one for cold scenes, blended over 10 K. Their
// coefficients depend on the sensor temperature in kelvin.
struct WindowFit {
  double hotSlope;
  double hotOffset;
  double coldSquare;
  double coldSlope;
  double coldOffset;

  explicit WindowFit(double sensorKelvin);
};

inline constexpr double kHotFrom = 341.0;
inline constexpr double kBlendWidth = 10.0;

extern "C" {

// Corrects temperature x, given sensor temperature y; both and the result in kelvin.
ZO_API double ZoLib_Priv_WindowCorrectTemp(double x, double y);
}

#endif
