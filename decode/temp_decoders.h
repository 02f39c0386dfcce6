// The temperature decoders as models name them: glue between a handle and the pure conversions.
// raw is one whole raw frame, out receives pixelCount aligned 16-bit values, outSize bytes are
// available there. 6 when outSize is too small; 20.
#ifndef ZOCAM_DECODE_TEMP_DECODERS_H
#define ZOCAM_DECODE_TEMP_DECODERS_H

#include "zocam/zocam.h"

#include "core/device_record.h"

// Raw counts to 1/100 K. 22 before the camera's first flat-field correction; 2.
ZO_API ZoStatus ZoLib_Priv_Decode_TEMPERATURE_16_A(_ZoDev* dev, unsigned char* raw,
                                                   unsigned char* out, unsigned int outSize)
    ZO_HOLDS(*dev->decodeLock);

// Temperatures, passed on with the optional window correction; 2.
ZO_API ZoStatus ZoLib_Priv_Decode_TEMPERATURE_16_B(_ZoDev* dev, unsigned char* raw,
                                                   unsigned char* out, unsigned int outSize)
    ZO_HOLDS(*dev->decodeLock);

// Temperatures, shifted by what a reference body in the image tells. 22 a model without one; 2.
ZO_API ZoStatus ZoLib_Priv_Decode_TEMPERATURE_16_D(_ZoDev* dev, unsigned char* raw,
                                                   unsigned char* out, unsigned int outSize)
    ZO_HOLDS(*dev->decodeLock);

extern "C" {

// Decoder A's conversion alone, without window correction.
ZO_API ZoStatus ZoLib_Priv_ConvertRawA(_ZoDev* dev, const unsigned char* raw, unsigned char* out);
}

#endif
