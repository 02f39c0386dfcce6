// A recording: frames in order, by number and by time.
#ifndef ZOCAM_PYTHON_RECORDING_H
#define ZOCAM_PYTHON_RECORDING_H

#include <string>

#include "python/src/record_file.h"
#include "python/src/source.h"

namespace zopy {

class Recording : public Source {
 public:
  static std::shared_ptr<Recording> Open(const std::string& path);
  ~Recording() override;

  std::unique_ptr<FrameData> Next(std::chrono::milliseconds timeout) override;
  // A loop that follows one that reached the end begins at the start.
  void BeginLoop() override;
  bool AtEnd() override;

  uint64_t FrameCount() const { return file_.Count(); }
  // A frame by its place, from 1; does not move what Next() gives.
  std::unique_ptr<FrameData> At(uint64_t place);
  // Next() gives the last frame at or before a time; none when the time is behind the last one.
  void Seek(double seconds);
  void ScanGain(bool nonlinear, uint32_t step, double from, std::optional<double> to);

 private:
  Recording(std::shared_ptr<zocam::Recording> film, std::shared_ptr<Painter> painter,
            const std::string& path);
  // Reads and decodes; with order_ held.
  std::unique_ptr<FrameData> Fetch(zocam::Device& device, uint64_t record);

  RecordFile file_;
  std::mutex order_;  // one frame at a time; guards:
  uint64_t next_ = 0;
  bool reachedEnd_ = false;
};

}  // namespace zopy

#endif
