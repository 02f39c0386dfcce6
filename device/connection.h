// device/: finding cameras among the V4L2 nodes, opening them, and talking to their firmware over
// the vendor extension unit. Not here: streaming (capture/). Runs on the caller's threads only; the
// command lock of the handle serialises command operations.
//
// This file: the device node of a handle and what goes over it, one system call per function.
#ifndef ZOCAM_DEVICE_CONNECTION_H
#define ZOCAM_DEVICE_CONNECTION_H

#include "zocam/zocam.h"

// Asks for one camera to be opened.
struct openRequest {
  uint32_t hostError;  // receives the errno of a failed open
  char path[256];
};

extern "C" {

// Platform halves of the life cycle. On Linux the library needs no global set-up.
ZO_API ZoStatus ZoLib_Priv_OsDepInit(int32_t* refCount, uint32_t* hostError);
ZO_API void ZoLib_Priv_OsDepUnInit(void);
ZO_API void ZoLib_Priv_OsDepCreateWithoutConnect(_ZoDev* dev);
ZO_API uint32_t ZoLib_Priv_OsDepIsRealDevice(_ZoDev* dev);

// Opens the request's node into the handle; 13 with the errno in the request.
ZO_API ZoStatus ZoLib_Priv_OsDepCreate(_ZoDev* dev, openRequest* request);

// Closes the node, if one is open.
ZO_API void ZoLib_Priv_OsDepRelease(_ZoDev* dev);

// ioctl that goes on after signals. Returns the errno, 0 on success.
ZO_API int ZoLib_Priv_ioctl(int fd, unsigned long request, void* argument);

// One transfer on the extension unit. The OsDep forms return the errno, the others keep it in the
// handle's hostError and return a status.
ZO_API int ZoLib_Priv_OsDepXuSetProp(_ZoDev* dev, uint8_t selector, uint16_t size, void* data);
ZO_API int ZoLib_Priv_OsDepXuGetProp(_ZoDev* dev, uint8_t selector, uint16_t size, void* data);
ZO_API ZoStatus ZoLib_Priv_XuSetProp(_ZoDev* dev, uint8_t selector, uint16_t size, void* data);
ZO_API ZoStatus ZoLib_Priv_XuGetProp(_ZoDev* dev, uint8_t selector, uint16_t size, void* data);

// See ZoLib_Reconnect.
ZO_API ZoStatus ZoLib_Priv_OsDepReconnect(_ZoDev* dev);
}

// Whether a device node exists.
bool NodeExists(const char* path);

#endif
