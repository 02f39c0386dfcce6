#include "tools/serve/station_recording.h"

#include <fstream>
#include <memory>
#include <utility>

#include "tools/advice.h"

namespace serve {
namespace {

// Of one frame in the file: a marker, the raw frame, a line that says when it came.
uint64_t RecordBytes(const zocam::Device& camera) {
  constexpr uint64_t kMarkerBytes = 6;
  return kMarkerBytes + camera.RawFrameBytes() + uint64_t{2} * camera.Width();
}

// Of the line before the frames, which come while it is looked at.
uint64_t HeaderBytes(const std::string& path, uint64_t otherwise) {
  std::string line;
  std::ifstream file(path, std::ios::binary);
  return std::getline(file, line) && !file.eof() ? line.size() + 1 : otherwise;
}

}  // namespace

StationRecording::StationRecording(const zocam::Device& camera, zocam::Writer writer,
                                   std::unique_ptr<RecordedFile> file, std::string name)
    : file_(std::move(file)),
      writer_(std::move(writer)),
      name_(std::move(name)),
      recordBytes_(RecordBytes(camera)),
      headerBytes_(HeaderBytes(file_->Path(), file_->Bytes() % recordBytes_)) {}

StationRecording StationRecording::Begin(zocam::Device& camera, const std::string& path,
                                         const std::string& name) {
  auto file = std::make_unique<RecordedFile>(path, false);
  zocam::Writer writer(camera, file->Path());
  return StationRecording(camera, std::move(writer), std::move(file), name);
}

void StationRecording::Watch() {
  try {
    if (!file_->IsKept() && file_->Bytes() >= headerBytes_ + recordBytes_) file_->Keep();
    writer_.CheckWritten();
    error_.clear();
  } catch (const zocam::Error& error) {
    error_ = WriteFailureText(name_, error.Reason(), error.HostErrno());
  } catch (const ToolError& error) {
    error_ = error.what();
  }
}

Json StationRecording::Finish(const std::string& failure) {
  Watch();
  try {
    writer_.Finish();
  } catch (const zocam::Error& error) {
    // The file of a camera that vanished is closed with it.
    if (error.Status() != ZO_STATUS_DEVICE_NOT_READY)
      error_ = WriteFailureText(name_, error.Reason(), error.HostErrno());
  }
  if (!failure.empty()) error_ = failure;
  if (!file_->IsKept() && error_.empty()) error_ = "no frame came; nothing was recorded";
  return Describe();
}

Json StationRecording::Describe() const {
  const uint64_t bytes = file_->Bytes();
  const std::chrono::duration<double> length = Clock::now() - begin_;
  return {{"name", name_},
          {"frames", bytes > headerBytes_ ? (bytes - headerBytes_) / recordBytes_ : 0},
          {"bytes", bytes},
          {"seconds", length.count()},
          {"error", error_}};
}

}  // namespace serve
