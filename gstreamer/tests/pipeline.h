// A pipeline of zocamsrc and a sink that hands its buffers over.
#ifndef ZOCAM_GSTREAMER_TESTS_PIPELINE_H
#define ZOCAM_GSTREAMER_TESTS_PIPELINE_H

#include <gst/app/gstappsink.h>
#include <gst/gst.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct Picture {
  std::vector<uint8_t> bytes;
  std::string caps;
  GstClockTime time;
  GstClockTime duration;
  uint64_t offset;
  int resolution;
  uint64_t number;
};

class Pipeline {
 public:
  // "zocamsrc PROPERTIES ! video/x-raw,format=FORMAT ! appsink SINK"
  Pipeline(const std::string& properties, const std::string& format, const std::string& sink = "");
  ~Pipeline();
  Pipeline(const Pipeline&) = delete;
  Pipeline& operator=(const Pipeline&) = delete;

  // Whether the pipeline got there, waiting for it; or began to play.
  bool Go(GstState state);
  // Nothing at the end, after an error or the time.
  std::optional<Picture> Pull(std::chrono::milliseconds timeout = std::chrono::seconds(5));
  bool AtEnd() const;
  // Text and code of the next error; waits for it.
  std::string Error();
  int errorCode = 0;

  GstElement* Bin() const { return bin_; }
  GstElement* Source() const { return source_; }
  uint64_t Dropped() const;

 private:
  GstElement* bin_;
  GstElement* source_;
  GstAppSink* sink_;
};

#endif
