// Where exported frames go: one kind for each kind of output.
#ifndef ZOCAM_TOOLS_FRAME_SINK_H
#define ZOCAM_TOOLS_FRAME_SINK_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zocam/zocam.hpp"

#include "tools/quantity.h"
#include "tools/region.h"
#include "tools/steady_pictures.h"

struct ExportedFrame {
  zocam::FrameStamp stamp;
  // In the recording, from 1; told where the frames' own numbers do not tell them apart.
  std::optional<uint32_t> position;
  Quantity quantity = Quantity::kTemperature;
  zocam::TemperatureImage image;
  Picture picture;               // for outputs that show pictures
  std::vector<uint8_t> encoded;  // a file, or the piece of one, where Encode() makes such
};

class FrameSink {
 public:
  FrameSink() = default;
  virtual ~FrameSink() = default;
  FrameSink(const FrameSink&) = delete;
  FrameSink& operator=(const FrameSink&) = delete;

  // What a frame's output needs no other frame for. Any thread, several at once with a frame each.
  virtual void Encode(ExportedFrame&) const {}
  // The frames in order, each of them encoded.
  virtual void Add(const ExportedFrame& frame) = 0;
  // What was added so far becomes the output. Without it a file does not come to be.
  virtual void Finish() {}
};

// What a folder holds for each frame.
enum class FrameFile { kPicture, kPngValues, kTiffValues };
struct FolderOptions {
  std::string path;
  FrameFile kind = FrameFile::kPicture;
  bool overwrite = false;
};

// Each throws ToolError when the output cannot be begun. What they are given must outlive them.
std::unique_ptr<FrameSink> MakeFolder(const FolderOptions& options, const zocam::Recording& film,
                                      const SteadyPictures& pictures);
std::unique_ptr<FrameSink> MakeArray(const std::string& path, bool overwrite,
                                     const zocam::Recording& film);
std::unique_ptr<FrameSink> MakeTable(const std::string& path, const std::vector<Region>& spots,
                                     const std::vector<Region>& areas,
                                     const zocam::Recording& film);
std::unique_ptr<FrameSink> MakeVideo(const std::string& path, const std::string& rate,
                                     const SteadyPictures& pictures);

#endif
