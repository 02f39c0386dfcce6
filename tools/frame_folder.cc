// A folder with a picture, or the measured values, of each frame.
#include <cstdio>
#include <filesystem>

#include "tools/advice.h"
#include "tools/file_checks.h"
#include "tools/frame_sink.h"
#include "tools/offset_text.h"
#include "tools/output_file.h"
#include "tools/png_file.h"
#include "tools/tiff_file.h"

namespace {

namespace fs = std::filesystem;

class FrameFolder : public FrameSink {
 public:
  FrameFolder(const FolderOptions& options, const zocam::Recording& film,
              const SteadyPictures& pictures)
      : options_(options), film_(film), pictures_(pictures) {
    std::error_code error;
    if (!fs::exists(options.path, error)) return;
    if (!fs::is_directory(options.path, error))
      throw ToolError("cannot write to " + options.path + ": it is no folder");
    const bool isEmpty = fs::is_empty(options.path, error);
    if (error) FailToWrite(error);
    if (!isEmpty && !options.overwrite)
      throw ToolError("folder " + options.path + " is not empty; name another, or add --overwrite");
  }

  void Encode(ExportedFrame& frame) const override { frame.encoded = FileOf(frame); }

  void Add(const ExportedFrame& frame) override {
    const uint32_t number = frame.position.value_or(frame.stamp.number);
    const char* suffix = options_.kind == FrameFile::kTiffValues ? "tiff" : "png";
    char name[32];
    std::snprintf(name, sizeof name, "frame-%06u.%s", unsigned{number}, suffix);
    const std::string path = fs::path(options_.path) / name;
    RequireOtherFile(path, film_.Label());
    std::error_code error;
    fs::create_directories(options_.path, error);
    if (error) FailToWrite(error);
    WriteOutputFile(path, frame.encoded);
  }

 private:
  [[noreturn]] void FailToWrite(const std::error_code& error) const {
    throw ToolError("cannot write to " + options_.path + ": " + error.message());
  }

  std::vector<uint8_t> FileOf(const ExportedFrame& frame) const {
    if (options_.kind == FrameFile::kTiffValues)
      return EncodeTiff(frame.image, frame.quantity, SourceText(film_), frame.stamp.dateTime);
    const std::vector<PngText> origin = DescribeOrigin(film_, DateTimeText(frame.stamp.dateTime));
    if (options_.kind == FrameFile::kPngValues)
      return EncodePng(frame.image, frame.quantity, origin);
    return EncodePng(pictures_.Compose(frame.picture), origin);
  }

  const FolderOptions options_;
  const zocam::Recording& film_;
  const SteadyPictures& pictures_;
};

}  // namespace

std::unique_ptr<FrameSink> MakeFolder(const FolderOptions& options, const zocam::Recording& film,
                                      const SteadyPictures& pictures) {
  return std::make_unique<FrameFolder>(options, film, pictures);
}
