// Every system call of every operation is failed in turn. Each time the operation tells the right
// status and host error, keeps nothing, and works again when the fault is gone. Memory that it
// would keep is found by the leak check of the address sanitizer.
#include <fcntl.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <string_view>
#include <thread>
#include <vector>

#include "sim/virtual_host.h"
#include "tests/recording_file.h"
#include "tests/wait.h"

namespace {

constexpr int kShortCount = 0;  // instead of an errno: half of what was asked for, and no error

// The faults of the calling thread; other threads and the virtual camera make their calls in peace.
struct Injector {
  bool armed = false;
  bool inside = false;
  int error = 0;
  int first = 0;  // call to fail
  int times = 1;
  int calls = 0;
  std::string_view failed = {};  // name of the first call that failed
  int nth = 0;                   // among those of its name
  std::vector<std::string_view> names = {};

  // Counts a call; whether it fails. A call without a count cannot be short.
  bool Fails(std::string_view name, bool hasCount) {
    if (error == kShortCount && !hasCount) return false;
    const int index = calls++;
    if (index == first) {
      failed = name;
      nth = static_cast<int>(std::count(names.begin(), names.end(), name));
    }
    names.push_back(name);
    return index >= first && index < first + times;
  }
};
thread_local Injector injector;

template <class Real, class Fail>
auto Call(std::string_view name, bool hasCount, Real real, Fail fail) {
  if (!injector.armed || injector.inside) return real();
  injector.inside = true;
  auto result = injector.Fails(name, hasCount) ? (errno = injector.error, fail()) : real();
  injector.inside = false;
  return result;
}

}  // namespace

// What the linker puts in the place of the calls that the library makes (see CMakeLists.txt).
extern "C" {
int __real_open(const char* path, int flags, ...);
int __wrap_open(const char* path, int flags, ...) {
  return Call(
      "open", false, [&] { return __real_open(path, flags); }, [] { return -1; });
}

int __real_ioctl(int fd, unsigned long request, ...);
int __wrap_ioctl(int fd, unsigned long request, ...) {
  va_list arguments;
  va_start(arguments, request);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  return Call(
      "ioctl", false, [&] { return __real_ioctl(fd, request, argument); }, [] { return -1; });
}

void* __real_mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset);
void* __wrap_mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset) {
  return Call(
      "mmap", false, [&] { return __real_mmap(address, length, protection, flags, fd, offset); },
      [] { return MAP_FAILED; });
}

int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*function)(void*), void* argument);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*function)(void*), void* argument) {
  return Call(
      "pthread_create", false,
      [&] { return __real_pthread_create(thread, attributes, function, argument); },
      [] { return EAGAIN; });
}

int __real_stat(const char* path, struct stat* info);
int __wrap_stat(const char* path, struct stat* info) {
  return Call(
      "stat", false, [&] { return __real_stat(path, info); }, [] { return -1; });
}

int __real_fstat(int fd, struct stat* info);
int __wrap_fstat(int fd, struct stat* info) {
  return Call(
      "fstat", false, [&] { return __real_fstat(fd, info); }, [] { return -1; });
}

int __real_ftruncate(int fd, off_t length);
int __wrap_ftruncate(int fd, off_t length) {
  return Call(
      "ftruncate", false, [&] { return __real_ftruncate(fd, length); }, [] { return -1; });
}

FILE* __real_fopen(const char* path, const char* mode);
FILE* __wrap_fopen(const char* path, const char* mode) {
  return Call(
      "fopen", false, [&] { return __real_fopen(path, mode); }, []() -> FILE* { return nullptr; });
}

int __real_fclose(FILE* file);
int __wrap_fclose(FILE* file) {
  const auto close = [file] { return __real_fclose(file); };
  return Call("fclose", false, close, [&] {  // it closes even when it tells of a failure
    const int error = errno;
    close();
    errno = error;
    return EOF;
  });
}

char* __real_fgets(char* line, int size, FILE* file);
char* __wrap_fgets(char* line, int size, FILE* file) {
  return Call(
      "fgets", false, [&] { return __real_fgets(line, size, file); },
      []() -> char* { return nullptr; });
}

// A transfer that fails has got half way.
size_t __real_fread(void* to, size_t size, size_t count, FILE* file);
size_t __wrap_fread(void* to, size_t size, size_t count, FILE* file) {
  return Call(
      "fread", true, [&] { return __real_fread(to, size, count, file); },
      [&] {
        const size_t half = __real_fread(to, size, count / 2, file);
        errno = injector.error;
        return half;
      });
}

ssize_t __real_pread(int fd, void* to, size_t size, off_t offset);
ssize_t __wrap_pread(int fd, void* to, size_t size, off_t offset) {
  return Call(
      "pread", true, [&] { return __real_pread(fd, to, size, offset); },
      [&]() -> ssize_t {
        return injector.error == kShortCount ? __real_pread(fd, to, size / 2, offset) : -1;
      });
}

int __real_fflush(FILE* file);
int __wrap_fflush(FILE* file) {
  return Call(
      "fflush", false, [&] { return __real_fflush(file); }, [] { return EOF; });
}

size_t __real_fwrite(const void* from, size_t size, size_t count, FILE* file);
size_t __wrap_fwrite(const void* from, size_t size, size_t count, FILE* file) {
  return Call(
      "fwrite", true, [&] { return __real_fwrite(from, size, count, file); },
      [&] {
        const size_t half = __real_fwrite(from, size, count / 2, file);
        errno = injector.error;
        return half;
      });
}

int __real_fseeko(FILE* file, off_t offset, int whence);
int __wrap_fseeko(FILE* file, off_t offset, int whence) {
  return Call(
      "fseeko", false, [&] { return __real_fseeko(file, offset, whence); }, [] { return -1; });
}

off_t __real_ftello(FILE* file);
off_t __wrap_ftello(FILE* file) {
  return Call(
      "ftello", false, [&] { return __real_ftello(file); }, []() -> off_t { return -1; });
}
}

namespace {

using zosim::Host;
using zosim::Step;

constexpr int kAny = -1;
constexpr char kNode[] = "/dev/video0";

constexpr int Told(int error) { return error == kShortCount ? EIO : error; }

// What a fault leads to; the first row that fits counts.
struct Row {
  std::string_view call;  // empty: any
  int error = kAny;
  ZoStatus status = 0;
  bool tells = false;  // in the host error, too
  int nth = kAny;      // of the calls of this name
  bool met = false;
};

size_t EntriesOf(const char* folder) {
  return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

class Faults : public Recording {
 protected:
  void SetUp() override {
    Host().Reset();
    std::thread([] {}).join();  // a sanitizer starts its own thread with the first one
    camera = Host().PlugCamera({.productId = 0x6101});
    camera->SetPace(zosim::Pace::AsFastAsTaken());
    camera->SetTimings({.streamOffMs = 0});
    descriptors_ = EntriesOf("/proc/self/fd");
    threads_ = EntriesOf("/proc/self/task");
  }
  void TearDown() override {
    dev.reset();
    ExpectNothingKept();
  }
  void Open() {
    dev = OpenNode(kNode);
    ASSERT_NE(dev, nullptr);
    ZoLib_CaptureSetup(dev.get(), 0, Player::OnFrame, &player);
  }
  void ExpectNothingKept() const {
    EXPECT_EQ(Host().Live(), zosim::LiveCounts{});
    EXPECT_EQ(EntriesOf("/proc/self/fd"), descriptors_);
    EXPECT_TRUE(WaitFor([this] { return EntriesOf("/proc/self/task") == threads_; }));
  }
  void ExpectFrames() {
    const uint32_t goal = player.frames + 1;
    EXPECT_TRUE(WaitFor([&] { return player.frames >= goal; }));
  }

  // Fails each call of an operation, alone and with those after it, with every error.
  template <class Prepare, class Operate, class Again>
  void FailEachCall(std::vector<Row> rows, Prepare prepare, Operate operate, Again again,
                    int mostTimes = 3) {
    int faults = 0;
    for (const int error : {EIO, ENOSPC, EINTR, kShortCount}) {
      for (int times = 1; times <= mostTimes; ++times) {
        for (int first = 0;; ++first) {
          prepare();
          injector = {.armed = true, .error = error, .first = first, .times = times};
          const ZoStatus status = operate();
          injector.armed = false;
          const bool failed = !injector.failed.empty();
          SCOPED_TRACE(testing::Message() << injector.failed << '#' << injector.nth << ' '
                                          << (failed ? strerror(error) : "") << " x" << times);
          if (failed) {
            Check(rows, error, status);
            ++faults;
          } else {
            EXPECT_EQ(status, 0);
          }
          again(status);
          dev.reset();
          ExpectNothingKept();
          if (!failed) break;
          if (HasFailure()) return;
        }
      }
    }
    RecordProperty("faults", faults);
    for (const Row& row : rows) EXPECT_TRUE(row.met) << row.call << " is not called";
  }

  std::shared_ptr<zosim::VirtualCamera> camera;
  Player player;
  Handle dev;
  uint32_t openError = 0;  // of an operation that gives no handle

 private:
  void Check(std::vector<Row>& rows, int error, ZoStatus status) {
    for (Row& row : rows) {
      if (!row.call.empty() && row.call != injector.failed) continue;
      if (row.error != kAny && row.error != error) continue;
      if (row.nth != kAny && row.nth != injector.nth) continue;
      row.met = true;
      EXPECT_EQ(status, row.status);
      EXPECT_EQ(dev ? ZoLib_GetHostError(dev.get()) : openError, row.tells ? Told(error) : 0);
      return;
    }
    ADD_FAILURE() << "no row";
  }

  size_t descriptors_ = 0;
  size_t threads_ = 0;
};

TEST_F(Faults, OfOpeningACamera) {
  camera->Unplug();
  camera = Host().PlugCamera({.productId = 0x6110});
  const auto open = [this] {
    _ZoDev* opened = nullptr;
    openError = 0;
    const ZoStatus status = ZoLib_GetDeviceByDeviceFile(kNode, &opened, &openError);
    dev.reset(opened);
    return status;
  };
  FailEachCall(
      {{"stat", kAny, 3},
       {"fopen", kAny, 3},
       {"fgets", kAny, 3},
       {"fclose", kAny, 0},
       {"open", EINTR, 0},
       {"open", kAny, 13, true},
       {"ioctl", EINTR, 0},
       {"ioctl", kAny, 13, false, 0},
       {"ioctl", ENOSPC, 0, true, 1},  // a camera without its clock still opens
       {"ioctl", EIO, 0, true, 1}},
      [] {}, open,
      [&](ZoStatus status) {
        EXPECT_EQ(dev == nullptr, status != 0);
        EXPECT_EQ(open(), 0);
      },
      1);  // the call after the end of a file is the beginning of another
}

TEST_F(Faults, OfACommand) {
  const auto run = [this] {
    uint16_t word = 0;
    return ZoLib_CommandGet(dev.get(), 1, 0, &word, 1);
  };
  FailEachCall(
      {{"ioctl", EINTR, 0}, {"ioctl", kAny, 13, true}}, [this] { Open(); }, run,
      [&](ZoStatus) { EXPECT_EQ(run(), 0); });
}

TEST_F(Faults, OfStartingAStream) {
  const auto start = [this] { return ZoLib_CaptureStart(dev.get()); };
  FailEachCall(
      {{"ioctl", EINTR, 0}, {"pthread_create", kAny, 2}, {"", kAny, 13, true}}, [this] { Open(); },
      start,
      [&](ZoStatus status) {
        if (status != 0 && injector.times == 1) {
          EXPECT_EQ(Host().Live(), (zosim::LiveCounts{.descriptors = 1}));
        }
        EXPECT_EQ(start(), 0);
        ExpectFrames();
      });
}

TEST_F(Faults, OfStoppingAStream) {
  FailEachCall(
      {{"", kAny, 0}},
      [this] {
        Open();
        EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
        ExpectFrames();
      },
      [this] { return ZoLib_CaptureStop(dev.get()); },
      [this](ZoStatus) {
        EXPECT_EQ(ZoLib_GetDisconnected(dev.get()), 0);
        EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
        ExpectFrames();
      });
}

// These calls are the capture thread's, so the virtual camera fails them.
TEST_F(Faults, OfStreaming) {
  struct Failing {
    Step step;
    int error;
    bool loses;
  };
  for (const Failing& f :
       {Failing{Step::kPoll, EINTR, false}, Failing{Step::kPoll, EIO, true},
        Failing{Step::kPoll, ENOMEM, true}, Failing{Step::kDequeueBuffer, EINTR, false},
        Failing{Step::kDequeueBuffer, EAGAIN, false}, Failing{Step::kDequeueBuffer, EIO, true},
        Failing{Step::kDequeueBuffer, ENODEV, true}, Failing{Step::kQueueBuffer, EINTR, false},
        Failing{Step::kQueueBuffer, EIO, true}}) {
    for (const unsigned skip : {0U, 1U, 5U}) {
      SCOPED_TRACE(testing::Message() << static_cast<int>(f.step) << ' ' << strerror(f.error));
      Open();
      EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
      camera->FailStep(f.step, f.error, skip, 3);
      if (f.loses) {
        EXPECT_TRUE(WaitFor([this] { return ZoLib_GetDisconnected(dev.get()) != 0; }));
      } else {
        for (int i = 0; i < 10; ++i) ExpectFrames();
      }
      camera->ClearFaults();
      EXPECT_EQ(ZoLib_CaptureStop(dev.get()), f.loses ? 4 : 0);
      dev.reset();
      ExpectNothingKept();
      Open();
      EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 0);
      ExpectFrames();
      dev.reset();
    }
  }
}

class RecorderFaults : public Faults {
 protected:
  ZoStatus SetUpFile() const {
    return ZoLib_FileWritePassiveSetup(dev.get(), path.c_str(), 259, 30);
  }
  ZoStatus Add() {
    Bytes frame(kFrameBytes);
    frame[9601] = 14;
    return ZoLib_FileWritePassiveAdd(dev.get(), frame.data(), kFrameBytes);
  }
  // The file holds so many whole records with consecutive numbers, and nothing behind them.
  void ExpectFrameNumbers(uint32_t count) const {
    EXPECT_EQ(std::filesystem::file_size(path),
              HeaderLine().size() + std::size_t{count} * kRecordBytes);
    const Handle back = OpenPassive();
    for (uint32_t number = 1; number <= count; ++number) EXPECT_EQ(Next(back), number);
  }
};

TEST_F(RecorderFaults, OfSettingUp) {
  FailEachCall(
      {{"fopen", EINTR, 0}, {"fwrite", EINTR, 0}, {"", kAny, 23, true}}, [this] { Open(); },
      [this] { return SetUpFile(); },
      [this](ZoStatus status) {
        EXPECT_EQ(SetUpFile(), status == 0 ? 22 : 0);
        EXPECT_EQ(Add(), 0);
        EXPECT_EQ(ZoLib_FileWriteStop(dev.get()), 0);
        ExpectFrameNumbers(1);
      });
}

TEST_F(RecorderFaults, OfARecord) {
  FailEachCall(
      {{"fwrite", EINTR, 0}, {"", kAny, 0, true}},
      [this] {
        Open();
        EXPECT_EQ(SetUpFile(), 0);
        EXPECT_EQ(Add(), 0);
      },
      [this] { return Add(); },
      [this](ZoStatus) {
        const bool dropped = ZoLib_GetHostError(dev.get()) != 0;
        const bool goesOn = injector.times < 3;  // else the stop meets a record that stands torn
        if (goesOn) Add();
        EXPECT_EQ(ZoLib_FileWriteStop(dev.get()), 0);
        ExpectFrameNumbers(3 - (dropped ? 1 : 0) - (goesOn ? 0 : 1));
      });
}

TEST_F(RecorderFaults, OfStopping) {
  FailEachCall(
      {{"fclose", kAny, 23, true}},
      [this] {
        Open();
        EXPECT_EQ(SetUpFile(), 0);
        EXPECT_EQ(Add(), 0);
      },
      [this] { return ZoLib_FileWriteStop(dev.get()); },
      [this](ZoStatus) {
        ExpectFrameNumbers(1);
        EXPECT_EQ(SetUpFile(), 0);
      });
}

class ReaderFaults : public Faults {
 protected:
  void SetUp() override {
    Faults::SetUp();
    Write(Regular(30));
  }
  void OpenRecording() { dev = OpenPassive(); }
};

TEST_F(ReaderFaults, OfOpening) {
  const auto open = [this] {
    _ZoDev* opened = nullptr;
    const ZoStatus status = ZoLib_FileReadPassiveSetup(&opened, path.c_str());
    dev.reset(opened);
    return status;
  };
  FailEachCall(
      {{"fgets", kAny, 24},
       {"fopen", EINTR, 0},
       {"pread", EINTR, 0},
       {"pread", kShortCount, 0},
       {"", kAny, 23}},
      [] {}, open,
      [&](ZoStatus status) {
        EXPECT_EQ(dev == nullptr, status != 0);
        EXPECT_EQ(open(), 0);
        EXPECT_EQ(ZoLib_GetFileFrames(dev.get()), 30);
      });
}

TEST_F(ReaderFaults, OfStarting) {
  const auto start = [this] { return ZoLib_CaptureStart(dev.get()); };
  FailEachCall(
      {{"pthread_create", kAny, 2}}, [this] { dev = player.Open(path); }, start,
      [&](ZoStatus) {
        EXPECT_EQ(start(), 0);
        ExpectFrames();
      });
}

TEST_F(ReaderFaults, OfReadingAFrame) {
  const auto next = [this] {
    Bytes frame(kFrameBytes);
    return ZoLib_FileReadPassiveNext(dev.get(), frame.data(), kFrameBytes);
  };
  FailEachCall(
      {{"fread", EINTR, 0},
       {"fread", kAny, 24, false, 0},  // the marker
       {"fread", kShortCount, 24, false, 1},
       {"fread", kAny, 23, true}},
      [this] { OpenRecording(); }, next,
      [&](ZoStatus status) {
        EXPECT_EQ(ZoLib_GetFileError(dev.get()), status);
        EXPECT_EQ(next(), status) << "kept";
        EXPECT_EQ(ZoLib_CaptureStop(dev.get()), 0);
        OpenRecording();
        EXPECT_EQ(Next(dev), 1);
      });
}

TEST_F(ReaderFaults, OfSeeking) {
  const auto seek = [this] { return ZoLib_FileReadSeek(dev.get(), 15 * 116 + 1); };
  FailEachCall(
      {{"pread", EINTR, 0},
       {"pread", kShortCount, 0},
       {"pread", kAny, 24, false, 0},  // the markers
       {"pread", kAny, 24, false, 2},
       {"", kAny, 23, true}},
      [this] {
        OpenRecording();
        EXPECT_EQ(Next(dev), 1);
      },
      seek,
      [&](ZoStatus status) {
        if (status == 24) OpenRecording();  // which is sticky
        if (status == 23 && injector.times == 1) {
          EXPECT_NE(Next(dev), 0) << "on a record's start";
        }
        EXPECT_EQ(seek(), 0);
        EXPECT_EQ(Next(dev), 16);
      });
}

TEST_F(ReaderFaults, OfScanning) {
  for (const uint32_t step : {1U, 2U}) {
    const auto scan = [this, step] {
      return ZoLib_FileTimeBasedAGCSetup(dev.get(), 1, step, 0, 500);
    };
    FailEachCall(
        {{"pread", EINTR, 0}, {"pread", kShortCount, 0}, {"", kAny, 23, true}},
        [this] { OpenRecording(); }, scan,
        [&](ZoStatus) {
          EXPECT_EQ(scan(), 0);
          EXPECT_EQ(ZoLib_FileReadSeek(dev.get(), 0), 0);
          EXPECT_EQ(Next(dev), 1);
        });
  }
}

TEST_F(ReaderFaults, OfStopping) {
  FailEachCall(
      {{"fclose", kAny, 23, true}}, [this] { OpenRecording(); },
      [this] { return ZoLib_CaptureStop(dev.get()); },
      [this](ZoStatus) {
        EXPECT_EQ(ZoLib_CaptureStart(dev.get()), 22) << "a stop is final";
        OpenRecording();
        EXPECT_EQ(Next(dev), 1);
      });
}

}  // namespace
