// capture/: starting and stopping the stream of a handle, and the V4L2 stream of a camera with its
// capture thread. Not here: what a frame means (decode/) and how it is kept (file/).
//
// Threads: one capture thread per streaming camera runs the hook and the application's callback,
// one frame at a time. The application's thread starts it and joins it; `capturing` is its only
// stop signal. No lock is taken in this folder.
#ifndef ZOCAM_CAPTURE_CAPTURE_CONTROL_H
#define ZOCAM_CAPTURE_CAPTURE_CONTROL_H

#include "core/device_record.h"

extern "C" {

// 259/10 frames per second for 1 on products 0x6100 and 0x6101, else 259/30.
ZO_API void ZoLib_Priv_SetFrameRate(_ZoDev* dev, uint32_t highFrameRate);

// Keeps the application's callback, and forgets it. 20.
ZO_API ZoStatus ZoLib_Priv_OsDepCaptureSetup(_ZoDev* dev, uint32_t highFrameRate,
                                             ZoFrameCallback callback, void* user);
ZO_API void ZoLib_Priv_OsDepCaptureRelease(_ZoDev* dev);

// Bracket a camera's streaming; nothing to observe on Linux.
ZO_API ZoStatus ZoLib_Priv_OsDepObserverStart(_ZoDev* dev);
ZO_API void ZoLib_Priv_OsDepObserverStop(_ZoDev* dev);

// Sees every captured frame before the application does; null removes it.
ZO_API void ZoLib_Priv_OsDepSetPreProc(_ZoDev* dev, ZoPreProcHook hook);
}

// Ends the stream whatever the handle's state, also when its camera has vanished: joins the thread
// and gives the buffers back. Returns the stop routine's status.
ZoStatus EndStream(_ZoDev* dev);

#endif
