// A table of values over time, a line for each frame.
#include <cstdio>
#include <initializer_list>

#include "tools/frame_sink.h"
#include "tools/offset_text.h"
#include "tools/output_file.h"

namespace {

class FrameTable : public FrameSink {
 public:
  FrameTable(const std::string& path, const std::vector<Region>& spots,
             const std::vector<Region>& areas, const zocam::Recording& film)
      : film_(film), spots_(spots), areas_(areas), file_(path) {}

  void Encode(ExportedFrame& frame) const override {
    std::string line = frame.position ? std::to_string(*frame.position) + "," : "";
    char text[64];
    std::snprintf(text, sizeof text, "%u,%.3f,", unsigned{frame.stamp.number},
                  static_cast<double>(frame.stamp.timeOffset.count()) / 1000.0);
    line += text + DateTimeText(frame.stamp.dateTime);
    const auto append = [&](std::initializer_list<double> values) {
      AppendCells(line, frame.quantity, values);
    };
    if (spots_.empty() && areas_.empty()) {
      const ValueSummary seen = Summarise(frame.image, frame.quantity, film_);
      append({seen.minimum, seen.maximum, seen.mean, seen.centre});
    }
    for (const Region& spot : spots_) append({ValuesIn(spot, frame.image, frame.quantity).mean});
    for (const Region& area : areas_) {
      const RegionValues seen = ValuesIn(area, frame.image, frame.quantity);
      append({seen.minimum, seen.maximum, seen.mean});
    }
    line += '\n';
    frame.encoded.assign(line.begin(), line.end());
  }

  void Add(const ExportedFrame& frame) override {
    if (isFirst_) file_.Write(Head(frame) + "\n");
    isFirst_ = false;
    file_.Write(frame.encoded);
  }

  void Finish() override { file_.Commit(); }

 private:
  // Names with commas stand in quotes.
  std::string Head(const ExportedFrame& frame) const {
    std::string head = frame.position ? "position," : "";
    head += "frame,seconds,date";
    if (spots_.empty() && areas_.empty()) head += ",min,max,mean,centre";
    for (const Region& spot : spots_) head += ",\"spot " + spot.text + "\"";
    for (const Region& area : areas_)
      for (const char* value : {"min", "max", "mean"})
        head += ",\"area " + area.text + " " + value + "\"";
    return head;
  }
  static void AppendCells(std::string& line, Quantity quantity,
                          std::initializer_list<double> values) {
    for (const double value : values) {
      char cell[32];
      std::snprintf(cell, sizeof cell, ",%.*f", quantity == Quantity::kCounts ? 0 : 2, value);
      line += cell;
    }
  }

  const zocam::Recording& film_;
  const std::vector<Region>& spots_;
  const std::vector<Region>& areas_;
  OutputStream file_;
  bool isFirst_ = true;
};

}  // namespace

std::unique_ptr<FrameSink> MakeTable(const std::string& path, const std::vector<Region>& spots,
                                     const std::vector<Region>& areas,
                                     const zocam::Recording& film) {
  return std::make_unique<FrameTable>(path, spots, areas, film);
}
