#include "gstreamer/tests/pipeline.h"

#include <gtest/gtest.h>

#ifdef __SANITIZE_ADDRESS__
// GLib keeps what it allocates when it is loaded.
extern "C" const char* __lsan_default_suppressions() { return "leak:call_init\n"; }
extern "C" const char* __asan_default_options() { return "fast_unwind_on_malloc=0"; }
#endif

namespace {

constexpr GstClockTime kPatience = 10 * GST_SECOND;

void LoadPlugin() {
  static const bool isLoaded = [] {
    g_setenv("GST_REGISTRY", ZOCAM_REGISTRY, TRUE);
    gst_init(nullptr, nullptr);
    GError* error = nullptr;
    GstPlugin* plugin = gst_plugin_load_file(ZOCAM_PLUGIN, &error);
    if (plugin == nullptr) ADD_FAILURE() << error->message;
    return plugin != nullptr;
  }();
  ASSERT_TRUE(isLoaded);
}

}  // namespace

Pipeline::Pipeline(const std::string& properties, const std::string& format,
                   const std::string& sink) {
  LoadPlugin();
  GError* error = nullptr;
  bin_ = gst_parse_launch(("zocamsrc name=source " + properties +
                           " ! video/x-raw,format=" + format + " ! appsink name=sink " + sink)
                              .c_str(),
                          &error);
  EXPECT_EQ(error, nullptr) << error->message;
  source_ = gst_bin_get_by_name(GST_BIN(bin_), "source");
  sink_ = GST_APP_SINK(gst_bin_get_by_name(GST_BIN(bin_), "sink"));
}

Pipeline::~Pipeline() {
  gst_element_set_state(bin_, GST_STATE_NULL);
  gst_object_unref(source_);
  gst_object_unref(sink_);
  gst_object_unref(bin_);
}

bool Pipeline::Go(GstState state) {
  if (gst_element_set_state(bin_, state) == GST_STATE_CHANGE_FAILURE) return false;
  if (state == GST_STATE_PLAYING) return true;  // complete with the first frame
  return gst_element_get_state(bin_, nullptr, nullptr, kPatience) != GST_STATE_CHANGE_FAILURE;
}

std::optional<Picture> Pipeline::Pull(std::chrono::milliseconds timeout) {
  GstSample* sample = gst_app_sink_try_pull_sample(sink_, timeout.count() * GST_MSECOND);
  if (sample == nullptr) return std::nullopt;
  GstBuffer* buffer = gst_sample_get_buffer(sample);
  Picture picture{};
  GstMapInfo map;
  EXPECT_TRUE(gst_buffer_map(buffer, &map, GST_MAP_READ));
  picture.bytes.assign(map.data, map.data + map.size);
  gst_buffer_unmap(buffer, &map);
  gchar* caps = gst_caps_to_string(gst_sample_get_caps(sample));
  picture.caps = caps;
  g_free(caps);
  picture.time = GST_BUFFER_PTS(buffer);
  picture.duration = GST_BUFFER_DURATION(buffer);
  picture.offset = GST_BUFFER_OFFSET(buffer);
  GstCustomMeta* meta = gst_buffer_get_custom_meta(buffer, "ZocamFrame");
  EXPECT_NE(meta, nullptr);
  if (meta != nullptr) {
    gst_structure_get(gst_custom_meta_get_structure(meta), "resolution", G_TYPE_INT,
                      &picture.resolution, "number", G_TYPE_UINT64, &picture.number, nullptr);
  }
  gst_sample_unref(sample);
  return picture;
}

bool Pipeline::AtEnd() const { return gst_app_sink_is_eos(sink_) != FALSE; }

std::string Pipeline::Error() {
  GstBus* bus = gst_element_get_bus(bin_);
  GstMessage* message = gst_bus_timed_pop_filtered(bus, kPatience, GST_MESSAGE_ERROR);
  gst_object_unref(bus);
  if (message == nullptr) return "";
  GError* error = nullptr;
  gst_message_parse_error(message, &error, nullptr);
  std::string text = error->message;
  errorCode = error->domain == GST_RESOURCE_ERROR ? error->code : -1;
  g_error_free(error);
  gst_message_unref(message);
  return text;
}

uint64_t Pipeline::Dropped() const {
  guint64 dropped = 0;
  g_object_get(source_, "dropped", &dropped, nullptr);
  return dropped;
}
