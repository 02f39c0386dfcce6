// zocam.Frame.
#include <array>

#include "python/src/bind.h"

namespace zopy {
namespace {

using Shape = std::array<py::ssize_t, 2>;

Shape ShapeOf(const Geometry& geometry) {
  return {static_cast<py::ssize_t>(geometry.height), static_cast<py::ssize_t>(geometry.width)};
}

// Read-only, over memory of the frame, which lives as long as the view.
template <typename T>
py::array View(const PyFrame& frame, const T* values, const Shape& shape) {
  auto owner = std::make_unique<std::shared_ptr<FrameData>>(frame.data);
  const py::capsule base(owner.get(), [](void* kept) noexcept {
    delete static_cast<std::shared_ptr<FrameData>*>(kept);
  });
  static_cast<void>(owner.release());
  py::array_t<T> view(shape, values, base);
  view.attr("setflags")(py::arg("write") = false);
  return view;
}

py::array Temperature(const PyFrame& frame, bool copy) {
  FrameData& data = *frame.data;
  data.RequireTemperatures();
  const Shape shape = ShapeOf(data.geometry);
  const size_t count = data.geometry.PixelCount();
  if (copy) {
    py::array_t<float> out(shape);
    data.WriteTemperatures({out.mutable_data(), count});
    return out;
  }
  if (!data.celsius) {
    data.celsius = std::make_unique_for_overwrite<float[]>(count);
    data.WriteTemperatures({data.celsius.get(), count});
  }
  return View(frame, data.celsius.get(), shape);
}

py::array Counts(const PyFrame& frame, bool copy) {
  frame.data->RequireCounts();
  const Shape shape = ShapeOf(frame.data->geometry);
  if (copy) return py::array_t<uint16_t>(shape, frame.data->counts.get());
  return View(frame, frame.data->counts.get(), shape);
}

// The words as they came, big-endian, footer lines included.
py::array Raw(const PyFrame& frame, bool copy) {
  const auto words = py::dtype(">u2");
  const Geometry& geometry = frame.data->geometry;
  const auto lines = static_cast<py::ssize_t>(geometry.rawBytes / 2 / geometry.width);
  const Shape shape{lines, static_cast<py::ssize_t>(geometry.width)};
  const auto* first = reinterpret_cast<const uint16_t*>(frame.data->raw.get());
  const py::array view = View(frame, first, shape).view(">u2");
  return copy ? py::array(view.attr("copy")()) : view;
}

py::array Array(const PyFrame& frame, const std::string& what, bool copy) {
  if (what == "temperature") return Temperature(frame, copy);
  if (what == "counts") return Counts(frame, copy);
  if (what == "raw") return Raw(frame, copy);
  throw py::value_error("\"" + what + "\" is none of \"temperature\", \"counts\" and \"raw\"");
}

uint32_t FormatOf(const std::string& palette, const std::string& gain) {
  uint32_t format = 0;
  if (palette == "iron")
    format = ZO_FMT_IRON_RGB24;
  else if (palette == "rainbow")
    format = ZO_FMT_RAINBOW_RGB24;
  else if (palette == "grey" || palette == "gray")
    format = ZO_FMT_GRAY8;
  else
    throw py::value_error("\"" + palette + "\" is none of \"iron\", \"rainbow\" and \"grey\"");
  if (gain == "nonlinear") return format + ZO_GAIN_NONLINEAR;
  if (gain == "linear") return format + ZO_GAIN_LINEAR;
  if (gain == "manual") return format + ZO_GAIN_MANUAL;
  throw py::value_error("\"" + gain + "\" is none of \"nonlinear\", \"linear\" and \"manual\"");
}

py::array Render(const PyFrame& frame, const std::string& palette, const std::string& gain,
                 std::optional<std::pair<double, double>> range) {
  const FrameData& data = *frame.data;
  data.RequireCounts();
  const uint32_t format = FormatOf(palette, gain);
  const std::optional<Range> limits = range ? std::optional(RangeOf(*range)) : std::nullopt;
  const Shape shape = ShapeOf(data.geometry);
  py::array_t<uint8_t> out(std::array<py::ssize_t, 3>{shape[0], shape[1], 3});
  const std::span<uint8_t> pixels(out.mutable_data(), data.geometry.PixelCount() * 3);
  WithoutGil([&] {
    if (zocam::BytesPerPixel(format) == 3)
      return frame.painter->Render(data, format, limits, pixels);
    std::vector<uint8_t> grey(data.geometry.PixelCount());
    frame.painter->Render(data, format, limits, grey);
    ZoLib_Gray8ToRGB(grey.data(), data.geometry.width, data.geometry.height, pixels.data(),
                     static_cast<uint32_t>(pixels.size()), 0, 3);
  });
  return out;
}

// None for a date that no calendar has, as damaged recordings may tell.
py::object DateTimeOf(const PyFrame& frame) {
  const DateTime16& time = frame.data->dateTime;
  try {
    return py::module_::import("datetime")
        .attr("datetime")(time.year, time.month, time.day, time.hour, time.minute,
                          std::min<int>(time.second, 59), time.millisecond * 1000);
  } catch (py::error_already_set& error) {
    if (!error.matches(PyExc_ValueError)) throw;
    return py::none();
  }
}

py::object TelemetryOf(const PyFrame& frame) {
  const std::span<const uint8_t> footer = frame.data->Footer();
  return py::module_::import("zocam.telemetry")
      .attr("read")(py::bytes(reinterpret_cast<const char*>(footer.data()), footer.size()),
                    frame.productId, frame.data->geometry.width);
}

std::string Describe(const PyFrame& frame) {
  const FrameData& data = *frame.data;
  return "<zocam.Frame " + std::to_string(data.number) + ", " +
         std::to_string(data.geometry.width) + " x " + std::to_string(data.geometry.height) + ">";
}

py::object AsArray(const PyFrame& frame, const py::object& dtype, const py::object&) {
  py::array values = Temperature(frame, true);
  return dtype.is_none() ? py::object(values) : values.attr("astype")(dtype);
}

}  // namespace

void BindFrame(py::module_& module) {
  py::class_<PyFrame>(module, "Frame",
                      R"(One frame: what the camera sent and the image decoded from it.

Owns both, so it may be kept as long as wanted, also when its source is closed. The image was made
when the frame was fetched, with the settings of that moment; it never changes. Thread-safe.)")
      .def_property_readonly(
          "temperature", [](const PyFrame& frame) { return Temperature(frame, true); },
          R"(A new (height, width) float32 array, in degrees Celsius.

While a reference image is installed: differences to it, in kelvin. Raises ZocamError 22 when the
frame cannot be decoded, as before a camera's first flat-field correction (see has_temperature),
and when it shows raw counts.)")
      .def_property_readonly(
          "counts", [](const PyFrame& frame) { return Counts(frame, true); },
          R"(A new (height, width) uint16 array of the decoded image, in 1/resolution kelvin.

The exact values that the library computes. With raw counts switched on: the sensor's words. Raises
ZocamError 22 as temperature does.)")
      .def_property_readonly(
          "raw", [](const PyFrame& frame) { return Raw(frame, true); },
          "A new big-endian uint16 array of the raw frame: height image lines, then the footer.")
      .def_property_readonly(
          "has_temperature",
          [](const PyFrame& frame) {
            return frame.data->counts && frame.data->meaning != Meaning::kRawCounts;
          },
          "Whether temperature can be read.")
      .def_property_readonly(
          "resolution",
          [](const PyFrame& frame) {
            frame.data->RequireCounts();
            return frame.data->resolution;
          },
          "Units of counts per kelvin: 100 or 10.")
      .def_property_readonly(
          "shape",
          [](const PyFrame& frame) {
            const Shape shape = ShapeOf(frame.data->geometry);
            return py::make_tuple(shape[0], shape[1]);
          },
          "(height, width) in pixels.")
      .def_property_readonly(
          "number", [](const PyFrame& frame) { return frame.data->number; },
          R"(From 1, counted at the camera: a gap shows frames that were dropped.

Of a recording: as recorded; begins again at 1 where the recording was started again.)")
      .def_property_readonly(
          "time", [](const PyFrame& frame) { return frame.data->seconds; },
          "Seconds since the first frame of the stream or of the recording.")
      .def_property_readonly(
          "datetime", &DateTimeOf,
          "Local time of its arrival or recording; None when a recording tells no possible one.")
      .def_property_readonly("telemetry", &TelemetryOf,
                             "What the camera tells of itself with this frame: zocam.Telemetry.")
      .def("array", &Array, py::arg("what") = "temperature", py::kw_only(), py::arg("copy") = true,
           R"(The "temperature", "counts" or "raw" of the frame.

copy=False gives a read-only view without copying; it keeps the frame's memory alive by itself.)")
      .def("render", &Render, py::arg("palette") = "iron", py::arg("gain") = "nonlinear",
           py::arg("range") = py::none(),
           R"(A picture: a new (height, width, 3) uint8 array of red, green, blue.

palette: "iron", "rainbow" or "grey". gain: "nonlinear" and "linear" spread what the frame shows,
"manual" a range. range: (low, high) in degrees Celsius, of the manual gain, or the limits of an
automatic one; None takes the source's manual_range or auto_range. Other settings of pictures are
the source's as they are now. Releases the GIL.)")
      .def("__array__", &AsArray, py::arg("dtype") = py::none(), py::arg("copy") = py::none(),
           "np.asarray(frame) is temperature.")
      .def("__repr__", &Describe);
}

}  // namespace zopy
