// The V4L2 stream of a camera: negotiation, mapped driver buffers, the capture thread.
#ifndef ZOCAM_CAPTURE_V4L2_STREAM_H
#define ZOCAM_CAPTURE_V4L2_STREAM_H

#include "core/device_record.h"

extern "C" {

// Negotiates, maps two driver buffers, streams and starts the capture thread; `capturing` is set.
// A failure undoes every step that was made. 13 (errno in the handle), 2.
ZO_API ZoStatus ZoLib_Priv_OsDepCaptureStart(_ZoDev* dev);

// Stops the stream, joins the thread, frees the buffers; `capturing` is clear. Always 0, also when
// nothing streams.
ZO_API ZoStatus ZoLib_Priv_OsDepCaptureStop(_ZoDev* dev);

// Unmaps the first count entries of a table and gives the driver its buffers back.
ZO_API void ZoLib_Priv_OsDepCaptureFreeBuffers(_ZoDev* dev, CaptureBuffer* table, uint32_t count);

// Body of the capture thread. A camera that vanishes ends it, sets disconnected and clears
// connected.
ZO_API void ZoLib_Priv_OsDepCaptureProc(_ZoDev* dev);
}

#endif
