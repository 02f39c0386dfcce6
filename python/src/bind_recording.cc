// zocam.Recording.
#include "python/src/bind_source.h"
#include "python/src/recording.h"

namespace zopy {
namespace {

using RecordingOwner = Owner<Recording>;

PyFrame FrameAt(const RecordingOwner& film, int64_t number) {
  const auto count = static_cast<int64_t>(film->FrameCount());
  const int64_t place = number < 0 ? count + 1 + number : number;
  if (place < 1 || place > count)
    throw py::index_error("no frame " + std::to_string(number) + ": they are numbered from 1 to " +
                          std::to_string(count));
  return film.Wrap(WithoutGil([&] { return film->At(static_cast<uint64_t>(place)); }));
}

void SteadyGain(const RecordingOwner& film, uint32_t step, double from, std::optional<double> to,
                const std::string& gain) {
  if (gain != "nonlinear" && gain != "linear")
    throw py::value_error("\"" + gain + "\" is none of \"nonlinear\" and \"linear\"");
  RequireNumber(from, "a time");
  RequireNumber(to.value_or(0.0), "a time");
  WithoutGil([&] { film->ScanGain(gain == "nonlinear", step, from, to); });
}

}  // namespace

void BindRecording(py::module_& module) {
  py::class_<RecordingOwner> type(module, "Recording",
                                  R"(An open recording: iterate over its frames, or index them.

recording[n] is frame number n, from 1; recording[-1] the last one; a slice of numbers is a lazy
sequence. Indexing does not move a loop, which goes on from where the last one broke off, and begins
anew after it reached the end. A context manager that closes it. Settings hold for the frames
fetched afterwards. Any thread may use it; several threads that iterate share the frames.)");
  BindSource<Recording>(type);
  type.def("__len__", [](const RecordingOwner& film) { return film->FrameCount(); })
      .def("__getitem__", &FrameAt, py::arg("number"))
      .def(
          "__getitem__",
          [](const py::object& self, const py::slice& numbers) {
            return py::module_::import("zocam.slices").attr("of_slice")(self, numbers);
          },
          py::arg("numbers"))
      .def(
          "seek",
          [](const RecordingOwner& film, double seconds) {
            RequireNumber(seconds, "a time");
            WithoutGil([&] { film->Seek(seconds); });
          },
          py::arg("seconds"),
          R"(The next loop begins with the last frame at or before a time (see Frame.time).

With none when the time is behind the last frame.)")
      .def(
          "steady_gain", &SteadyGain, py::arg("step") = 1, py::arg("from_") = 0.0,
          py::arg("to") = py::none(), py::arg("gain") = "nonlinear",
          R"(Makes one gain for the whole recording and switches it on: pictures keep their brightness.

Looks at every step-th frame from one time to another (in seconds; from_ counts with a step of 2 or
more), decoded with the settings as they are now; takes as long as that takes, without the GIL.
Raises ZocamError 6 when no frame in the range can be decoded.)")
      .def_property(
          "steady",
          [](const RecordingOwner& film) {
            return WithoutGil([&] { return film->PainterOfFrames()->SteadyGain(); });
          },
          [](const RecordingOwner& film, bool on) {
            WithoutGil([&] { film->PainterOfFrames()->SetSteadyGain(on); });
          },
          "Whether pictures use what steady_gain() found.")
      .def_property_readonly(
          "path", [](const RecordingOwner& film) { return film->Label(); }, "Where the file is.")
      .def_property_readonly(
          "duration",
          [](const RecordingOwner& film) {
            return WithoutGil([&] {
              return film->Use([](zocam::Device& device) {
                return static_cast<double>(ZoLib_GetFileTimeLength(device.Handle())) / 1000.0;
              });
            });
          },
          "Time of the last frame, in seconds.")
      .def("__repr__", [](const RecordingOwner& film) {
        return "<zocam.Recording " + film->Label() + ", " + std::to_string(film->FrameCount()) +
               " frames" + (film->IsClosed() ? ", closed>" : ">");
      });
  module.def(
      "_open_recording",
      [](const std::string& path) {
        return std::make_unique<RecordingOwner>(WithoutGil([&] { return Recording::Open(path); }));
      },
      py::arg("path"));
}

}  // namespace zopy
