// Camera commands that are not part of the public interface.
#ifndef ZOCAM_DEVICE_COMMANDS_H
#define ZOCAM_DEVICE_COMMANDS_H

#include "zocam/zocam.h"

extern "C" {

// Reads the identity block and the serial number in it. 13 on failure. Takes no lock: only the open
// has the handle.
ZO_API ZoStatus ZoLib_Priv_DeviceGetInfo(_ZoDev* dev);

// Sends the host's local time to the camera's clock. Takes commandLock. 4; 13; 20.
ZO_API ZoStatus ZoLib_Priv_SetTime(_ZoDev* dev);

// Sends a request and polls until the camera has answered it, as long as the handle is connected.
// The whole last answer is left in status. commandLock held.
ZO_API ZoStatus ZoLib_Priv_CommandTransact(_ZoDev* dev, uint8_t requestSelector, void* request,
                                           uint16_t requestBytes, uint8_t statusSelector,
                                           uint8_t* status, uint16_t statusBytes);
}

#endif
