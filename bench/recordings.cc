// Playing, scanning, opening, seeking and writing recordings, beside what the C library's own reads
// and writes of the same bytes cost. Files lie in the folder for temporary files and stay in the
// page cache: what is measured is the work, not the disk.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include "bench/benchmarks.h"
#include "bench/views.h"
#include "core/device_record.h"
#include "file/recording_format.h"

namespace {

using Clock = std::chrono::steady_clock;
using FilePtr = std::unique_ptr<std::FILE, decltype([](std::FILE* file) { std::fclose(file); })>;

constexpr uint16_t kProduct = 0x6103;
constexpr uint32_t kRateNumerator = 259;
constexpr uint32_t kRateDenominator = 30;
constexpr uint32_t kPlayedFrames = 500;
constexpr uint32_t kScannedFrames = 100;
constexpr uint32_t kWrittenFrames = 200;
constexpr int64_t kLongBytes = 10'000'000'000;
constexpr int64_t kRecordsAround = 50;  // written on either side of a place that is read

double Seconds(Clock::time_point from) {
  return std::chrono::duration<double>(Clock::now() - from).count();
}

// A recording with regular times, gone with the object. Of a long one only the first and last
// records and those around the middle are written; between them the file has holes.
class MadeRecording {
 public:
  explicit MadeRecording(int64_t records)
      : camera_(MakeCamera(kProduct)),
        layout_(*camera_),
        path_(std::filesystem::temp_directory_path() /
              ("zocam-bench-" + std::to_string(getpid()) + ".y4m")),
        records_(records) {
    for (uint32_t k = 0; k < FrameCount(kLarge); ++k) {
      frames_.push_back(MakeRawFrame(camera_, Regime::kSteady, k));
    }
    const int file = open(path_.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    const std::string header = Header();
    bool whole = Put(file, header.data(), header.size(), 0);
    dataStart_ = static_cast<int64_t>(header.size());
    for (int64_t k = 0; k < records && whole; ++k) {
      k = NextWritten(k);
      const Bytes record = Record(k);
      whole = Put(file, record.data(), record.size(), dataStart_ + k * layout_.record);
    }
    close(file);
    whole_ = whole;
  }
  ~MadeRecording() { std::filesystem::remove(path_); }
  MadeRecording(const MadeRecording&) = delete;
  MadeRecording& operator=(const MadeRecording&) = delete;

  static int64_t RecordBytes() { return RecordLayout(*MakeCamera(kProduct)).record; }
  bool IsWhole() const { return whole_; }
  const char* path() const { return path_.c_str(); }
  int64_t dataStart() const { return dataStart_; }
  int64_t Middle() const { return records_ / 2; }
  static uint64_t TimeOf(int64_t k) {
    return static_cast<uint64_t>(k) * 1000 * kRateDenominator / kRateNumerator;
  }

 private:
  static bool Put(int file, const void* bytes, std::size_t count, int64_t at) {
    return pwrite(file, bytes, count, at) == static_cast<ssize_t>(count);
  }
  std::string Header() const {
    RecordingHeader header;
    header.width = camera_->frameWidth;
    header.lines = camera_->frameHeight + camera_->footerLines + 1;
    header.rateNumerator = kRateNumerator;
    header.rateDenominator = kRateDenominator;
    header.identity = camera_->identityBlock;
    return FormatHeader(header, ZoLib_GetLibVersion());
  }
  Bytes Record(int64_t k) const {
    Bytes record(static_cast<std::size_t>(layout_.record));
    std::memcpy(record.data(), kMarker, kMarkerBytes);
    const Bytes& frame = frames_[static_cast<std::size_t>(k) % frames_.size()];
    std::ranges::copy(frame, record.begin() + kMarkerBytes);
    const FrameTrailer trailer{
        TimeOf(k), static_cast<uint32_t>(k + 1), {2026, 1, 0, 4, 12, 0, 0, 0}};
    PackTrailer(trailer, std::span<uint8_t, kTrailerBytes>(&record[kMarkerBytes + frame.size()],
                                                           kTrailerBytes));
    return record;
  }
  int64_t NextWritten(int64_t k) const {
    if (records_ <= kPlayedFrames || k <= kRecordsAround) return k;
    if (k < Middle() + kRecordsAround) return std::max(k, Middle() - kRecordsAround);
    return std::max(k, records_ - kRecordsAround);
  }

  Handle camera_;
  RecordLayout layout_;
  std::vector<Bytes> frames_;
  std::filesystem::path path_;
  int64_t records_;
  int64_t dataStart_ = 0;
  bool whole_ = false;
};

bool IsUsable(benchmark::State& state, const MadeRecording& recording) {
  if (!recording.IsWhole()) state.SkipWithError("cannot write the recording");
  return recording.IsWhole();
}

Handle OpenPassive(const char* path) {
  _ZoDev* dev = nullptr;
  ZoLib_FileReadPassiveSetup(&dev, path);
  return Handle(dev);
}

int IgnoreFrame(_ZoDev*, uint8_t*, uint64_t, void*) { return 0; }

int TellEnd(_ZoDev*, void* user) {
  auto* ended = static_cast<std::atomic<bool>*>(user);
  *ended = true;
  ended->notify_one();
  return 0;
}

// Times are per frame, except those of opening and seeking.

void Play(benchmark::State& state) {
  const MadeRecording recording(kPlayedFrames);
  if (!IsUsable(state, recording)) return;
  for (auto _ : state) {
    std::atomic<bool> ended = false;
    _ZoDev* dev = nullptr;
    ZoLib_FileReadSetup(&dev, recording.path(), IgnoreFrame, TellEnd, &ended);
    const Handle film(dev);
    ZoLib_SetFileReadSpeed(dev, 0.0);
    const auto start = Clock::now();
    if (ZoLib_CaptureStart(dev) != ZO_STATUS_OK) return state.SkipWithError("cannot start");
    ended.wait(false);
    state.SetIterationTime(Seconds(start) / kPlayedFrames);
  }
}

void ReadPlainly(benchmark::State& state) {
  const MadeRecording recording(kPlayedFrames);
  if (!IsUsable(state, recording)) return;
  Bytes record(static_cast<std::size_t>(MadeRecording::RecordBytes()));
  for (auto _ : state) {
    const FilePtr file(std::fopen(recording.path(), "rb"));
    std::fseek(file.get(), static_cast<long>(recording.dataStart()), SEEK_SET);
    const auto start = Clock::now();
    while (std::fread(record.data(), record.size(), 1, file.get()) == 1) {
      benchmark::DoNotOptimize(record.data());
    }
    state.SetIterationTime(Seconds(start) / kPlayedFrames);
  }
}

void Scan(benchmark::State& state, bool linear, SimdLevel level) {
  ZoLib_Priv_ForceSimdLevel(static_cast<int32_t>(level));
  const MadeRecording recording(kScannedFrames);
  if (!IsUsable(state, recording)) return;
  const Handle film = OpenPassive(recording.path());
  ZoLib_CaptureStart(film.get());
  uint64_t to = UINT64_MAX;
  for (auto _ : state) {
    const auto start = Clock::now();
    // Another range each time: the gain of the last one is kept.
    const ZoStatus status = ZoLib_FileTimeBasedAGCSetup(film.get(), linear ? 1 : 0, 1, 0, --to);
    state.SetIterationTime(Seconds(start) / kScannedFrames);
    if (status != ZO_STATUS_OK) return state.SkipWithError(ZoLib_GetErrorMessage(status));
  }
}

int64_t LongRecords() { return kLongBytes / MadeRecording::RecordBytes(); }

void OpenLong(benchmark::State& state) {
  const MadeRecording recording(LongRecords());
  if (!IsUsable(state, recording)) return;
  for (auto _ : state) {
    const auto start = Clock::now();
    const Handle film = OpenPassive(recording.path());
    state.SetIterationTime(Seconds(start));
    if (film == nullptr) return state.SkipWithError("cannot open the recording");
  }
}

void SeekLong(benchmark::State& state) {
  const MadeRecording recording(LongRecords());
  if (!IsUsable(state, recording)) return;
  const Handle film = OpenPassive(recording.path());
  ZoLib_CaptureStart(film.get());
  Bytes frame(film->rawFrameBytes);
  for (auto _ : state) {
    ZoLib_FileReadSeek(film.get(), 0);
    const auto start = Clock::now();
    const ZoStatus status =
        ZoLib_FileReadSeek(film.get(), MadeRecording::TimeOf(recording.Middle()));
    state.SetIterationTime(Seconds(start));
    ZoLib_FileReadPassiveNext(film.get(), frame.data(), film->rawFrameBytes);
    if (status != ZO_STATUS_OK ||
        ZoLib_GetFileCurrentFrameNumber(film.get()) != recording.Middle() + 1) {
      return state.SkipWithError("the seek went elsewhere");
    }
  }
}

std::string WrittenPath() {
  return std::filesystem::temp_directory_path() /
         ("zocam-bench-" + std::to_string(getpid()) + "-written.y4m");
}

void Write(benchmark::State& state) {
  const Handle camera = MakeCamera(kProduct);
  const Bytes frame = MakeRawFrame(camera, Regime::kSteady, 0);
  const std::string path = WrittenPath();
  for (auto _ : state) {
    ZoLib_FileWritePassiveSetup(camera.get(), path.c_str(), kRateNumerator, kRateDenominator);
    const auto start = Clock::now();
    for (uint32_t k = 0; k < kWrittenFrames; ++k) {
      ZoLib_FileWritePassiveAdd(camera.get(), frame.data(), static_cast<uint32_t>(frame.size()));
    }
    state.SetIterationTime(Seconds(start) / kWrittenFrames);
    if (ZoLib_GetHostError(camera.get()) != 0) return state.SkipWithError("cannot write");
    ZoLib_FileWriteStop(camera.get());
  }
  std::filesystem::remove(path);
}

void WritePlainly(benchmark::State& state) {
  const Bytes record(static_cast<std::size_t>(MadeRecording::RecordBytes()), 0x55);
  const std::string path = WrittenPath();
  for (auto _ : state) {
    const FilePtr file(std::fopen(path.c_str(), "wb"));
    const auto start = Clock::now();
    for (uint32_t k = 0; k < kWrittenFrames; ++k) {
      std::fwrite(record.data(), record.size(), 1, file.get());
    }
    state.SetIterationTime(Seconds(start) / kWrittenFrames);
  }
  std::filesystem::remove(path);
}

template <class Function>
void Register(const char* what, const char* variant, int64_t iterations, Function function) {
  benchmark::RegisterBenchmark(BenchmarkName("file", what, kLarge, variant).c_str(), function)
      ->UseManualTime()
      ->Iterations(iterations);
}

}  // namespace

void RegisterRecordings() {
  Register("playback at speed 0, per frame", "zocam", 2, Play);
  Register("playback at speed 0, per frame", "C library", 2, ReadPlainly);
  Register("open 10 GB", "zocam", 100, OpenLong);
  Register("seek to the middle of 10 GB", "zocam", 100, SeekLong);
  Register("write, per frame", "zocam", 2, Write);
  Register("write, per frame", "C library", 2, WritePlainly);
  for (const Level& level : kLevels) {
    if (StagesOf(level.level) == nullptr) continue;
    for (const bool linear : {true, false}) {
      Register(
          linear ? "scan for one linear gain, per frame" : "scan for one gain table, per frame",
          level.name, 2,
          [linear, level](benchmark::State& state) { Scan(state, linear, level.level); });
    }
  }
}
