// zocam.Camera, and what finds cameras.
#include "python/src/bind_source.h"
#include "python/src/camera.h"

namespace zopy {
namespace {

using CameraOwner = Owner<Camera>;

// Calls work(device) without the GIL.
template <typename Work>
auto OnDevice(const CameraOwner& camera, Work work) {
  return WithoutGil([&] { return camera->Use(work); });
}

std::vector<uint16_t> GetCommand(const CameraOwner& camera, uint16_t command, uint32_t count,
                                 uint16_t argument) {
  constexpr uint32_t kMost = 16;
  if (count > kMost) throw py::value_error("a command has at most 16 words");
  std::vector<uint16_t> words(count);
  if (!words.empty()) words.front() = argument;
  OnDevice(camera, [&](zocam::Device& device) { device.CommandGet(command, words); });
  return words;
}

void BindCommands(py::class_<CameraOwner>& type) {
  type.def(
          "run_command",
          [](const CameraOwner& camera, uint16_t command) {
            OnDevice(camera, [=](zocam::Device& device) { device.CommandRun(command); });
          },
          py::arg("command"),
          R"(Runs a camera command without data and waits until it is done.

Raises ZocamError 10 or 11 with the camera's own code. close() from another thread ends the wait
for a camera that stays busy.)")
      .def("get_command", &GetCommand, py::arg("command"), py::arg("count"),
           py::arg("argument") = 0,
           R"(Reads count (0 to 16) words by a camera command.

argument: first word of command 0xFF01. Raises as run_command.)")
      .def(
          "set_command",
          [](const CameraOwner& camera, uint16_t command, const std::vector<uint16_t>& words) {
            OnDevice(camera, [&](zocam::Device& device) { device.CommandSet(command, words); });
          },
          py::arg("command"), py::arg("words"),
          "Writes up to 16 words by a camera command. Raises as run_command.")
      .def_property(
          "config",
          [](const CameraOwner& camera) {
            return OnDevice(camera, [](zocam::Device& device) { return device.Config(); });
          },
          [](const CameraOwner& camera, uint16_t config) {
            OnDevice(camera, [=](zocam::Device& device) { device.SetConfig(config); });
          },
          "The camera's configuration word; bit 15 asks it to reconnect.")
      .def_property_readonly(
          "active_state",
          [](const CameraOwner& camera) {
            return OnDevice(camera, [](zocam::Device& device) { return device.ActiveState(); });
          },
          "The camera's active state, 0 to 255.")
      .def(
          "enable_high_gain",
          [](const CameraOwner& camera) {
            OnDevice(camera, [](zocam::Device& device) { device.EnableHighGain(); });
          },
          "Switches models 6101 and 6103 to their high gain; ZocamError 26 for others.")
      .def(
          "reconnect", [](const CameraOwner& camera) { WithoutGil([&] { camera->Reconnect(); }); },
          R"(Asks the camera to reconnect, waits until it is back (5 s at most) and closes this.

Open it anew afterwards. Raises ZocamNotFoundError when it did not come back.)");
}

void BindStreaming(py::class_<CameraOwner>& type) {
  type.def(
          "start", [](const CameraOwner& camera) { WithoutGil([&] { camera->Start(); }); },
          "Starts the stream, which a loop or a recording does by itself. Running: nothing.")
      .def(
          "stop", [](const CameraOwner& camera) { WithoutGil([&] { camera->Stop(); }); },
          "Ends the stream, loops over it and a recording of it; a later loop starts it again.")
      .def_property_readonly(
          "streaming",
          [](const CameraOwner& camera) {
            return WithoutGil([&] { return camera->IsStreaming(); });
          },
          "Whether a stream runs.")
      .def_property_readonly(
          "dropped", [](const CameraOwner& camera) { return camera->Dropped(); },
          "Frames of this stream that nobody fetched in time: the oldest give way to new ones.")
      .def_property_readonly(
          "disconnected",
          [](const CameraOwner& camera) {
            return OnDevice(camera, [](zocam::Device& device) { return device.Disconnected(); });
          },
          "Whether the camera vanished while streaming.")
      .def_property_readonly(
          "node", [](const CameraOwner& camera) { return camera->Label(); },
          "Its device node, or how else it was found.")
      .def(
          "_start_recording",
          [](const CameraOwner& camera, const std::string& path) {
            WithoutGil([&] { camera->StartRecording(path); });
          },
          py::arg("path"))
      .def("_stop_recording",
           [](const CameraOwner& camera) { WithoutGil([&] { camera->StopRecording(); }); })
      .def("_check_recording",
           [](const CameraOwner& camera) { WithoutGil([&] { camera->CheckRecording(); }); })
      .def(
          "record",
          [](const py::object& self, const py::object& path) {
            return py::module_::import("zocam.recorder").attr("Recorder")(self, path);
          },
          py::arg("path"),
          R"(Records the stream into a file from now on; starts it if need be.

Every frame goes to the file, also those that no loop fetches. Returns a zocam.Recorder, which ends
the file with stop() or as a context manager. Raises ZocamOSError when the file cannot be created,
ZocamError 22 while another one is written.)")
      .def("__repr__", [](const CameraOwner& camera) {
        return "<zocam.Camera " + camera->Label() + (camera->IsClosed() ? ", closed>" : ">");
      });
}

}  // namespace

void BindCamera(py::module_& module) {
  py::class_<CameraInfo>(module, "CameraInfo",
                         "What there is to know of a camera without opening it.")
      .def_readonly("node", &CameraInfo::node, "Its device node, \"/dev/videoN\".")
      .def_readonly("name", &CameraInfo::name, "Product name; may be empty.")
      .def_readonly("serial", &CameraInfo::serial, "Serial number.")
      .def_readonly("product_id", &CameraInfo::productId, "USB product ID, e.g. 0x6103.")
      .def_readonly("firmware", &CameraInfo::firmware, "Firmware version, e.g. 0x0110.")
      .def_readonly("width", &CameraInfo::width, "Pixels of a row.")
      .def_readonly("height", &CameraInfo::height, "Rows of an image.")
      .def("__repr__", [](const CameraInfo& info) {
        return "<zocam.CameraInfo " + info.name + ", serial " + std::to_string(info.serial) +
               ", at " + info.node + ">";
      });
  py::class_<CameraOwner> type(module, "Camera",
                               R"(An open camera: iterate over its frames.

A context manager that closes it. Settings hold for the frames fetched afterwards. Any thread may
use it; several threads that iterate share the frames.)");
  BindSource<Camera>(type);
  BindCommands(type);
  BindStreaming(type);
  module.def(
      "cameras", [] { return WithoutGil(&Camera::List); },
      R"(The cameras that are connected, as a list of CameraInfo.

Cameras that cannot be opened are left out; raises ZocamError when that is so for all.)");
  module.def(
      "_open",
      [](const std::variant<std::monostate, uint64_t, std::string>& which, bool highRate,
         size_t queue) {
        return std::make_unique<CameraOwner>(
            WithoutGil([&] { return Camera::Open(which, highRate, queue); }));
      },
      py::arg("which"), py::arg("high_rate"), py::arg("queue"));
}

}  // namespace zopy
