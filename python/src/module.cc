// The extension module zocam._zocam.
#include "python/src/bind.h"

namespace zopy {
namespace {

// Failures of the library become exceptions of zocam.errors.
// NOLINTNEXTLINE(performance-unnecessary-value-param): the type that pybind11 wants
void Translate(std::exception_ptr failure) {
  if (!failure) return;
  try {
    std::rethrow_exception(failure);
  } catch (const zocam::Error& error) {
    try {
      const py::object raised =
          py::module_::import("zocam.errors")
              .attr("of_status")(error.Status(), error.what(), error.Reason(), error.HostErrno());
      PyErr_SetObject(py::type::handle_of(raised).ptr(), raised.ptr());
    } catch (py::error_already_set& other) {
      other.restore();
    }
  }
}

}  // namespace

PYBIND11_MODULE(_zocam, module) {
  module.doc() = "What the zocam package is made of; import zocam instead.";
  py::register_exception_translator(&Translate);
  // pybind11 looks numpy up at the first use, under a lock that it holds while others run: two
  // threads that come first would wait for each other for ever. So that is now.
  static_cast<void>(py::dtype::of<uint8_t>());
  BindFrame(module);
  BindCamera(module);
  BindRecording(module);
  const uint32_t version = ZoLib_GetLibVersion();
  module.attr("__version__") = std::to_string(version >> 16) + "." +
                               std::to_string(version >> 8 & 0xFF) + "." +
                               std::to_string(version & 0xFF);
  // Streams end before the interpreter does, and files are whole.
  py::module_::import("atexit").attr("register")(py::cpp_function([] {
    isExiting = true;
    exitBegan = true;
    WithoutGil(&Source::CloseAll);
  }));
}

}  // namespace zopy
