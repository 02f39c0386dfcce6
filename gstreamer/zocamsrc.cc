#include "gstreamer/zocamsrc.h"

#include <gst/base/gstpushsrc.h>
#include <gst/video/video.h>

#include <array>
#include <atomic>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "gstreamer/properties.h"
#include "tools/advice.h"

// GObject's and GStreamer's macros cast as C does.
#pragma GCC diagnostic ignored "-Wold-style-cast"

namespace {

using zogst::Content;
using Clock = std::chrono::steady_clock;

constexpr const char* kMetaName = "ZocamFrame";

struct NamedFormat {
  const char* name;
  Content content;
};
// The one that is taken when what follows does not mind comes first.
constexpr std::array kFormats{NamedFormat{"RGB", Content::kColours},
                              NamedFormat{"GRAY8", Content::kGrey},
                              NamedFormat{"GRAY16_LE", Content::kTemperatures}};

// What is known of the video as long as the source is open.
struct Shape {
  gint width;
  gint height;
  gint rateNumerator;  // 0/1: not known
  gint rateDenominator;
  GstClockTime frameTime;
  std::optional<std::chrono::milliseconds> length;  // of a recording
};

// What the element has beside what its base class has.
struct State {
  std::mutex mutex;  // guards:
  zogst::Settings settings;
  // Made and ended by start() and stop(). The streaming thread, which lives in between, reads them
  // without the lock; those who may ask at any time need it.
  std::unique_ptr<zogst::FrameSource> source;
  std::optional<Shape> shape;

  std::atomic<int> resolution = 0;

  // The streaming thread's.
  GstVideoInfo info{};
  Content content = Content::kColours;
};

}  // namespace

struct ZocamSrc {
  GstPushSrc parent;
  State* state;
};

struct ZocamSrcClass {
  GstPushSrcClass parent;
};

GType zocam_src_get_type();
G_DEFINE_TYPE(ZocamSrc, zocam_src, GST_TYPE_PUSH_SRC)
GST_ELEMENT_REGISTER_DEFINE(zocamsrc, "zocamsrc", GST_RANK_NONE, zocam_src_get_type())

namespace {

ZocamSrc* SelfOf(gpointer object) { return reinterpret_cast<ZocamSrc*>(object); }
State& StateOf(gpointer object) { return *SelfOf(object)->state; }

// Runs a body that may throw, and posts an error in its place: what failed, on what, what to do.
template <typename Body>
bool Try(ZocamSrc* self, int code, const char* what, Body body) {
  std::string message;
  try {
    body();
    return true;
  } catch (const zocam::Error& error) {
    message = WithAdvice(error.what(), Advice(error));
    if (error.HostErrno() == EBUSY) code = GST_RESOURCE_ERROR_BUSY;
    if (error.HostErrno() == ENOENT) code = GST_RESOURCE_ERROR_NOT_FOUND;
  } catch (const std::exception& error) {
    message = error.what();
  }
  // The macro takes codes by name only.
  gst_element_message_full(GST_ELEMENT(self), GST_MESSAGE_ERROR, GST_RESOURCE_ERROR, code,
                           g_strdup(message.c_str()), g_strdup(what), __FILE__, __func__, __LINE__);
  return false;
}

void SetProperty(GObject* object, guint property, const GValue* value, GParamSpec* pspec) {
  State& state = StateOf(object);
  const std::lock_guard lock(state.mutex);
  if (!zogst::SetProperty(state.settings, property, value))
    G_OBJECT_WARN_INVALID_PROPERTY_ID(object, property, pspec);
}

void GetProperty(GObject* object, guint property, GValue* value, GParamSpec* pspec) {
  State& state = StateOf(object);
  const std::lock_guard lock(state.mutex);
  if (property == zogst::kDropped)
    g_value_set_uint64(value, state.source ? state.source->Dropped() : 0);
  else if (property == zogst::kResolution)
    g_value_set_int(value, state.resolution);
  else if (!zogst::GetProperty(state.settings, property, value))
    G_OBJECT_WARN_INVALID_PROPERTY_ID(object, property, pspec);
}

Shape ShapeOf(zogst::FrameSource& source) {
  const zocam::Device& device = source.Device();
  Shape shape{static_cast<gint>(device.Width()),
              static_cast<gint>(device.Height()),
              static_cast<gint>(ZoLib_GetFrameRateNumerator(device.Handle())),
              static_cast<gint>(ZoLib_GetFrameRateDenominator(device.Handle())),
              GST_CLOCK_TIME_NONE,
              source.Length()};
  if (shape.rateNumerator > 0 && shape.rateDenominator > 0) {
    shape.frameTime =
        gst_util_uint64_scale_int(GST_SECOND, shape.rateDenominator, shape.rateNumerator);
  } else {
    shape.rateNumerator = 0;
    shape.rateDenominator = 1;
  }
  return shape;
}

std::optional<Shape> ShapeOf(State& state) {
  const std::lock_guard lock(state.mutex);
  return state.shape;
}

gboolean Start(GstBaseSrc* base) {
  State& state = StateOf(base);
  zogst::SourceChoice choice;
  {
    const std::lock_guard lock(state.mutex);
    choice = state.settings.source;
  }
  const bool isFile = !choice.location.empty();
  const int code = isFile ? GST_RESOURCE_ERROR_OPEN_READ : GST_RESOURCE_ERROR_NOT_FOUND;
  return Try(SelfOf(base), code, isFile ? "cannot open the recording" : "cannot open the camera",
             [&] {
               auto source = zogst::FrameSource::Open(choice);
               state.resolution = 0;
               const std::lock_guard lock(state.mutex);
               state.shape = ShapeOf(*source);
               state.source = std::move(source);
             });
}

gboolean Stop(GstBaseSrc* base) {
  State& state = StateOf(base);
  std::unique_ptr<zogst::FrameSource> source;  // ends when nobody waits for the lock
  const std::lock_guard lock(state.mutex);
  source = std::move(state.source);
  state.shape.reset();
  return TRUE;
}

gboolean Interrupt(GstBaseSrc* base, bool on) {
  State& state = StateOf(base);
  const std::lock_guard lock(state.mutex);
  if (state.source) state.source->Interrupt(on);
  return TRUE;
}
gboolean Unlock(GstBaseSrc* base) { return Interrupt(base, true); }
gboolean UnlockStop(GstBaseSrc* base) { return Interrupt(base, false); }

GstCaps* GetCaps(GstBaseSrc* base, GstCaps* filter) {
  GstCaps* caps = gst_pad_get_pad_template_caps(GST_BASE_SRC_PAD(base));
  if (const std::optional<Shape> shape = ShapeOf(StateOf(base))) {
    caps = gst_caps_make_writable(caps);
    gst_caps_set_simple(caps, "width", G_TYPE_INT, shape->width, "height", G_TYPE_INT,
                        shape->height, "framerate", GST_TYPE_FRACTION, shape->rateNumerator,
                        shape->rateDenominator, "pixel-aspect-ratio", GST_TYPE_FRACTION, 1, 1,
                        nullptr);
  }
  if (filter == nullptr) return caps;
  GstCaps* common = gst_caps_intersect_full(filter, caps, GST_CAPS_INTERSECT_FIRST);
  gst_caps_unref(caps);
  return common;
}

gboolean SetCaps(GstBaseSrc* base, GstCaps* caps) {
  State& state = StateOf(base);
  if (!gst_video_info_from_caps(&state.info, caps)) return FALSE;
  const std::string name = gst_video_format_to_string(GST_VIDEO_INFO_FORMAT(&state.info));
  for (const NamedFormat& format : kFormats)
    if (name == format.name) state.content = format.content;
  return TRUE;
}

gboolean IsSeekable(GstBaseSrc* base) {
  const std::optional<Shape> shape = ShapeOf(StateOf(base));
  return shape && shape->length;
}

gboolean DoSeek(GstBaseSrc* base, GstSegment* segment) {
  State& state = StateOf(base);
  if (segment->format != GST_FORMAT_TIME || segment->rate < 0) return FALSE;
  if (!state.source || !state.source->Length()) return TRUE;  // a camera's, at its start
  const auto time = std::chrono::milliseconds(segment->position / GST_MSECOND);
  return Try(SelfOf(base), GST_RESOURCE_ERROR_SEEK, "cannot seek",
             [&] { state.source->SeekTo(time); });
}

gboolean Query(GstBaseSrc* base, GstQuery* query) {
  const std::optional<Shape> shape = ShapeOf(StateOf(base));
  switch (GST_QUERY_TYPE(query)) {
    case GST_QUERY_LATENCY:
      // A frame's time is when it came, and it is handed on then; one can wait until the next.
      if (!shape || shape->length) break;
      gst_query_set_latency(query, TRUE, 0, shape->frameTime);
      return TRUE;
    case GST_QUERY_DURATION: {
      GstFormat format = GST_FORMAT_UNDEFINED;
      gst_query_parse_duration(query, &format, nullptr);
      if (format != GST_FORMAT_TIME || !shape || !shape->length) return FALSE;
      const GstClockTime last = static_cast<GstClockTime>(shape->length->count()) * GST_MSECOND;
      const GstClockTime shown = GST_CLOCK_TIME_IS_VALID(shape->frameTime) ? shape->frameTime : 0;
      gst_query_set_duration(query, format, static_cast<gint64>(last + shown));
      return TRUE;
    }
    default:
      break;
  }
  return GST_BASE_SRC_CLASS(zocam_src_parent_class)->query(base, query);
}

// When a camera's frame came, in the pipeline's running time; none without a clock.
GstClockTime RunningTimeOf(ZocamSrc* self, Clock::time_point arrival) {
  GstClock* clock = gst_element_get_clock(GST_ELEMENT(self));
  if (clock == nullptr) return GST_CLOCK_TIME_NONE;
  const GstClockTime now = gst_clock_get_time(clock);
  gst_object_unref(clock);
  const auto age = static_cast<GstClockTime>(
      std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - arrival).count());
  const GstClockTime before = gst_element_get_base_time(GST_ELEMENT(self)) + age;
  return now < before ? 0 : now - before;
}

struct Free {
  void operator()(void* memory) const { g_free(memory); }
};

// Null before the camera's first flat-field correction.
GstBuffer* BufferOf(State& state, const zogst::SourceFrame& frame,
                    const zogst::PaintSettings& paint) {
  const size_t size = GST_VIDEO_INFO_SIZE(&state.info);
  std::unique_ptr<uint8_t, Free> pixels(static_cast<uint8_t*>(g_try_malloc(size)));
  if (!pixels) throw std::bad_alloc();
  if (!zogst::Paint(state.source->Device(), frame.frame, state.content, paint, {pixels.get(), size},
                    static_cast<size_t>(GST_VIDEO_INFO_PLANE_STRIDE(&state.info, 0))))
    return nullptr;
  return gst_buffer_new_wrapped(pixels.release(), size);
}

void Describe(GstBuffer* buffer, const State& state, const zogst::SourceFrame& frame) {
  GST_BUFFER_DURATION(buffer) = state.shape->frameTime;
  GST_BUFFER_OFFSET(buffer) = frame.number - 1;
  GST_BUFFER_OFFSET_END(buffer) = frame.number;
  GstCustomMeta* meta = gst_buffer_add_custom_meta(buffer, kMetaName);
  if (meta == nullptr) return;
  gst_structure_set(gst_custom_meta_get_structure(meta), "resolution", G_TYPE_INT,
                    state.resolution.load(), "number", G_TYPE_UINT64,
                    static_cast<guint64>(frame.number), "camera-time", G_TYPE_INT64,
                    static_cast<gint64>(frame.frame.Telemetry().time.count()), nullptr);
}

// The next frame as a buffer, in the format that was agreed on.
GstFlowReturn NextBuffer(ZocamSrc* self, GstBuffer** out) {
  State& state = *self->state;
  while (true) {
    switch (state.source->Next()) {
      case zogst::SourceEvent::kInterrupted:
        return GST_FLOW_FLUSHING;
      case zogst::SourceEvent::kEnd:
        return GST_FLOW_EOS;
      case zogst::SourceEvent::kFrame:
        break;
    }
    const zogst::SourceFrame frame = state.source->Current();
    GstClockTime time = GST_CLOCK_TIME_NONE;
    if (frame.time) time = static_cast<GstClockTime>(frame.time->count()) * GST_MSECOND;
    if (frame.arrival) time = RunningTimeOf(self, *frame.arrival);
    zogst::PaintSettings paint;
    {
      const std::lock_guard lock(state.mutex);
      paint = state.settings.paint;
    }
    GstBuffer* buffer = BufferOf(state, frame, paint);
    if (buffer == nullptr) continue;
    state.resolution = ZoLib_GetLastTempResolution(state.source->Device().Handle());
    GST_BUFFER_PTS(buffer) = time;
    Describe(buffer, state, frame);
    *out = buffer;
    return GST_FLOW_OK;
  }
}

GstFlowReturn Create(GstPushSrc* base, GstBuffer** out) {
  ZocamSrc* self = SelfOf(base);
  GstFlowReturn flow = GST_FLOW_ERROR;
  Try(self, GST_RESOURCE_ERROR_READ, "cannot read on", [&] { flow = NextBuffer(self, out); });
  return flow;
}

GstStateChangeReturn ChangeState(GstElement* element, GstStateChange transition) {
  State& state = StateOf(element);
  if (transition == GST_STATE_CHANGE_READY_TO_PAUSED) {
    bool isLive = true;
    {
      const std::lock_guard lock(state.mutex);
      isLive = state.settings.source.location.empty();
    }
    gst_base_src_set_live(GST_BASE_SRC(element), isLive ? TRUE : FALSE);
  }
  if (transition == GST_STATE_CHANGE_PAUSED_TO_PLAYING ||
      transition == GST_STATE_CHANGE_PLAYING_TO_PAUSED) {
    const std::lock_guard lock(state.mutex);
    if (state.source) state.source->Rest(transition == GST_STATE_CHANGE_PLAYING_TO_PAUSED);
  }
  return GST_ELEMENT_CLASS(zocam_src_parent_class)->change_state(element, transition);
}

void Finalize(GObject* object) {
  delete SelfOf(object)->state;
  G_OBJECT_CLASS(zocam_src_parent_class)->finalize(object);
}

GstCaps* TemplateCaps() {
  GstCaps* caps = gst_caps_new_empty();
  for (const NamedFormat& format : kFormats)
    gst_caps_append_structure(
        caps, gst_structure_new("video/x-raw", "format", G_TYPE_STRING, format.name, "width",
                                GST_TYPE_INT_RANGE, 1, G_MAXINT, "height", GST_TYPE_INT_RANGE, 1,
                                G_MAXINT, "framerate", GST_TYPE_FRACTION_RANGE, 0, 1, G_MAXINT, 1,
                                nullptr));
  return caps;
}

}  // namespace

static void zocam_src_class_init(ZocamSrcClass* klass) {
  static const gchar* noTags[] = {nullptr};
  gst_meta_register_custom(kMetaName, noTags, nullptr, nullptr, nullptr);

  auto* object = G_OBJECT_CLASS(klass);
  object->set_property = SetProperty;
  object->get_property = GetProperty;
  object->finalize = Finalize;
  zogst::InstallProperties(object);

  auto* element = GST_ELEMENT_CLASS(klass);
  element->change_state = ChangeState;
  gst_element_class_set_static_metadata(element, "Thermal camera source", "Source/Video/Hardware",
                                        "Temperature images and pictures of small USB "
                                        "thermal-infrared cameras and of their recordings",
                                        "The zocam developers");
  GstCaps* caps = TemplateCaps();
  gst_element_class_add_pad_template(
      element, gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, caps));
  gst_caps_unref(caps);

  auto* base = GST_BASE_SRC_CLASS(klass);
  base->start = Start;
  base->stop = Stop;
  base->unlock = Unlock;
  base->unlock_stop = UnlockStop;
  base->get_caps = GetCaps;
  base->set_caps = SetCaps;
  base->is_seekable = IsSeekable;
  base->do_seek = DoSeek;
  base->query = Query;
  GST_PUSH_SRC_CLASS(klass)->create = Create;
}

static void zocam_src_init(ZocamSrc* self) {
  self->state = new State;
  gst_base_src_set_format(GST_BASE_SRC(self), GST_FORMAT_TIME);
}
