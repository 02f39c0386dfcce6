// Pictures: a temperature image becomes grey or coloured pixels in the caller's buffer.
//
//   16-bit image -> gain (manual, linear, non-linear) -> display levels -> palette -> pixel layout
//
// output.cc is the only file that reads a handle and calls the stages, in that order; the stages
// (frame_statistics, auto_gain, manual_gain, paint) are pure functions over spans. gain_settings.cc
// holds the setters, formats the vocabulary of format codes, palettes and grey_expansion what
// applications may use without a handle. Nothing here knows where an image comes from, and no
// thread runs here: rendering happens on the thread that decodes, under the handle's decodeLock.
#ifndef ZOCAM_RENDER_RENDER_H
#define ZOCAM_RENDER_RENDER_H

#include "zocam/zocam.h"

#include "core/device_record.h"

extern "C" {

// Renders a 16-bit image of the handle's geometry. stride 0 = packed; format 1 ignores it. Returns
// 20 for a null pointer, then checks in this order: 21 no such format (0 is none here), 6 out does
// not hold the packed picture, 21 stride below a line, 6 out does not hold the strided picture, 2
// the handle has no gain image. Writes nothing on failure.
ZO_API ZoStatus ZoLib_Priv_DecodeTemp(_ZoDev* dev, const uint16_t* image, void* out,
                                      uint32_t outSize, uint32_t stride, uint32_t format)
    ZO_HOLDS(*dev->decodeLock);

// The range of the manual gain in image units; span may come out below 1 and counts as 1 then.
ZO_API void ZoLib_Priv_GetManualRange(_ZoDev* dev, int32_t* span, int32_t* low);

// The range of the automatic gains in image units, high at most 65535. The gains use the low 16
// bits of both.
ZO_API void ZoLib_Priv_GetAGCLimits(_ZoDev* dev, int32_t* low, int32_t* high);

// Fill the handle's gain image with display levels, 0 to 1023. The non-linear gain leaves it as it
// was when no pixel counts; both do when the handle has no gain image.
ZO_API void ZoLib_Priv_LinearAGC(_ZoDev* dev, const uint16_t* image) ZO_HOLDS(*dev->decodeLock);
ZO_API void ZoLib_Priv_NonLinearAGC(_ZoDev* dev, const uint16_t* image) ZO_HOLDS(*dev->decodeLock);
}

#endif
