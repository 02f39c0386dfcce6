// What the files that show the package to Python share.
#ifndef ZOCAM_PYTHON_BIND_H
#define ZOCAM_PYTHON_BIND_H

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cmath>
#include <memory>
#include <utility>

#include "python/src/source.h"
#include "python/src/without_gil.h"

namespace zopy {

namespace py = pybind11;

// A frame with what its pictures need. Holds no Python object: no cycles.
struct PyFrame {
  std::shared_ptr<FrameData> data;
  std::shared_ptr<Painter> painter;
  uint16_t productId;
};

// Who Python keeps of a source. Ending the last one closes it, without the GIL.
template <typename Kind>
class Owner {
 public:
  explicit Owner(std::shared_ptr<Kind> source)
      : source_(std::move(source)),
        productId_(source_->Use([](zocam::Device& device) { return device.ProductId(); })) {}
  Owner(const Owner&) = delete;
  Owner& operator=(const Owner&) = delete;
  ~Owner() {
    if (source_->IsClosed())
      source_.reset();
    else
      WithoutGil([this] { source_.reset(); });
  }
  Kind& operator*() const { return *source_; }
  Kind* operator->() const { return source_.get(); }

  PyFrame Wrap(std::unique_ptr<FrameData> frame) const {
    return {std::move(frame), source_->PainterOfFrames(), productId_};
  }

  // For `for`: waits as long as the timeout property says, and can be interrupted.
  PyFrame Next() {
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds kLookAtSignals(100);
    std::optional<Clock::time_point> start;  // of waiting
    while (true) {
      bool atEnd = false;
      std::unique_ptr<FrameData> frame = WithoutGil([&] {
        std::unique_ptr<FrameData> next = source_->Next(kLookAtSignals);
        if (!next) atEnd = source_->AtEnd();
        return next;
      });
      if (frame) return Wrap(std::move(frame));
      if (atEnd) throw py::stop_iteration();
      if (PyErr_CheckSignals() != 0) throw py::error_already_set();
      const Clock::time_point now = Clock::now();
      if (!start) start = now - kLookAtSignals;
      if (timeout && std::chrono::duration<double>(now - *start).count() > *timeout)
        throw zocam::Error(ZO_STATUS_NOT_YET,
                           source_->Label() + ": no frame came before the time-out");
    }
  }

  std::optional<double> timeout = 5.0;  // guarded by the GIL

 private:
  std::shared_ptr<Kind> source_;
  const uint16_t productId_;
};

inline void RequireNumber(double value, const char* what) {
  if (std::isnan(value)) throw py::value_error(std::string(what) + " is no number");
}

// Degrees Celsius, as ranges are given, and hundredths of a kelvin, as the library wants them.
inline Range RangeOf(std::pair<double, double> celsius) {
  const auto centikelvin = [](double value) {
    constexpr double kMost = 1e6;
    RequireNumber(value, "a temperature");
    return static_cast<int32_t>(std::lround((std::clamp(value, -273.15, kMost) + 273.15) * 100.0));
  };
  return {centikelvin(celsius.first), centikelvin(celsius.second)};
}
inline std::pair<double, double> CelsiusOf(Range range) {
  const auto celsius = [](int32_t value) { return (value - 27315) / 100.0; };
  return {celsius(range.low), celsius(range.high)};
}

void BindFrame(py::module_& module);
void BindCamera(py::module_& module);
void BindRecording(py::module_& module);

}  // namespace zopy

#endif
