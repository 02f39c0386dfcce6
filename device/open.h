// Binding a new handle to one camera.
#ifndef ZOCAM_DEVICE_OPEN_H
#define ZOCAM_DEVICE_OPEN_H

#include "device/connection.h"

extern "C" {

// Opens a camera into a new handle, which is stored only on success. 5: firmware too old; 13: not
// opened (errno in the request) or no answer; 2. Sets the clock of a camera 0x6110. Takes one
// library user, which no release gives back.
ZO_API ZoStatus ZoLib_Priv_Create(_ZoDev** dev, openRequest* request);
}

#endif
