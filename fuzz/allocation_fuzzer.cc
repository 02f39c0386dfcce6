// Opening, playing, decoding, recording and scanning while the n-th allocation, file or thread is
// refused: nothing crashes or leaks, and what fails says so. Input: which call fails, whether all
// behind it fail too, then settings and steps.
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <map>
#include <new>

#include "file/recording_format.h"
#include "fuzz/model_handle.h"

namespace {

// Calls until one fails; negative: none does. Counted on every thread, but only inside the library.
std::atomic<int32_t> callsLeft = -1;
std::atomic<bool> failsOn = false;
std::atomic<bool> inLibrary = false;

bool Fails() {
  if (!inLibrary.load()) return false;
  const int32_t left = callsLeft.load();
  if (left < 0) return false;
  if (left > 0) {
    --callsLeft;
    return false;
  }
  if (!failsOn.load()) callsLeft = -1;
  return true;
}

}  // namespace

extern "C" {

void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* memory, std::size_t size);
std::FILE* __real_fopen(const char* path, const char* mode);
std::FILE* __real_fdopen(int fd, const char* mode);
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*main)(void*),
                          void* argument);

void* __wrap_malloc(std::size_t size) { return Fails() ? nullptr : __real_malloc(size); }
void* __wrap_calloc(std::size_t count, std::size_t size) {
  return Fails() ? nullptr : __real_calloc(count, size);
}
void* __wrap_realloc(void* memory, std::size_t size) {
  return Fails() ? nullptr : __real_realloc(memory, size);
}
std::FILE* __wrap_fopen(const char* path, const char* mode) {
  if (!Fails()) return __real_fopen(path, mode);
  errno = EMFILE;
  return nullptr;
}
std::FILE* __wrap_fdopen(int fd, const char* mode) {
  if (!Fails()) return __real_fdopen(fd, mode);
  errno = ENOMEM;
  return nullptr;
}
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*main)(void*),
                          void* argument) {
  return Fails() ? EAGAIN : __real_pthread_create(thread, attributes, main, argument);
}
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return Fails() ? nullptr : __real_malloc(size == 0 ? 1 : size);
}
void* operator new(std::size_t size) {
  void* memory = operator new(size, std::nothrow);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return operator new(size, tag);
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

namespace {

// Runs a call of the library, which may end in the statuses given.
template <class Call>
ZoStatus Run(std::initializer_list<ZoStatus> known, Call call) {
  inLibrary = true;
  const ZoStatus status = call();
  inLibrary = false;
  Expect(std::find(known.begin(), known.end(), status) != known.end(),
         "a call that lacks something says 2 or 23");
  return status;
}

// Three frames that every decoder can decode.
Bytes MakeRecording(uint16_t product) {
  RecordingHeader header;
  header.identity.vendorId = 0x7A11;
  header.identity.productId = product;
  const Handle model = MakeModelHandle(product);
  header.width = model->frameWidth;
  header.lines = model->frameHeight + model->footerLines + 1;
  header.rateNumerator = 259;
  header.rateDenominator = 30;
  const std::string line = FormatHeader(header, 0x010903);
  Bytes contents(line.begin(), line.end());
  for (uint32_t k = 0; k < 3; ++k) {
    contents.insert(contents.end(), kMarker, kMarker + kMarkerBytes);
    Bytes frame(model->rawFrameBytes, static_cast<uint8_t>(0x74 + k));
    frame[model->imageBytes] = 0;
    frame[model->imageBytes + 1] = model->telemetryRevision;
    contents.insert(contents.end(), frame.begin(), frame.end());
    Bytes trailer(std::size_t{2} * model->frameWidth);
    trailer[0] = static_cast<uint8_t>(k);
    trailer[8] = static_cast<uint8_t>(k + 1);
    contents.insert(contents.end(), trailer.begin(), trailer.end());
  }
  return contents;
}

const Bytes& RecordingOf(uint16_t product) {
  static std::map<uint16_t, Bytes> made;
  Bytes& recording = made[product];
  if (recording.empty()) recording = MakeRecording(product);
  return recording;
}

int OnFrame(_ZoDev* dev, uint8_t* frame, uint64_t, void*) {
  Bytes out(dev->imageBytes);  // may be refused like all that happens on the library's threads
  ZoLib_Decode(dev, frame, out.data(), dev->imageBytes, 0, ZO_FMT_TEMP16);
  return static_cast<int>(ZoLib_FinishDecode(dev));
}
int OnFrameGuarded(_ZoDev* dev, uint8_t* frame, uint64_t length, void* user) try {
  return OnFrame(dev, frame, length, user);
} catch (const std::bad_alloc&) {
  return 0;
}
int OnEnd(_ZoDev*, void*) { return 0; }

void ApplySettings(_ZoDev* dev, uint8_t choice) {
  ZoLib_SetNoiseFilter(dev, choice & 1);
  ZoLib_SetUndistortion(dev, choice >> 1 & 1);
  ZoLib_SetWindowCorrection(dev, choice >> 2 & 1);
  ZoLib_SetCircumferenceCorrection(dev, choice >> 3 & 1);
  ZoLib_SetColorizeByRaw(dev, choice >> 4 & 1);
}

void Learn(_ZoDev* dev, const Bytes& image) {
  const auto bytes = static_cast<uint32_t>(image.size());
  Run({0, 2}, [&] { return ZoLib_ReflectCorrGenStart(dev); });
  uint16_t* zorc = nullptr;
  uint32_t size = 0;
  const ZoStatus status =
      Run({0, 2, 22}, [&] { return ZoLib_ReflectCorrGenStop(dev, &zorc, &size); });
  Expect((status == ZO_STATUS_OK) == (zorc != nullptr), "an image exactly on success");
  if (zorc != nullptr) Run({0, 2}, [&] { return ZoLib_SetReflectCorrData(dev, zorc, size); });
  ZoLib_ReflectCorrDataRelease(zorc);
  ZoLib_SetSubtractionTemp(dev, 1);
  Run({0, 2}, [&] { return ZoLib_SetSubtractionTempTable(dev, image.data(), bytes); });
}

void Record(_ZoDev* dev, const Bytes& frame) {
  const MemoryFile file({});
  const ZoStatus status =
      Run({0, 2, 22, 23}, [&] { return ZoLib_FileWritePassiveSetup(dev, file.path(), 259, 30); });
  if (status != ZO_STATUS_OK) return;
  Run({0}, [&] { return ZoLib_FileWriteStart(dev); });
  Run({0}, [&] {
    return ZoLib_FileWritePassiveAdd(dev, frame.data(), static_cast<uint32_t>(frame.size()));
  });
  Run({0}, [&] { return ZoLib_FileWriteStop(dev); });
}

void RunStep(_ZoDev* dev, Input& input, Bytes& frame) {
  const uint8_t choice = input.Byte();
  Bytes out(std::size_t{dev->pixelCount} * 4);
  const auto size = static_cast<uint32_t>(out.size());
  switch (choice % 8) {
    case 0:
      Run({0, 22},
          [&] { return ZoLib_FileReadPassiveNext(dev, frame.data(), dev->rawFrameBytes); });
      break;
    case 1:
    case 2: {
      ApplySettings(dev, input.Byte());
      const uint32_t format = input.Byte() % 90;
      Run({0, 2, 21, 22},
          [&] { return ZoLib_Decode(dev, frame.data(), out.data(), size, 0, format); });
      if ((choice & 8) != 0) ZoLib_FinishDecode(dev);
      break;
    }
    case 3:
      ZoLib_FinishDecode(dev);
      Run({0, 2, 6, 22, 23},
          [&] { return ZoLib_FileTimeBasedAGCSetup(dev, choice & 8, 1, 0, UINT64_MAX); });
      break;
    case 4:
      Learn(dev, Bytes(dev->imageBytes));
      break;
    case 5:
      Run({0, 2, 23}, [&] {
        return ZoLib_DumpFrame(dev, "/dev/null", reinterpret_cast<uint16_t*>(out.data()), size,
                               ZoLib_GetTelemetryData(dev, frame.data()), nullptr, choice & 8);
      });
      break;
    case 6: {
      const Handle camera = MakeModelHandle(dev->identityBlock.productId);
      Record(camera.get(), frame);
      break;
    }
    default:
      Run({0, 22, 25}, [&] { return ZoLib_FileReadSeek(dev, input.Byte()); });
      break;
  }
}

void RunSteps(Input& input, uint16_t product, bool passive) {
  const Bytes& recording = RecordingOf(product);
  const MemoryFile file(recording);
  _ZoDev* dev = nullptr;
  const ZoStatus status = Run({0, 2, 23}, [&] {
    return passive ? ZoLib_FileReadPassiveSetup(&dev, file.path())
                   : ZoLib_FileReadSetup(&dev, file.path(), OnFrameGuarded, OnEnd, nullptr);
  });
  Expect((status == ZO_STATUS_OK) == (dev != nullptr), "a handle exactly on success");
  const Handle handle(dev);
  if (!handle) return;
  ZoLib_SetFileReadSpeed(dev, 0.0);
  const auto first =
      std::search(recording.begin(), recording.end(), kMarker, kMarker + kMarkerBytes) +
      kMarkerBytes;
  Bytes frame(first, first + dev->rawFrameBytes);
  Run({0, 2}, [&] { return ZoLib_CaptureStart(dev); });
  for (int i = 0; i < 16 && !input.empty(); ++i) RunStep(dev, input, frame);
  Run({0}, [&] { return ZoLib_CaptureStop(dev); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  Input input(data, size);
  const uint8_t mode = input.Byte();
  const auto calls = static_cast<int32_t>(input.Byte());
  const uint16_t product = input.OneOf(kProducts);
  failsOn = (mode & 1) != 0;
  callsLeft = (mode & 2) != 0 ? calls : calls % 32;
  RunSteps(input, product, (mode & 4) == 0);
  callsLeft = -1;
  return 0;
}
