/**
 * @file zocam.h
 * The public interface of libzocam, for C11 and C++20.
 *
 * A handle, `_ZoDev*`, is one camera or one recording. Data flows one way: a raw frame (16-bit
 * big-endian sensor words and a few footer lines of telemetry) becomes a temperature image (16-bit
 * values in 1/resolution kelvin) and then a picture in the caller's buffer.
 *
 * @par Camera, recording and decoding in thirty lines
 * @code{.c}
 * #include <stdio.h>
 * #include <unistd.h>
 * #include <zocam/zocam.h>
 *
 * static int OnFrame(_ZoDev* dev, uint8_t* raw, uint64_t length, void* user) {
 *   static uint16_t image[160 * 120];
 *   (void)length, (void)user;
 *   if (ZoLib_Decode(dev, raw, image, sizeof image, 0, ZO_FMT_TEMP16) == ZO_STATUS_OK)
 *     printf("%.2f C\n", (double)image[0] / ZoLib_GetLastTempResolution(dev) - 273.15);
 *   return (int)ZoLib_FinishDecode(dev);
 * }
 * static int OnEnd(_ZoDev* dev, void* user) { return (void)dev, (void)user, 0; }
 *
 * int main(void) {
 *   _ZoDev* camera;
 *   uint32_t hostError;
 *   if (ZoLib_GetDeviceByDeviceFile("/dev/video0", &camera, &hostError) != ZO_STATUS_OK) return 1;
 *   ZoLib_FileWriteSetup(camera, "live.y4m");
 *   ZoLib_FileWriteStart(camera);                 // from now on every frame goes to the file
 *   ZoLib_CaptureSetup(camera, 0, OnFrame, NULL);
 *   ZoLib_CaptureStart(camera);                   // frames arrive on a thread of the handle
 *   sleep(2);
 *   ZoLib_Release(camera);                        // ends the stream and the file
 *
 *   _ZoDev* film;                                 // a handle like a camera's
 *   if (ZoLib_FileReadSetup(&film, "live.y4m", OnFrame, OnEnd, NULL) != ZO_STATUS_OK) return 1;
 *   ZoLib_SetFileReadSpeed(film, 4.0);
 *   ZoLib_CaptureStart(film);
 *   while (!ZoLib_GetFileReadEOF(film) && !ZoLib_GetFileError(film)) usleep(10000);
 *   ZoLib_Release(film);
 * }
 * @endcode
 *
 * @par Thread words
 * Every function below uses one of these words:
 * - **any**: any thread at any time; no handle, or nothing of it that another call could disturb.
 * - **handle**: any thread while the handle lives, also inside its callbacks; takes no lock. A
 *   setting takes effect at whichever step next reads it.
 * - **locked**: as *handle*, serialised against decoding, commands or playback by a lock of the
 * handle; may wait for the operation in progress.
 * - **control**: one thread at a time per handle. Calls that end the stream (stop, reconnect)
 *   answer 22 inside the handle's own callback and leave the stream alone, because they wait for
 *   the thread that runs it.
 * - **setup**: one thread at a time in the whole process, because the count of library users has
 *   no lock: enumeration and opening.
 *
 * @par Null pointers
 * A null handle or a null required pointer gives 20 from functions with a status, 0 (or an empty
 * result) from getters, and is ignored by setters, unless a function says otherwise. Dates and
 * serial words behind a pointer are then left as they were.
 *
 * @par Errors
 * Operations on a camera or a file (commands, capture, writing, seeking, correction files) clear
 * the handle's error block first; after a failure it tells more of that operation:
 * ZoLib_GetHostError (13, 23), ZoLib_GetFirmwareError (10), ZoLib_GetSensorError (11).
 */
#ifndef ZOCAM_ZOCAM_H
#define ZOCAM_ZOCAM_H

#include <stdint.h>

/** Marks what the library exports. */
#define ZO_API __attribute__((visibility("default")))

/** @cond */
#ifdef __cplusplus
#define ZO_ENCODED(name)
extern "C" {
#else
/* A few exported names encode their parameter types; C reaches them by their assembler name. */
#define ZO_ENCODED(name) __asm__(name)
#endif
/** @endcond */

/** A camera or a recording. Opaque; ends in ZoLib_Release. */
typedef struct _ZoDev _ZoDev;

/** Status of an operation; 0 is success. Texts: ZoLib_GetErrorMessage. */
typedef uint32_t ZoStatus;

/** The values of ::ZoStatus. */
enum {
  ZO_STATUS_OK = 0,
  /** The camera gave an answer that the protocol does not know, or none at all. */
  ZO_STATUS_INTERNAL_ERROR = 1,
  /** An allocation failed, or a driver granted too few buffers, or no thread could be made. */
  ZO_STATUS_NO_MEMORY = 2,
  /** No camera at the given place, or it did not come back after a reconnect. */
  ZO_STATUS_DEVICE_NOT_FOUND = 3,
  /** The handle is not connected to a camera or recording. */
  ZO_STATUS_DEVICE_NOT_READY = 4,
  /** The camera's firmware is older than ZoLib_GetSupportedFWVersion. */
  ZO_STATUS_DEVICE_UNSUPPORTED = 5,
  /** The caller's buffer is too small. */
  ZO_STATUS_NOT_ENOUGH_SIZE = 6,
  /** What is asked for does not exist yet. */
  ZO_STATUS_NOT_YET = 7,
  /** The camera's firmware reported an error; see ZoLib_GetFirmwareError. */
  ZO_STATUS_FIRMWARE_ERROR = 10,
  /** The camera's sensor reported an error; see ZoLib_GetSensorError. */
  ZO_STATUS_SENSOR_ERROR = 11,
  /** A call into the operating system failed; see ZoLib_GetHostError. */
  ZO_STATUS_V4L2_ERROR = 13,
  /** A handle or a required pointer is null. */
  ZO_STATUS_NULL_POINTER = 20,
  /** An argument is out of its range. */
  ZO_STATUS_INVALID_VALUE = 21,
  /** The handle's present state does not allow the operation. */
  ZO_STATUS_INVALID_STATE = 22,
  /** A file cannot be opened, read, written or closed. */
  ZO_STATUS_FILE_IO_ERROR = 23,
  /** A file is not of the kind that it should be, or damaged. */
  ZO_STATUS_INVALID_FILE_FORMAT = 24,
  /** A seek went to or beyond the last frame. */
  ZO_STATUS_END_OF_FILE = 25,
  /** The camera model does not have this function, or correction data are another model's. Has no
   * message of its own. */
  ZO_STATUS_MODEL_UNSUPPORTED = 26
};

/**
 * Output formats of ZoLib_Decode. The values from 10 on are the codes with manual gain; add
 * ::ZO_GAIN_NONLINEAR or ::ZO_GAIN_LINEAR for an automatic one. Bytes per pixel stand in brackets.
 */
enum {
  ZO_FMT_RAW16 = 0,           /**< [2] image words of the frame, native byte order */
  ZO_FMT_TEMP16 = 1,          /**< [2] the temperature image, 1/resolution kelvin */
  ZO_FMT_GRAY8 = 10,          /**< [1] grey */
  ZO_FMT_IRON_RGB24 = 20,     /**< [3] B, G, R, or R, G, B: see ZoLib_SetRGBOrder */
  ZO_FMT_IRON_RGB32 = 30,     /**< [4] as RGB24, then 0xFF */
  ZO_FMT_RAINBOW_RGB24 = 40,  /**< [3] */
  ZO_FMT_RAINBOW_RGB32 = 50,  /**< [4] */
  ZO_FMT_GRAY_RGB565 = 60,    /**< [2] low byte first */
  ZO_FMT_IRON_RGB565 = 70,    /**< [2] */
  ZO_FMT_RAINBOW_RGB565 = 80, /**< [2] */

  /* Gains. In the same enumeration as the formats, because C++20 deprecates adding two. */
  ZO_GAIN_MANUAL = 0,    /**< the range of ZoLib_SetDecodeRange */
  ZO_GAIN_NONLINEAR = 1, /**< histogram equalisation over 32 bins */
  ZO_GAIN_LINEAR = 2     /**< the frame's extremes, linearly */
};

/** A calendar time, 16 bytes, little-endian where it is stored. */
typedef struct DateTime16 {
  uint16_t year;        /**< full year, e.g. 2026 */
  uint16_t month;       /**< 1 to 12 */
  uint16_t dayOfWeek;   /**< 0 (Sunday) to 6 */
  uint16_t day;         /**< day of month, 1 to 31 */
  uint16_t hour;        /**< 0 to 23 */
  uint16_t minute;      /**< 0 to 59 */
  uint16_t second;      /**< 0 to 60 */
  uint16_t millisecond; /**< 0 to 999 */
} DateTime16;

/**
 * Receives each raw frame, on the handle's own thread, one at a time.
 * @param dev the handle. @param frame the raw frame, in the driver's or the library's buffer; valid
 * until the callback returns. @param length bytes at frame, at least one whole raw frame. @param
 * user the pointer given at set-up. The result is ignored. A slow callback makes a camera lose
 * frames; a recording waits for it.
 */
typedef int (*ZoFrameCallback)(_ZoDev* dev, uint8_t* frame, uint64_t length, void* user);

/**
 * Tells that playback has reached the end of a recording, once for each time it does: on the
 * playback thread, or on the thread whose seek or step got there. Runs with the recording's lock
 * held: inside it, seeking and stopping answer 22, and pausing, resuming, setting the speed and
 * adding frames do nothing; to play in a loop, seek from another thread. The result is ignored.
 */
typedef int (*ZoEofCallback)(_ZoDev* dev, void* user);

/* ------------------------------------------------------------------------------------------------
 * Versions and errors
 * --------------------------------------------------------------------------------------------- */

/** Library version, one byte each of major, minor, patch: 0x010903. Thread: any. */
ZO_API uint32_t ZoLib_GetLibVersion(void);

/** Oldest camera firmware that is accepted: 0x100. Thread: any. */
ZO_API uint32_t ZoLib_GetSupportedFWVersion(void);

/** Text of a status, or "unknown". Static, never freed. Thread: any. */
ZO_API const char* ZoLib_GetErrorMessage(ZoStatus status);

/** The errno behind the failure of the last operation (see Errors), or of a frame that could not be
 * recorded since; 0 when there was none. Thread: handle. */
ZO_API uint32_t ZoLib_GetHostError(_ZoDev* dev);

/** The sensor error code (-128 to 127) that the last command ended with, else 0. Thread: handle. */
ZO_API int32_t ZoLib_GetSensorError(_ZoDev* dev);

/** The firmware error code that the last command ended with, else 0. Thread: handle. */
ZO_API uint8_t ZoLib_GetFirmwareError(_ZoDev* dev);

/* ------------------------------------------------------------------------------------------------
 * Finding, opening and releasing
 * --------------------------------------------------------------------------------------------- */

/**
 * Opens every camera of the family at /dev/video0 to /dev/video31, up to the first node without USB
 * identifiers.
 * @param devices receives a null-terminated array of new handles, or null; free the array with
 * ZoLib_ReleaseArray and each handle with ZoLib_Release. @param count receives their number.
 * @param hostError receives the errno of a failed open when nothing could be opened.
 * Nodes that the program holds already are opened once more. Opening product 0x6110 sets the
 * camera's clock to the host's local time.
 * @return 0; 3 no camera, or none whose firmware is new enough (array null, count 0); 13 nothing
 * opened and the last camera node failed, errno in hostError, nothing else written; 2 no memory,
 * nothing handed out; 20. Thread: setup.
 */
ZO_API ZoStatus ZoLib_GetDevices(_ZoDev*** devices, uint32_t* count, uint32_t* hostError);

/**
 * As ZoLib_GetDevices, but leaves alone the nodes of handles that the caller already holds and
 * tells which of those are gone.
 * @param removed receives the known handles whose nodes the scan did not reach, in byte-wise path
 * order, or null when there are none; handles without a node of their own (recordings) are among
 * them; free the array (not the handles) with ZoLib_ReleaseArray. May be null. @param removedCount
 * their number; may be null. @param known handles the caller holds; may be null. @param knownCount
 * their number.
 * @return as ZoLib_GetDevices; removed handles are reported with 0 and 3. Thread: setup.
 */
ZO_API ZoStatus ZoLib_GetDevicesDiff(_ZoDev*** devices, uint32_t* count, _ZoDev*** removed,
                                     uint32_t* removedCount, _ZoDev** known, int32_t knownCount,
                                     uint32_t* hostError);

/**
 * Opens the camera behind one device node.
 * @param path "/dev/videoN". @param dev receives the handle; untouched by a failure. @param
 * hostError receives, with 13, the errno of a failed open, 0 when a later step failed. Otherwise as
 * ZoLib_GetDevices.
 * @return 0; 3 no such node or no camera of the family; 5 its firmware is too old; 13 it could not
 * be opened or did not answer; 21 a path of 256 characters or more; 2; 20. Thread: setup.
 */
ZO_API ZoStatus ZoLib_GetDeviceByDeviceFile(const char* path, _ZoDev** dev, uint32_t* hostError);

/** Makes a handle that is bound to nothing. @return 0; 2; 20. Thread: any. */
ZO_API ZoStatus ZoLib_CreateWithoutConnect(_ZoDev** dev);

/**
 * Ends a handle: stops its stream, closes its node, frees all it owns. Does nothing for null and
 * inside the handle's own callback. No other thread may use the handle meanwhile or afterwards.
 * Thread: control.
 */
ZO_API void ZoLib_Release(_ZoDev* dev);

/** Frees an array handed out by enumeration, not the handles in it. Null is ignored. Thread: any.
 */
ZO_API void ZoLib_ReleaseArray(void* array);

/**
 * Stops the stream, asks the camera to reconnect, closes its node and waits up to 5 s for the node
 * to come back. Afterwards the handle is bound to nothing whatever the result; find the camera
 * again by enumeration. Commands in progress end; no other thread may begin a call meanwhile.
 * @return 0 the node is back; 3 it is not; 13 the camera could not be asked: the handle is then
 * unconnected and its node still open, unless the camera has vanished; 22 a recording, or inside
 * the handle's own callback: nothing changes; 20. Thread: control.
 */
ZO_API ZoStatus ZoLib_Reconnect(_ZoDev* dev);

/** 1 when the handle holds an open device node. Thread: handle. */
ZO_API uint32_t ZoLib_IsRealDevice(_ZoDev* dev);

/** 1 once the camera was found to have vanished while streaming. Thread: handle. */
ZO_API uint32_t ZoLib_GetDisconnected(_ZoDev* dev);

/* ------------------------------------------------------------------------------------------------
 * Identity and geometry (fixed once a handle is open)
 * --------------------------------------------------------------------------------------------- */

/** USB vendor ID: 0x7A11 of a camera, what a recording says, 0 of a handle bound to nothing.
 * Thread: handle. */
ZO_API uint16_t ZoLib_GetVendorID(_ZoDev* dev);

/** USB product ID: 0x6100 to 0x61FF of a camera. Thread: handle. */
ZO_API uint16_t ZoLib_GetProductID(_ZoDev* dev);

/** Hardware release number. Thread: handle. */
ZO_API uint16_t ZoLib_GetReleaseNumber(_ZoDev* dev);

/** Firmware version: 0x100 or more of a camera. Thread: handle. */
ZO_API uint16_t ZoLib_GetFirmwareVersion(_ZoDev* dev);

/** Serial number as one number. Thread: handle. */
ZO_API uint64_t ZoLib_GetSerialNumberAsUINT64(_ZoDev* dev);

/** Serial number as four words, least significant first. @param words room for 4. Thread: handle.
 */
ZO_API void ZoLib_GetSerialNumber(_ZoDev* dev, uint16_t* words);

/** Image width in pixels. Thread: handle. */
ZO_API uint16_t ZoLib_GetFrameWidth(_ZoDev* dev);

/** Image height in lines, without footer. Thread: handle. */
ZO_API uint16_t ZoLib_GetFrameHeight(_ZoDev* dev);

/** Lines that follow the image in a raw frame. Thread: handle. */
ZO_API uint16_t ZoLib_GetFooterLines(_ZoDev* dev);

/** Footer lines that carry telemetry. Thread: handle. */
ZO_API uint16_t ZoLib_GetTelemetryDataLines(_ZoDev* dev);

/** Telemetry revision that the model's frames carry: 9, 10 or 14. Thread: handle. */
ZO_API uint8_t ZoLib_GetSupportedTelemetryDataRevision(_ZoDev* dev);

/* ------------------------------------------------------------------------------------------------
 * Camera commands. One at a time per handle: each waits for the one in progress. A recording
 * answers 13 with EBADF.
 * --------------------------------------------------------------------------------------------- */

/**
 * Runs a camera command without data and waits until the camera has done it.
 * @param high, low OR-ed into the command word.
 * @return 0; 4; 10 or 11 camera error; 13; 1 unexpected answer; 20. There is no time-out: a camera
 * that stays busy is waited for until ZoLib_Invalidate or until it vanishes while streaming; then
 * 10, or 1 when it had not answered at all.
 * Thread: locked.
 */
ZO_API ZoStatus ZoLib_CommandRun(_ZoDev* dev, uint16_t high, uint16_t low);

/**
 * Reads data by a camera command. @param words receives count words, only on success; for command
 * 0xFF01 its first word, which must exist, is also the argument. Command 0xFF01 makes the handle
 * poll each ms instead of every 20 ms from then on. @param count 0 to 16.
 * @return as ZoLib_CommandRun; 21 count above 16. Thread: locked.
 */
ZO_API ZoStatus ZoLib_CommandGet(_ZoDev* dev, uint16_t high, uint16_t low, uint16_t* words,
                                 uint32_t count);

/**
 * Writes data by a camera command. Commands 0xFF02 to 0xFF04 make the handle poll each ms from then
 * on. @param words count words. @param count 0 to 16.
 * @return as ZoLib_CommandGet. Thread: locked.
 */
ZO_API ZoStatus ZoLib_CommandSet(_ZoDev* dev, uint16_t high, uint16_t low, const uint16_t* words,
                                 uint32_t count);

/** Reads the configuration word. @param config written on success. @return 0; 4; 13; 20. Thread:
 * locked. */
ZO_API ZoStatus ZoLib_GetConfig(_ZoDev* dev, uint16_t* config);

/** Writes the configuration word; bit 15 asks the camera to reconnect. @return 0; 4; 13; 20.
 * Thread: locked. */
ZO_API ZoStatus ZoLib_SetConfig(_ZoDev* dev, uint16_t config);

/** Reads the active state, 0 to 255. @param active written on success. @return 0; 4; 13; 20.
 * Thread: locked. */
ZO_API ZoStatus ZoLib_GetActive(_ZoDev* dev, uint32_t* active);

/** Switches products 0x6101 and 0x6103 to their high gain, by two commands: after a failure the
 * first one may be done. @return as ZoLib_CommandSet; 26 for other products, nothing sent. Thread:
 * locked. */
ZO_API ZoStatus ZoLib_EnableHighGainMode(_ZoDev* dev);

/* ------------------------------------------------------------------------------------------------
 * Streaming
 * --------------------------------------------------------------------------------------------- */

/**
 * Registers the frame callback and chooses the frame rate.
 * @param highFrameRate 1: 25.9 frames per second on products 0x6100 and 0x6101; otherwise 8.63.
 * @param callback receives the frames; null: frames are dropped (a recording still gets them).
 * @param user handed to the callback. Replace a callback only while the stream is stopped: a
 * running one may see the old callback with the new pointer. A recording, which got its callback
 * when it was opened, only changes its frame rate. @return 0; 4; 20. Thread: control.
 */
ZO_API ZoStatus ZoLib_CaptureSetup(_ZoDev* dev, uint32_t highFrameRate, ZoFrameCallback callback,
                                   void* user);

/**
 * Starts the stream, or playback, and its thread. A failed start undoes every step it made.
 * @return 0, also when it already runs; 4; 13 a driver request failed (errno in
 * ZoLib_GetHostError); 2 too few buffers or no thread; 22 a recording that was stopped before, or
 * inside the handle's own callback while another thread stops it; 20. Thread: control.
 */
ZO_API ZoStatus ZoLib_CaptureStart(_ZoDev* dev);

/**
 * Ends the stream; when it returns 0 no callback runs any more. A recording is closed by it for
 * good. After ZoLib_Invalidate, and once the camera has vanished, it does nothing (4): then
 * ZoLib_CaptureRelease ends the stream.
 * @return 0, also when nothing runs; 4; 22 inside the handle's own callback; 23 a recording could
 * not be closed; 20. Thread: control.
 */
ZO_API ZoStatus ZoLib_CaptureStop(_ZoDev* dev);

/** Ends the stream, also of a camera that vanished, and forgets what ZoLib_CaptureSetup registered.
 * Does nothing inside the handle's own callback. Thread: control. */
ZO_API void ZoLib_CaptureRelease(_ZoDev* dev);

/** Frame rate = numerator / denominator frames per second; 0 / 0 before ZoLib_CaptureSetup (the
 * stream then runs at the driver's rate), what the file says of a recording, 0 / 1 for a null
 * handle. Thread: handle. */
ZO_API uint32_t ZoLib_GetFrameRateNumerator(_ZoDev* dev);

/** See ZoLib_GetFrameRateNumerator. Thread: handle. */
ZO_API uint32_t ZoLib_GetFrameRateDenominator(_ZoDev* dev);

/* ------------------------------------------------------------------------------------------------
 * Decoding. For each frame: ZoLib_Decode once per wanted format, then ZoLib_FinishDecode.
 * --------------------------------------------------------------------------------------------- */

/**
 * Checks that a raw frame fits the handle's model and takes over its temperature resolution.
 * @param raw one whole raw frame. @return 0; 4; 22 another telemetry revision, or the model has no
 * temperature resolution; 20. Thread: locked.
 */
ZO_API ZoStatus ZoLib_DecodeCheck(_ZoDev* dev, const uint8_t* raw);

/**
 * Turns a raw frame into an image. The first call for a frame decodes, further calls with other
 * formats reuse its temperature image until ZoLib_FinishDecode, whatever raw frame they name.
 * @param raw one whole raw frame. @param out receives frameHeight lines of frameWidth pixels.
 * @param outSize bytes at out. @param stride bytes from one output line to the next, 0 = packed;
 * formats 0 and 1 ignore it. @param format ::ZO_FMT_RAW16 and following.
 * @return 0; 4; 22 the frame does not fit, or (not format 0) cannot be decoded: no flat-field
 * correction yet; 6 out is too small; 21 no such format, or stride below a line; 2; 20. Nothing is
 * written on failure. Thread: locked.
 */
ZO_API ZoStatus ZoLib_Decode(_ZoDev* dev, const uint8_t* raw, void* out, uint32_t outSize,
                             uint32_t stride, uint32_t format);

/** Ends the current frame: the next ZoLib_Decode decodes afresh. @return 0; 20. Thread: locked. */
ZO_API ZoStatus ZoLib_FinishDecode(_ZoDev* dev);

/** The telemetry of a raw frame: the first byte behind its image. Not checked. Thread: any. */
ZO_API const uint8_t* ZoLib_GetTelemetryData(_ZoDev* dev, const uint8_t* raw);

/** Units per kelvin of the last checked frame's temperature image: 100 or 10; 0 before the first
 * one, on models whose frames tell it. Thread: handle. */
ZO_API int32_t ZoLib_GetLastTempResolution(_ZoDev* dev);

/** Sets the temperature range of the manual gain, in hundredths of a kelvin; default 28914 to
 * 32114. Not validated: a span below one image unit counts as one. @return 0; 20. Thread: locked.
 */
ZO_API ZoStatus ZoLib_SetDecodeRange(_ZoDev* dev, uint32_t low, uint32_t high);

/** Reads the range of the manual gain. Thread: handle. */
ZO_API void ZoLib_GetDecodeRange(_ZoDev* dev, uint32_t* low, uint32_t* high);

/** Circumference correction: lifts the border of the picture, which gets less of the lens's light.
 * Default 1 on the models that have it (those of telemetry revision 9), always 0 on others. Thread:
 * handle. */
ZO_API uint32_t ZoLib_GetCircumferenceCorrection(_ZoDev* dev);

/** Switches circumference correction; ignored by models without it. Thread: handle. */
ZO_API void ZoLib_SetCircumferenceCorrection(_ZoDev* dev, uint32_t on);

/** Noise filter switch; default 1. Thread: handle. */
ZO_API uint32_t ZoLib_GetNoiseFilter(_ZoDev* dev);

/** See ZoLib_GetNoiseFilter. Thread: handle. */
ZO_API void ZoLib_SetNoiseFilter(_ZoDev* dev, uint32_t on);

/** Noise filter threshold, 1 to 100; default 50. Neighbours that differ by less are averaged: in
 * image units; on models that send temperatures three times that at resolution 100, a third at 10.
 * Thread: handle. */
ZO_API uint16_t ZoLib_GetNoiseFilterThreshold(_ZoDev* dev);

/** Sets the threshold; 0 becomes 1, above 100 becomes 100. Thread: handle. */
ZO_API void ZoLib_SetNoiseFilterThreshold(_ZoDev* dev, uint16_t threshold);

/** Lens undistortion switch; default 1 on product 0x6103, else 0. Thread: handle. */
ZO_API uint32_t ZoLib_GetUndistortion(_ZoDev* dev);

/** See ZoLib_GetUndistortion. Thread: handle. */
ZO_API void ZoLib_SetUndistortion(_ZoDev* dev, uint32_t on);

/** Reads the correction for a protective window in front of the camera: 1 = on; default 0. Thread:
 * handle. */
ZO_API void ZoLib_GetWindowCorrection(_ZoDev* dev, uint32_t* value);

/** Sets the window correction. 1 corrects, except on product 0x6120; any nonzero value also
 * switches circumference correction off and lets the non-linear gain damp dominant temperatures.
 * Thread: handle. */
ZO_API void ZoLib_SetWindowCorrection(_ZoDev* dev, uint32_t value);

/** Nonzero: images are turned by 180 degrees; default 0. Thread: handle. */
ZO_API uint32_t ZoLib_GetUpsideDown(_ZoDev* dev);

/** See ZoLib_GetUpsideDown. Thread: handle. */
ZO_API void ZoLib_SetUpsideDown(_ZoDev* dev, uint32_t on);

/** Columns at the left edge that show the reference body: 20 on product 0x6120, else 0. Thread:
 * handle. */
ZO_API uint16_t ZoLib_GetRefTempRegion(_ZoDev* dev);

/**
 * Shows every decoded frame as its difference to a reference image, plus 27315 (0 degrees Celsius
 * in 1/100 K, whatever the resolution); needs a table, too. Differences beyond 16 bits are cut; raw
 * counts are never subtracted from. 0 switches off and discards the table. Thread: locked.
 */
ZO_API void ZoLib_SetSubtractionTemp(_ZoDev* dev, uint32_t on);

/** See ZoLib_SetSubtractionTemp; default 0. Thread: locked. */
ZO_API uint32_t ZoLib_GetSubtractionTemp(_ZoDev* dev);

/**
 * Installs the reference image; does not switch subtraction on. @param table a temperature image as
 * ZoLib_GetTempTable gives it; copied. @param size bytes at table.
 * @return 0; 6 less than an image; 2; 20. Thread: locked.
 */
ZO_API ZoStatus ZoLib_SetSubtractionTempTable(_ZoDev* dev, const void* table, uint32_t size);

/**
 * Copies the temperature image of the frame in hand, after every stage. @param out receives
 * frameWidth x frameHeight 16-bit values in 1/resolution kelvin. @param size bytes at out.
 * @return 0; 6 out too small; 7 no frame decoded since the last ZoLib_FinishDecode; 20. Thread:
 * locked.
 */
ZO_API ZoStatus ZoLib_GetTempTable(_ZoDev* dev, void* out, uint32_t size);

/** Nonzero: pictures and format 1 show raw counts instead of temperatures. Thread: locked. */
ZO_API uint32_t ZoLib_GetColorizeByRaw(_ZoDev* dev);

/** See ZoLib_GetColorizeByRaw; default 0. @return 0; 20. Thread: locked. */
ZO_API ZoStatus ZoLib_SetColorizeByRaw(_ZoDev* dev, uint32_t on);

/* ------------------------------------------------------------------------------------------------
 * Reflection correction. A fixed pattern of reflections is learnt from frames of a uniform scene
 * and taken away from every later image. A correction image is "ZORC", two reserved bytes, the
 * product ID, then one signed 16-bit value per pixel in 1/resolution kelvin, all little-endian; in
 * memory and as a file alike. It fits the orientation it was made in.
 * --------------------------------------------------------------------------------------------- */

/** Starts learning from every frame that is decoded; meanwhile no correction is applied and decoder
 * A leaves the window correction out. @return 0, also when it already runs; 2; 21 null handle.
 * Thread: locked. */
ZO_API ZoStatus ZoLib_ReflectCorrGenStart(_ZoDev* dev);

/**
 * Ends learning, with or without a result. @param image receives a new correction image, to be
 * freed with ZoLib_ReflectCorrDataRelease. @param size receives its bytes.
 * @return 0; 22 not learning, or no frame was decoded meanwhile; 2; 21 a null argument: nothing
 * changes. Thread: locked.
 */
ZO_API ZoStatus ZoLib_ReflectCorrGenStop(_ZoDev* dev, uint16_t** image, uint32_t* size);

/** Frees a correction image. Null is ignored. Thread: any. */
ZO_API void ZoLib_ReflectCorrDataRelease(void* image);

/**
 * Installs a correction image, or removes the installed one. @param image copied; null removes.
 * @param size its bytes. @return 0; 21 wrong size; 24 no correction image; 26 made by another
 * product; 2; 20. A failure keeps what is installed. Thread: locked.
 */
ZO_API ZoStatus ZoLib_SetReflectCorrData(_ZoDev* dev, const void* image, uint32_t size);

/**
 * Installs a correction image from a file, or removes the installed one. @param path null removes.
 * @return 0; 4; 23 not a regular file, or it cannot be read; 24 wrong size or no correction image;
 * 26 made by another product; 2; 20. A failure keeps what is installed. Thread: locked.
 */
ZO_API ZoStatus ZoLib_SetReflectCorrFile(_ZoDev* dev, const char* path);

/* ------------------------------------------------------------------------------------------------
 * Pictures: gains and palettes
 * --------------------------------------------------------------------------------------------- */

/** Byte order of 24 and 32-bit pixels: nonzero (default 1) B, G, R; zero R, G, B. Thread: handle.
 */
ZO_API uint32_t ZoLib_GetRGBOrder(_ZoDev* dev);

/** See ZoLib_GetRGBOrder. Thread: handle. */
ZO_API void ZoLib_SetRGBOrder(_ZoDev* dev, uint32_t order);

/** Limits the temperatures that the automatic gains spread out, in hundredths of a kelvin; default
 * 0 to 70315. A negative low becomes 0. @return 0; 20. Thread: locked. */
ZO_API ZoStatus ZoLib_SetAGCRange(_ZoDev* dev, int32_t low, int32_t high);

/** Reads the range of the automatic gains. Thread: handle. */
ZO_API void ZoLib_GetAGCRange(_ZoDev* dev, int32_t* low, int32_t* high);

/** Chooses the pixels that the automatic gains look at. @param mask frameWidth x frameHeight
 * values, row by row; nonzero counts. Copied. The columns of the reference body never
 * count. The table that ZoLib_FileTimeBasedAGCSetup makes counts all pixels between the extremes of
 * these. @return 0; 21 no pixel counts or the handle has no geometry, the old mask stays; 2 the
 * handle's mask could not be made when it was opened; 20. Thread: locked. */
ZO_API ZoStatus ZoLib_SetAGCROIMask(_ZoDev* dev, const uint32_t* mask);

/** Whether the automatic gains of a recording use its recording-wide statistics. Thread: handle. */
ZO_API uint32_t ZoLib_GetTimeBasedAGC(_ZoDev* dev);

/** See ZoLib_GetTimeBasedAGC; default 0. Thread: handle. */
ZO_API void ZoLib_SetTimeBasedAGC(_ZoDev* dev, uint32_t on);

/** Number of entries of every palette: 1024. */
ZO_API extern const uint32_t g_colTabSize;

/** Number of palette entries, 1024 for every format code. Thread: any. */
ZO_API uint32_t ZoLib_GetColorTableSize(uint32_t format);

/** Copies the palette of a format code. @param table room for 1024 entries 0x00RRGGBB, coldest
 * first; a grey ramp (i, at most 255) for grey and unknown codes. Thread: any. */
ZO_API void ZoLib_GetColorTable(uint32_t format, uint32_t* table);

/** The code of the same picture with manual gain, or -1. Thread: any. */
ZO_API int32_t ZoLib_GetManualGainType(int32_t format);

/** The code of the same picture with non-linear automatic gain, or -1. Thread: any. */
ZO_API int32_t ZoLib_GetNonLinearAutoGainType(int32_t format);

/** The code of the same picture with linear automatic gain, or -1. Thread: any. */
ZO_API int32_t ZoLib_GetLinearAutoGainType(int32_t format);

/** The code of the same picture with the default automatic gain (non-linear), or -1. Thread: any.
 */
ZO_API int32_t ZoLib_GetAutoGainType(int32_t format);

/**
 * Expands an 8-bit grey image; every byte of a pixel, the fourth too, gets the grey value.
 * @param src width x height bytes. @param dst receives the image; must not overlap src. @param
 * dstSize bytes at dst.
 * @param stride bytes from one output line to the next, 0 = packed. @param bytesPerPixel 3 or 4.
 * @return 0; 6 dst too small (stride x height; checked first); 21 bytesPerPixel or stride below a
 * line; 20. Thread: any.
 */
ZO_API ZoStatus ZoLib_Gray8ToRGB(const uint8_t* src, uint32_t width, uint32_t height, uint8_t* dst,
                                 uint32_t dstSize, uint32_t stride, int32_t bytesPerPixel);

/**
 * Enlarges a colour image to three times its width and height: each pixel becomes a block of nine
 * that blends it with its neighbours, in integers. @param src height packed lines of width pixels.
 * @param dst receives 3 x height packed lines of 3 x (width - leftMargin) pixels; a fourth byte per
 * pixel is left as it was; must not overlap src. @param dstSize bytes at dst. @param bytesPerPixel
 * 3 or 4. @param leftMargin columns at the left that are left out, e.g. those of the reference
 * body.
 * @return 0; 21 bytesPerPixel, a leftMargin not below width, or sizes beyond 64 bits; 6 dst too
 * small; 20; then nothing is written. Thread: any.
 */
ZO_API ZoStatus ZoLib_Magnify3(const uint8_t* src, uint32_t width, uint32_t height, uint8_t* dst,
                               uint32_t dstSize, uint32_t bytesPerPixel, uint32_t leftMargin);

/* ------------------------------------------------------------------------------------------------
 * Recording. A file holds the raw frames as they arrive, so that it decodes to the same pictures.
 * --------------------------------------------------------------------------------------------- */

/**
 * Creates a recording of a camera, header only, with the handle's frame rate: call
 * ZoLib_CaptureSetup before. @param path created or truncated.
 * @return 0; 4; 22 the handle has a file already; 23 it cannot be created or written; 2; 20.
 * Thread: control.
 */
ZO_API ZoStatus ZoLib_FileWriteSetup(_ZoDev* dev, const char* path);

/**
 * As ZoLib_FileWriteSetup, for frames that the caller hands in with ZoLib_FileWritePassiveAdd.
 * @param rateNumerator, rateDenominator the frame rate that the file tells, at most 999999999; it
 * replaces the handle's own, and both become 0 after a failure other than 22. @return as
 * ZoLib_FileWriteSetup; 21 a rate too large. Thread: control.
 */
ZO_API ZoStatus ZoLib_FileWritePassiveSetup(_ZoDev* dev, const char* path, uint32_t rateNumerator,
                                            uint32_t rateDenominator);

/** Starts recording every captured frame, before the frame callback sees it; frame numbers and
 * times begin anew, also in the middle of a file. A frame that cannot be written is dropped as in
 * ZoLib_FileWritePassiveAdd: look at ZoLib_GetHostError now and then. Of a passive recording it
 * only begins numbers and times anew. @return 0; 4; 22 nothing is set up; 20. Thread: control.
 */
ZO_API ZoStatus ZoLib_FileWriteStart(_ZoDev* dev);

/** Ends and closes a recording. Releasing the handle does the same. @return 0; 4; 22 nothing is
 * recorded; 23 closing failed; 20. Thread: control. */
ZO_API ZoStatus ZoLib_FileWriteStop(_ZoDev* dev);

/**
 * Appends a frame to a passive recording. A frame that is none of the model's or too short is
 * dropped, and so is one that cannot be written whole: the file then ends with the record before
 * it, and ZoLib_GetHostError tells the errno until the next operation clears it. Frame numbers and
 * times go on from before unless ZoLib_FileWriteStart was called. @param frame a raw frame. @param
 * length its bytes; those beyond a raw frame are left out. @return 0 whatever happened to the
 * frame;
 * 20. Thread: control.
 */
ZO_API ZoStatus ZoLib_FileWritePassiveAdd(_ZoDev* dev, const uint8_t* frame, uint32_t length);

/* ------------------------------------------------------------------------------------------------
 * Playback. A recording opens into a handle that is used like a camera: ZoLib_CaptureStart and
 * ZoLib_CaptureStop, the same callbacks, the same decoding. A stop closes the file: it is final.
 * --------------------------------------------------------------------------------------------- */

/**
 * Opens a recording. @param dev receives the handle; untouched by a failure. @param frameCallback
 * receives the frames, paced by their times, on a thread of the handle. @param eofCallback is
 * called at the end. @param user handed to both. @return 0; 21 dev or a callback is null; 23 the
 * file cannot be opened or read; 24 it is no recording, or an empty one; 2; 20. Thread: any.
 */
ZO_API ZoStatus ZoLib_FileReadSetup(_ZoDev** dev, const char* path, ZoFrameCallback frameCallback,
                                    ZoEofCallback eofCallback, void* user);

/** Opens a recording whose frames the caller fetches one by one with ZoLib_FileReadPassiveNext,
 * without thread and pacing, after ZoLib_CaptureStart. @return as ZoLib_FileReadSetup. Thread: any.
 */
ZO_API ZoStatus ZoLib_FileReadPassiveSetup(_ZoDev** dev, const char* path);

/**
 * Fetches the next frame of a passive recording. @param buffer receives one raw frame. @param size
 * bytes at buffer.
 * @return 0, also at the end (ZoLib_GetFileReadEOF is then 1) and while it is not started; 6 buffer
 * too small; 23, 24 a file failure, again at every later call; 22 a thread plays it; 20. Thread:
 * control.
 */
ZO_API ZoStatus ZoLib_FileReadPassiveNext(_ZoDev* dev, uint8_t* buffer, uint32_t size);

/** Asks playback to pause; the frame in hand is dropped, or one more callback still runs. Nothing
 * for passive recordings. Thread: locked. */
ZO_API void ZoLib_FileReadPause(_ZoDev* dev);

/** Goes on with the next frame, at once. Nothing unless a thread plays. Thread: locked. */
ZO_API void ZoLib_FileReadResume(_ZoDev* dev);

/**
 * Moves started playback to the last frame at or before a time, which is delivered next.
 * @param timeOffset ms, as ZoLib_GetFileCurrentTimeOffset tells them. @return 0; 4; 22 not started,
 * or inside the end-of-file callback; 25 at or beyond the last frame: playback is at the end, and
 * the end-of-file callback was called; 24 a damaged record, which ZoLib_GetFileError keeps telling;
 * 23; 20. Thread: locked.
 */
ZO_API ZoStatus ZoLib_FileReadSeek(_ZoDev* dev, uint64_t timeOffset);

/**
 * Makes one gain for a whole recording from a scan of its frames; ZoLib_SetTimeBasedAGC switches it
 * on. Playback pauses meanwhile. Finish a frame in hand first. @param linear nonzero: the range of
 * the linear gain, zero: the table of the non-linear one. @param step every step-th frame. @param
 * from, to time range in ms; from counts with a step of 2 or more.
 * @return 0; 4; 21 step 0; 22 no recording, or stopped, or inside the handle's callback; 6 no frame
 * in range decodes; 2; 23; 20. What was valid stays so, but a failing table scan discards the
 * table. Thread: control; do not seek or stop meanwhile.
 */
ZO_API ZoStatus ZoLib_FileTimeBasedAGCSetup(_ZoDev* dev, uint32_t linear, uint32_t step,
                                            uint64_t from, uint64_t to);

/**
 * Writes a frame as text: a column header, its telemetry, one line of numbers per image row.
 * @param path created or truncated; null: standard output. @param image frameWidth x frameHeight
 * values. @param imageBytes its bytes. @param telemetry the frame's footer. @param dateTime eight
 * words of a DateTime16; null: now. @param asTemperature nonzero: kelvin with two decimals.
 * @return 0, also when the file could not be written to its end; 21 null handle, image or
 * telemetry; 6 image too small; 23 the file cannot be created; 2. Thread: handle.
 */
ZO_API ZoStatus ZoLib_DumpFrame(_ZoDev* dev, const char* path, const uint16_t* image,
                                uint32_t imageBytes, const uint8_t* telemetry,
                                const uint16_t* dateTime, uint32_t asTemperature);

/* ------------------------------------------------------------------------------------------------
 * Recordings: read-outs
 * --------------------------------------------------------------------------------------------- */

/** Time offset of the last frame in ms. Thread: handle. */
ZO_API uint64_t ZoLib_GetFileTimeLength(_ZoDev* dev);

/** Time offset of the first frame in ms. Thread: handle. */
ZO_API uint64_t ZoLib_GetFileHeadTimeOffset(_ZoDev* dev);

/** Time offset of the frame last delivered, or last looked at by a seek, in ms. Thread: handle. */
ZO_API uint64_t ZoLib_GetFileCurrentTimeOffset(_ZoDev* dev);

/** Number of the last frame. Thread: handle. */
ZO_API uint32_t ZoLib_GetFileFrames(_ZoDev* dev);

/** Number of that frame. Thread: handle. */
ZO_API uint32_t ZoLib_GetFileCurrentFrameNumber(_ZoDev* dev);

/** Local time at which the first frame was recorded. Thread: handle. */
ZO_API void ZoLib_GetFileHeadDateTime(_ZoDev* dev, DateTime16* time);

/** Local time at which that frame was recorded. Thread: handle. */
ZO_API void ZoLib_GetFileCurrentDateTime(_ZoDev* dev, DateTime16* time);

/** 1 from the request to pause until playback is resumed or stopped. Thread: handle. */
ZO_API uint32_t ZoLib_GetFileReadPaused(_ZoDev* dev);

/** 1 once the end of the recording was reached, until a seek or a start. Thread: handle. */
ZO_API uint32_t ZoLib_GetFileReadEOF(_ZoDev* dev);

/** Status of the failure of reading or seeking that ended playback; 0 when there was none. Stays
 * until the next start; the errno behind a 23 stays in ZoLib_GetHostError until the next operation
 * that has one. Thread: handle. */
ZO_API uint32_t ZoLib_GetFileError(_ZoDev* dev);

/** Playback speed factor; default 1.0, 0.0 = as fast as possible. Thread: handle. */
ZO_API double ZoLib_GetFileReadSpeed(_ZoDev* dev);

/** Sets the speed; what is not at least 0 is ignored, and so is a call inside the end-of-file
 * callback. The frame that is waited for is dropped; the next one comes at once. Thread: locked. */
ZO_API void ZoLib_SetFileReadSpeed(_ZoDev* dev, double speed);

#ifdef __cplusplus
} /* extern "C" */
#endif

/* ------------------------------------------------------------------------------------------------
 * Functions whose exported names encode their parameter types
 * --------------------------------------------------------------------------------------------- */

/** Marks the handle unconnected: commands in progress end at their next poll, later operations
 * answer 4. A stream goes on until ZoLib_CaptureRelease, the node stays open until ZoLib_Release.
 * Null is ignored. Thread: handle. */
ZO_API void ZoLib_Invalidate(_ZoDev* dev) ZO_ENCODED("_Z16ZoLib_InvalidateP6_ZoDev");

/** Copies the product name as strncpy does: at most size bytes, zero-filled, unterminated when it
 * fills the buffer; 63 bytes always suffice. Empty for a recording and a null handle. A null buffer
 * or a size below 1 writes nothing. Thread: handle. */
ZO_API void ZoLib_GetDeviceName(_ZoDev* dev, char* buffer, int32_t size)
    ZO_ENCODED("_Z19ZoLib_GetDeviceNameP6_ZoDevPci");

/** Copies the wide product name with its terminator, at most size units; always empty on Linux. A
 * null buffer or a size below 1 writes nothing. Thread: handle. */
ZO_API void ZoLib_GetDeviceNameW(_ZoDev* dev, uint16_t* buffer, int32_t size)
    ZO_ENCODED("_Z20ZoLib_GetDeviceNameWP6_ZoDevPti");

#undef ZO_ENCODED
#endif /* ZOCAM_ZOCAM_H */
