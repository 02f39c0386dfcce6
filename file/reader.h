// Opening a recording into a handle; the rest of the reader's set-up is public.
#ifndef ZOCAM_FILE_READER_H
#define ZOCAM_FILE_READER_H

#include "zocam/zocam.h"

extern "C" {

// Opens a recording into a new handle, positioned at its first record. 23 it cannot be opened,
// sized or read; 24 it is not a recording of a known model, or it is empty; 2; 20.
ZO_API ZoStatus ZoLib_Priv_FileParseHeader(_ZoDev** out, const char* path);
}

#endif
