// A recording that a viewer started, from its reserved name to the closed file. Control thread.
#ifndef ZOCAM_TOOLS_SERVE_STATION_RECORDING_H
#define ZOCAM_TOOLS_SERVE_STATION_RECORDING_H

#include <chrono>
#include <string>

#include "zocam/zocam.hpp"

#include "tools/recorded_file.h"
#include "tools/serve/source_state.h"

namespace serve {

class StationRecording {
 public:
  // Records the running stream of a camera, which must outlive this. Throws ToolError.
  StationRecording(const zocam::Device& camera, zocam::Writer writer,
                   std::unique_ptr<RecordedFile> file, std::string name);
  static StationRecording Begin(zocam::Device& camera, const std::string& path,
                                const std::string& name);

  // Gives the file its name once a frame is in it, and notices what went wrong.
  void Watch();
  // Ends it; the failure, if there is one, is why.
  Json Finish(const std::string& failure = "");
  Json Describe() const;

 private:
  using Clock = std::chrono::steady_clock;

  std::unique_ptr<RecordedFile> file_;
  zocam::Writer writer_;
  const std::string name_;
  const uint64_t recordBytes_;
  const uint64_t headerBytes_;
  const Clock::time_point begin_ = Clock::now();
  std::string error_;
};

}  // namespace serve

#endif
