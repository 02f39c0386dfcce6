// What a protective window in front of the camera does to temperatures, undone.
#ifndef ZOCAM_DECODE_WINDOW_CORRECTION_H
#define ZOCAM_DECODE_WINDOW_CORRECTION_H

#include "zocam/zocam.h"

extern "C" {

// Corrects temperature x, given sensor temperature y; both and the result in kelvin.
ZO_API double ZoLib_Priv_WindowCorrectTemp(double x, double y);
}

#endif
