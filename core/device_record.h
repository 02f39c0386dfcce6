// The device record behind every handle: one camera or one recording.
//
// The record is plain memory at the bottom of the library; every folder includes it, and each group
// of fields says which one fills it. Owned pointers free what they own when the record is destroyed
// (ZoLib_Release); the initialisers below are the values of a new record.
//
// Locks: commandLock serialises camera commands, decodeLock serialises decoding and the settings
// that say so, fileLock guards the state of a recording. No lock is taken while another is held.
// A SharedField may be touched by any thread without a lock. Every other field is guarded by the
// lock named beside it or beside its group, or is written only while no other thread can have the
// handle, or belongs to the thread that starts and stops the stream (creating and joining the
// stream's thread orders what both touch).
#ifndef ZOCAM_CORE_DEVICE_RECORD_H
#define ZOCAM_CORE_DEVICE_RECORD_H

#include <pthread.h>

#include <array>
#include <bit>
#include <cstdint>
#include <memory>

#include "zocam/zocam.h"

#include "core/file_access.h"
#include "core/gain_segment.h"
#include "core/locks.h"
#include "core/malloc_ptr.h"
#include "core/moving_average.h"
#include "core/shared_field.h"
#include "decode/undistortion.h"

// Called with every captured frame before the application's callback; the result is ignored.
using ZoPreProcHook = int (*)(_ZoDev* dev, uint8_t* frame, uint64_t length);

// Turns the image part of a raw frame into a temperature image; runs under decodeLock.
using TempDecoder = ZoStatus (*)(_ZoDev* dev, unsigned char* raw, unsigned char* out,
                                 unsigned int outSize);

// What a camera tells of itself, byte for byte as it sends it and as recordings keep it.
struct IdentityBlock {
  uint16_t vendorId;
  uint16_t productId;
  uint16_t releaseNumber;
  uint16_t firmwareVersion;
  uint16_t serialWords[4];
  uint8_t infoFlags;
  uint8_t reserved[7];
};
static_assert(sizeof(IdentityBlock) == 24);

// One driver buffer, mapped.
struct CaptureBuffer {
  void* address;
  uint64_t length;
};

// What a recording keeps beside each frame.
struct FrameTrailer {
  uint64_t timeOffset;  // ms since the recording's first frame
  uint32_t frameNumber;
  DateTime16 dateTime;  // local time
};

// The trailer that accessors read while playback replaces it: each field is whole, the fields may
// belong to neighbouring frames.
class SharedTrailer {
 public:
  void Store(const FrameTrailer& trailer) {
    timeOffset = trailer.timeOffset;
    frameNumber = trailer.frameNumber;
    const auto halves = std::bit_cast<std::array<uint64_t, 2>>(trailer.dateTime);
    date_ = halves[0];
    clock_ = halves[1];
  }
  DateTime16 dateTime() const {
    return std::bit_cast<DateTime16>(std::array<uint64_t, 2>{date_, clock_});
  }

  SharedField<uint64_t> timeOffset;
  SharedField<uint32_t> frameNumber;

 private:
  SharedField<uint64_t> date_;
  SharedField<uint64_t> clock_;
};

// Which frames a recording-wide gain was made of.
struct ScanKey {
  uint32_t step;
  uint64_t from;
  uint64_t to;

  bool operator==(const ScanKey&) const = default;
};

// What exists while a recording is played.
struct PlaybackContext {
  MallocPtr<uint8_t[]> frame;
  MallocPtr<uint8_t[]> trailerLine;
  uint32_t timeBase = 0;  // low bits of SteadyTimeMs when the anchor was shown
};

// Column and row of a reference point.
struct RefPoint {
  uint16_t column;
  uint16_t row;
};

struct RefAverages {
  std::array<MovingAvg, 3> sensor;
  std::array<MovingAvg, 3> measured;
};

inline constexpr uint32_t kExtInfoBytes = 128;

struct _ZoDev {
  // Platform (device/, capture/). The capture thread reads the callbacks and the buffers.
  SharedField<int32_t> deviceFd = -1;
  SharedField<ZoFrameCallback> frameCallback;
  SharedField<void*> callbackUser;
  SharedField<ZoPreProcHook> preProcHook;
  pthread_t captureThread{};
  MallocPtr<CaptureBuffer[]> captureBuffers;  // exists until the thread is joined
  uint32_t captureBufferCount = 0;

  // Names (device/)
  char devicePath[256] = {};
  char productName[256] = {};
  uint16_t wideProductName[256] = {};

  // Identity (device/, file/)
  IdentityBlock identityBlock{};
  std::array<uint8_t, kExtInfoBytes> extInfo{};
  uint64_t serialNumber = 0;

  // Connection (device/, capture/)
  SharedField<uint32_t> connected;
  uint32_t commandPollMs = 20;  // commandLock, in functions that the checker does not follow
  SharedField<uint32_t> disconnected;
  std::unique_ptr<PMutex> commandLock;

  // Capture (capture/)
  SharedField<uint32_t> frameRateDenominator;
  SharedField<uint32_t> frameRateNumerator;
  SharedField<uint32_t> capturing;

  // Geometry (core/model_profile.cc)
  uint32_t frameWidth = 0;
  uint32_t frameHeight = 0;
  uint32_t footerLines = 0;
  uint32_t telemetryLines = 0;
  uint32_t pixelCount = 0;
  uint32_t imageBytes = 0;
  uint32_t rawFrameBytes = 0;

  // Errors (core/status.cc)
  SharedField<uint32_t> hostError;
  SharedField<int32_t> sensorError;
  SharedField<uint8_t> firmwareError;

  // Decoding (decode/): buffers and per-frame state under decodeLock
  std::unique_ptr<PMutex> decodeLock;
  MallocPtr<uint16_t[]> tempImage ZO_GUARDED_BY(*decodeLock);
  bool frameDecoded ZO_GUARDED_BY(*decodeLock) = false;
  MallocPtr<uint16_t[]> scratchImage ZO_GUARDED_BY(*decodeLock);
  MallocPtr<uint8_t[]> correctedFrame
      ZO_GUARDED_BY(*decodeLock);  // the raw frame after circumference correction
  MallocPtr<double[]> circumferenceTable
      ZO_GUARDED_BY(*decodeLock);  // built by the first frame that needs it
  uint32_t subtractionTemp ZO_GUARDED_BY(*decodeLock) = 0;
  MallocPtr<uint16_t[]> subtractionTable ZO_GUARDED_BY(*decodeLock);  // null until one is installed
  SharedField<uint32_t> decodeRangeLow = 28914;                       // 1/100 K
  SharedField<uint32_t> decodeRangeHigh = 32114;                      // 1/100 K
  SharedField<uint32_t> circumferenceCorrection;
  uint32_t circumferenceCorrectionSupported = 0;
  SharedField<uint32_t> noiseFilter = 1;
  SharedField<uint16_t> noiseFilterThreshold = uint16_t{50};
  uint32_t colorizeByRaw ZO_GUARDED_BY(*decodeLock) = 0;
  TempDecoder tempDecoder = nullptr;
  uint16_t refTempRegion = 0;
  uint8_t telemetryRevision = 0;
  SharedField<int32_t> tempResolution;  // written under decodeLock
  uint32_t telemetryCorrectionFlag ZO_GUARDED_BY(*decodeLock) = 0;
  std::array<RefPoint, 3> refPoints{};
  RefAverages refAverages ZO_GUARDED_BY(*decodeLock);
  uint32_t refTempEnabled = 1;
  bool driftBaselineCaptured ZO_GUARDED_BY(*decodeLock) =
      false;                                              // since the last flat-field correction
  double driftBaseline ZO_GUARDED_BY(*decodeLock) = 0.0;  // kelvin; 0.0: none yet
  SharedField<uint32_t> upsideDown;
  SharedField<uint32_t> windowCorrection;
  std::unique_ptr<MovingAvg> windowTempAvg ZO_GUARDED_BY(*decodeLock);
  SharedField<uint32_t> undistortionOn;
  double undistortionStrength = 0.0;
  std::unique_ptr<Undistortion> undistortion ZO_GUARDED_BY(*decodeLock);
  bool reflectGenActive ZO_GUARDED_BY(*decodeLock) = false;
  MallocPtr<double[]> reflectGenSums ZO_GUARDED_BY(*decodeLock);  // exist while the generation runs
  uint32_t reflectGenFrames ZO_GUARDED_BY(*decodeLock) = 0;
  MallocPtr<uint16_t[]> reflectCorrData ZO_GUARDED_BY(*decodeLock);

  // Rendering (render/): under decodeLock
  MallocPtr<uint16_t[]> workImage ZO_GUARDED_BY(*decodeLock);  // display levels, always below 1024
  MallocPtr<uint32_t[]> agcMask ZO_GUARDED_BY(*decodeLock);
  SharedField<uint32_t> agcMaskIsFull;        // no weight is 0: the mask need not be read
  SharedField<int32_t> agcRangeLow = 0;       // 1/100 K
  SharedField<int32_t> agcRangeHigh = 70315;  // 1/100 K
  SharedField<uint32_t> rgbOrder = 1;

  // Recording-wide gain (filled by file/, read by render/): under decodeLock
  SharedField<uint32_t> timeBasedAGC;
  bool tbLinearValid ZO_GUARDED_BY(*decodeLock) = false;
  uint16_t tbLinearMin ZO_GUARDED_BY(*decodeLock) = 0;
  uint16_t tbLinearMax ZO_GUARDED_BY(*decodeLock) = 0;
  bool tbHistValid ZO_GUARDED_BY(*decodeLock) = false;
  uint16_t tbHistMin ZO_GUARDED_BY(*decodeLock) = 0;
  uint16_t tbHistMax ZO_GUARDED_BY(*decodeLock) = 0;
  MallocPtr<GainSegment[]> tbHistTable ZO_GUARDED_BY(*decodeLock);

  ScanKey tbLinearKey ZO_GUARDED_BY(*decodeLock){};
  ScanKey tbHistKey ZO_GUARDED_BY(*decodeLock){};

  // Recording and playback (file/): under fileLock. The stream itself is opened and closed by the
  // thread that controls the handle, which may therefore look whether there is one.
  File fileStream;             // the recording that is written or played
  bool fileIsWritten = false;  // it is written
  bool isFileHandle = false;   // the handle plays a recording; set when it is opened
  SharedField<uint32_t> filePassive;
  bool fileWriteTorn ZO_GUARDED_BY(*fileLock) = false;  // something stands behind fileWriteEnd
  int64_t fileWriteEnd ZO_GUARDED_BY(*fileLock) = 0;    // behind the last whole record
  uint64_t fileWriteStartTime ZO_GUARDED_BY(*fileLock) =
      0;  // of SteadyTimeWithSleepMs; 0: no frame yet
  uint32_t fileWriteFrameCount ZO_GUARDED_BY(*fileLock) = 0;
  MallocPtr<uint8_t[]> fileWriteTrailer ZO_GUARDED_BY(*fileLock);
  int64_t fileDataStart = 0;   // first record
  int64_t fileLastRecord = 0;  // last whole record when the file was opened
  uint64_t fileTimeLength = 0;
  uint64_t fileHeadTimeOffset = 0;
  uint32_t fileFrames = 0;
  DateTime16 fileHeadDateTime{};
  SharedField<uint32_t> fileReading;
  SharedField<uint32_t> fileReadPaused;
  SharedField<uint32_t> filePauseParked;
  bool playbackAtRest ZO_GUARDED_BY(*fileLock) =
      false;  // the thread waits at the end of the file, or has ended
  bool fileScanning ZO_GUARDED_BY(*fileLock) =
      false;  // a scan reads the file; whoever moves or closes it waits
  SharedField<uint32_t> fileReadEOF;
  SharedField<uint32_t> fileError;
  FrameTrailer fileReadTrailer ZO_GUARDED_BY(*fileLock){};  // of the record last read
  SharedTrailer fileCurrentTrailer;                         // of the frame last delivered
  SharedField<uint64_t> fileBaseTimeOffset;  // anchor of pacing; 0: the next frame anchors anew
  SharedField<double> fileReadSpeed = 1.0;
  ZoFrameCallback fileFrameCallback = nullptr;
  ZoEofCallback fileEofCallback = nullptr;
  void* fileCallbackUser = nullptr;
  pthread_t playbackThread{};
  std::unique_ptr<PlaybackContext> playback
      ZO_GUARDED_BY(*fileLock);  // exists while playback is started
  std::unique_ptr<PMutex> fileLock;
  std::unique_ptr<PCond> readerStateCond;
  std::unique_ptr<PCond> readerWakeCond;
};

#endif
