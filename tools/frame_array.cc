// All frames in one NumPy array, and a JSON file beside it that tells what they are.
#include <algorithm>
#include <cctype>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "tools/advice.h"
#include "tools/camera_summary.h"
#include "tools/file_checks.h"
#include "tools/frame_sink.h"
#include "tools/npy_file.h"
#include "tools/offset_text.h"
#include "tools/output_file.h"
#include "tools/png_file.h"

namespace {

using nlohmann::ordered_json;

std::string Dump(const ordered_json& json, int indent) {
  return json.dump(indent, ' ', false, ordered_json::error_handler_t::replace);
}

class FrameArray : public FrameSink {
 public:
  FrameArray(const std::string& path, const std::string& indexPath, const zocam::Recording& film)
      : film_(film), values_(path, film.Width(), film.Height()), index_(indexPath) {}

  void Encode(ExportedFrame& frame) const override {
    ordered_json entry = {{"number", frame.stamp.number},
                          {"time", static_cast<double>(frame.stamp.timeOffset.count()) / 1000.0},
                          {"date", DateTimeText(frame.stamp.dateTime)}};
    if (frame.position) entry["position"] = *frame.position;
    const std::string text = Dump(entry, -1);
    frame.encoded.assign(text.begin(), text.end());
  }

  void Add(const ExportedFrame& frame) override {
    if (isFirst_) index_.Write(Head(frame));
    index_.Write(std::string_view(isFirst_ ? "\n    " : ",\n    "));
    index_.Write(frame.encoded);
    isFirst_ = false;
    values_.Add(frame.image.values);
  }

  void Finish() override {
    index_.Write("\n  ]\n}\n");
    values_.Finish();
    index_.Commit();
  }

 private:
  // Everything up to the list of frames, which is written as they come.
  std::string Head(const ExportedFrame& frame) const {
    ordered_json camera = SummaryJson("", film_);
    camera.erase("node");
    if (film_.ProductName().empty()) camera.erase("name");  // recordings have none
    ordered_json head = {{"source", std::filesystem::path(film_.Label()).filename().string()},
                         {"camera", std::move(camera)},
                         {"width", film_.Width()},
                         {"height", film_.Height()}};
    for (PngText& text : DescribeValues(frame.quantity, frame.image.resolution)) {
      std::ranges::transform(text.key, text.key.begin(),
                             [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
      head[text.key] = text.text;
    }
    if (head.contains("resolution")) head["resolution"] = frame.image.resolution;
    std::string text = Dump(head, 2);
    text.resize(text.size() - 2);  // without the closing brace
    return text + ",\n  \"frames\": [";
  }

  const zocam::Recording& film_;
  NpyImagesFile values_;
  OutputStream index_;
  bool isFirst_ = true;
};

}  // namespace

std::unique_ptr<FrameSink> MakeArray(const std::string& path, bool overwrite,
                                     const zocam::Recording& film) {
  namespace fs = std::filesystem;
  const std::string indexPath = fs::path(path).replace_extension(".json");
  RequireOtherFile(indexPath, film.Label());
  std::error_code error;
  // Beside an array it comes from an earlier export.
  if (!overwrite && fs::exists(indexPath, error) && !fs::exists(path, error))
    throw ToolError(indexPath + ", which is written beside " + path +
                    ", exists and belongs to no such array; name another file, or add --overwrite");
  return std::make_unique<FrameArray>(path, indexPath, film);
}
