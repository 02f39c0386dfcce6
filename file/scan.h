// Decoding many frames of a recording in one go, for statistics over all of them.
#ifndef ZOCAM_FILE_SCAN_H
#define ZOCAM_FILE_SCAN_H

#include "core/device_record.h"

// Receives each decoded temperature image, pixelCount values.
using ZoScanFunction = void (*)(void* context, const uint16_t* image);

extern "C" {

// Decodes every step-th record with a time offset of at most to (and, from a step of 2 on, beyond
// from); the stream stays where it is. 0; 6 no frame was decoded; 2; 23. Playback is at rest.
ZO_API ZoStatus ZoLib_Priv_FileScan(_ZoDev* dev, uint32_t step, uint64_t from, uint64_t to,
                                    ZoScanFunction function, void* context);
}

#endif
