// The routine behind recording; the rest of the writer is public.
#ifndef ZOCAM_FILE_WRITER_H
#define ZOCAM_FILE_WRITER_H

#include "zocam/zocam.h"

extern "C" {

// Appends a frame to the recording that the handle writes; drops one that is none of the model's,
// and any frame while nothing is recorded. Takes fileLock.
ZO_API void ZoLib_Priv_FileWriteFrame(_ZoDev* dev, const uint8_t* frame, uint64_t length);
}

#endif
