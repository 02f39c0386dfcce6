// Playing a recording: the states of its thread stand here in one place.
//
//   stopped --start--> playing --pause--> parked --resume--> playing
//                      playing --end of file--> at end --seek--> playing
//                      any of them --stop--> stopped, for good: the file is closed
//                      playing --file error--> ended, until the stop
//
// A step reads one record under fileLock, waits without it until the frame is due, and calls the
// callback without it. Whatever moves playback (a seek, a resume, another speed, the end of the
// file) resets fileBaseTimeOffset: a step whose base has changed drops its frame.
#ifndef ZOCAM_FILE_PLAYBACK_H
#define ZOCAM_FILE_PLAYBACK_H

#include "core/device_record.h"

extern "C" {

// Begins at the record where the file stands. 22 no open recording, or it plays; 2; 20.
ZO_API ZoStatus ZoLib_Priv_FileReadStart(_ZoDev* dev);
// Joins the thread and closes the file. 4; 22 nothing plays, or inside the handle's callback;
// 23; 20.
ZO_API ZoStatus ZoLib_Priv_FileReadStop(_ZoDev* dev);
}

// Body of the playback thread: steps until one returns 0.
ZO_API void ZoLib_Priv_FileReadProc(_ZoDev* dev);

// One step. 1 go on, 0 stop. A buffer receives the frame instead of the context's.
ZO_API int ZoLib_Priv_FileReadFrame(_ZoDev* dev, uint8_t* buffer);

// Start and join the thread; not null. 2 no thread could be made.
ZO_API ZoStatus ZoLib_Priv_OsDepFileReadThreadStart(_ZoDev* dev);
ZO_API ZoStatus ZoLib_Priv_OsDepFileReadThreadStop(_ZoDev* dev);

// Ends started playback whatever the handle's state. 23 when the file could not be closed.
ZoStatus EndPlayback(_ZoDev* dev);

// Waits until no scan owns the file position.
void WaitForScan(_ZoDev* dev) ZO_HOLDS(*dev->fileLock);

// The same, and until a paused playback thread does not read or deliver any more.
void WaitForRest(_ZoDev* dev) ZO_HOLDS(*dev->fileLock);

// Marks the end of the file and calls the application.
void MarkEndOfFile(_ZoDev* dev) ZO_HOLDS(*dev->fileLock);

#endif
