// What cameras and recordings have in common in Python.
#ifndef ZOCAM_PYTHON_BIND_SOURCE_H
#define ZOCAM_PYTHON_BIND_SOURCE_H

#include "python/src/bind.h"

namespace zopy {

// A property over a getter and a setter of zocam::Device.
template <typename Kind, typename Class, typename Value>
void BindSetting(Class& type, const char* name, Value (zocam::Device::*get)() const noexcept,
                 void (zocam::Device::*set)(Value) noexcept, const char* doc) {
  type.def_property(
      name,
      [get](const Owner<Kind>& source) {
        return WithoutGil(
            [&] { return source->Use([&](zocam::Device& device) { return (device.*get)(); }); });
      },
      [set](const Owner<Kind>& source, Value value) {
        WithoutGil([&] { source->Use([&](zocam::Device& device) { (device.*set)(value); }); });
      },
      doc);
}

// A fixed property of zocam::Device.
template <typename Kind, typename Class, typename Value>
void BindFact(Class& type, const char* name, Value (zocam::Device::*get)() const, const char* doc) {
  type.def_property_readonly(
      name,
      [get](const Owner<Kind>& source) {
        return WithoutGil(
            [&] { return source->Use([&](zocam::Device& device) { return (device.*get)(); }); });
      },
      doc);
}

template <typename Kind>
void RequireShape(const Owner<Kind>& source, const py::array& image) {
  const Geometry& geometry = source->FrameGeometry();
  if (image.ndim() != 2 || image.shape(0) != static_cast<py::ssize_t>(geometry.height) ||
      image.shape(1) != static_cast<py::ssize_t>(geometry.width))
    throw py::value_error("the array must have the shape (" + std::to_string(geometry.height) +
                          ", " + std::to_string(geometry.width) + ")");
}

template <typename Kind, typename Class>
void BindFacts(Class& type) {
  using zocam::Device;
  const auto fact = [&type](const char* name, auto get, const char* doc) {
    BindFact<Kind>(type, name, get, doc);
  };
  const auto number = [&](const char* name, auto get, const char* doc) {
    type.def_property_readonly(
        name,
        [get](const Owner<Kind>& source) {
          return WithoutGil(
              [&] { return source->Use([&](Device& device) { return (device.*get)(); }); });
        },
        doc);
  };
  fact("name", &Device::ProductName, "Product name; empty for a recording.");
  number("serial", &Device::SerialNumber, "Serial number.");
  number("product_id", &Device::ProductId, "USB product ID, e.g. 0x6103.");
  number("vendor_id", &Device::VendorId, "USB vendor ID.");
  number("firmware", &Device::FirmwareVersion, "Firmware version, e.g. 0x0110.");
  number("release", &Device::ReleaseNumber, "Hardware release number.");
  number("frame_rate", &Device::FrameRate, "Frames per second; 0 while no stream chose any.");
  number("telemetry_revision", &Device::TelemetryRevision, "Layout of the telemetry: 9, 10 or 14.");
  number("reference_columns", &Device::ReferenceColumns,
         "Columns at the left that show a reference body instead of the scene.");
  type.def_property_readonly(
      "width", [](const Owner<Kind>& source) { return source->FrameGeometry().width; },
      "Pixels of a row.");
  type.def_property_readonly(
      "height", [](const Owner<Kind>& source) { return source->FrameGeometry().height; },
      "Rows of an image.");
  type.def_property_readonly(
      "shape",
      [](const Owner<Kind>& source) {
        return py::make_tuple(source->FrameGeometry().height, source->FrameGeometry().width);
      },
      "(height, width) in pixels.");
}

template <typename Kind, typename Class>
void BindSettings(Class& type) {
  using zocam::Device;
  BindSetting<Kind>(type, "noise_filter", &Device::NoiseFilter, &Device::SetNoiseFilter,
                    "Whether neighbouring pixels that differ little are averaged; True at first.");
  BindSetting<Kind>(type, "noise_filter_threshold", &Device::NoiseFilterThreshold,
                    &Device::SetNoiseFilterThreshold,
                    "What little is for the noise filter: 1 to 100, 50 at first; others become "
                    "the nearest.");
  BindSetting<Kind>(type, "undistortion", &Device::Undistortion, &Device::SetUndistortion,
                    "Whether the lens's distortion is taken away; True at first on model 6103.");
  BindSetting<Kind>(type, "circumference_correction", &Device::CircumferenceCorrection,
                    &Device::SetCircumferenceCorrection,
                    "Whether the border is lifted, which gets less of the lens's light.");
  BindSetting<Kind>(type, "upside_down", &Device::UpsideDown, &Device::SetUpsideDown,
                    "Whether images are turned by 180 degrees; False at first.");
  type.def_property(
      "window_correction",
      [](const Owner<Kind>& source) {
        return WithoutGil(
            [&] { return source->Use([](Device& device) { return device.WindowCorrection(); }); });
      },
      [](const Owner<Kind>& source, uint32_t value) {
        WithoutGil([&] { source->SetWindowCorrection(value); });
      },
      "1 corrects for a protective window in front of the camera; 0 at first.");
  type.def_property(
      "raw_counts",
      [](const Owner<Kind>& source) {
        return WithoutGil(
            [&] { return source->Use([](Device& device) { return device.ColorizeByRaw(); }); });
      },
      [](const Owner<Kind>& source, bool on) { WithoutGil([&] { source->SetRawCounts(on); }); },
      "Whether counts and pictures show the sensor's words instead of temperatures.");
  type.def_property(
      "decoding", [](const Owner<Kind>& source) { return source->Decoding(); },
      [](const Owner<Kind>& source, bool on) { source->SetDecoding(on); },
      R"(Whether frames are decoded as they are fetched; True at first.

False saves the time when only raw frames and telemetry are wanted.)");
  type.def_property(
      "timeout", [](const Owner<Kind>& source) { return source.timeout; },
      [](Owner<Kind>& source, std::optional<double> seconds) { source.timeout = seconds; },
      "Seconds that a loop waits for a frame before ZocamTimeoutError; 5 at first, None: for "
      "ever.");
  type.def_property_readonly(
      "stateful",
      [](const Owner<Kind>& source) { return WithoutGil([&] { return source->IsStateful(); }); },
      R"(Whether the image of a frame depends on the frames decoded before it.

So with model 6120, whose drift is followed, with the window correction and while reflections are
learnt. Frames of such a source are exact only when fetched in order.)");

  // Pictures.
  type.def_property(
      "manual_range",
      [](const Owner<Kind>& source) {
        return CelsiusOf(WithoutGil([&] { return source->PainterOfFrames()->ManualRange(); }));
      },
      [](const Owner<Kind>& source, std::pair<double, double> celsius) {
        const Range range = RangeOf(celsius);
        WithoutGil([&] { source->PainterOfFrames()->SetManualRange(range); });
      },
      "(low, high) of the manual gain, in degrees Celsius.");
  type.def_property(
      "auto_range",
      [](const Owner<Kind>& source) {
        return CelsiusOf(WithoutGil([&] { return source->PainterOfFrames()->AutoRange(); }));
      },
      [](const Owner<Kind>& source, std::pair<double, double> celsius) {
        const Range range = RangeOf(celsius);
        WithoutGil([&] { source->PainterOfFrames()->SetAutoRange(range); });
      },
      "(low, high) limits of what the automatic gains spread out, in degrees Celsius.");
  type.def(
      "set_gain_mask",
      [](const Owner<Kind>& source, const py::array_t<bool, py::array::forcecast>& mask) {
        RequireShape(source, mask);
        const auto values = mask.template unchecked<2>();
        std::vector<uint32_t> words;
        for (py::ssize_t y = 0; y < values.shape(0); ++y)
          for (py::ssize_t x = 0; x < values.shape(1); ++x) words.push_back(values(y, x) ? 1 : 0);
        WithoutGil([&] { source->PainterOfFrames()->SetMask(words); });
      },
      py::arg("mask"),
      R"(Chooses the pixels that the automatic gains look at: a (height, width) array of bools.

Raises ZocamValueError when none is chosen.)");
}

template <typename Kind, typename Class>
void BindReferences(Class& type) {
  type.def(
      "set_reference",
      [](const Owner<Kind>& source,
         const std::optional<py::array_t<uint16_t, py::array::c_style>>& counts) {
        std::vector<uint16_t> image;
        if (counts) {
          RequireShape(source, *counts);
          const auto values = counts->template unchecked<2>();
          for (py::ssize_t y = 0; y < values.shape(0); ++y)
            for (py::ssize_t x = 0; x < values.shape(1); ++x) image.push_back(values(y, x));
        }
        WithoutGil([&] { source->SetReference(std::move(image)); });
      },
      py::arg("counts"),
      R"(Shows every later frame as its difference to an image: the counts of an earlier frame.

None shows temperatures again.)");
  type.def(
      "start_reflection_learning",
      [](const Owner<Kind>& source) { WithoutGil([&] { source->StartReflectionLearning(); }); },
      "Learns the fixed pattern of reflections from every frame fetched from now on.");
  type.def(
      "stop_reflection_learning",
      [](const Owner<Kind>& source) {
        const auto image = WithoutGil([&] { return source->StopReflectionLearning(); });
        return py::bytes(reinterpret_cast<const char*>(image.data()), image.size());
      },
      R"(Ends learning and returns the correction image: the bytes of a ZORC file.

Raises ZocamError 22 when no frame was fetched meanwhile; learning has ended then, too.)");
  type.def(
      "set_reflection_correction",
      [](const Owner<Kind>& source, const std::optional<py::bytes>& image) {
        std::vector<uint8_t> bytes;
        if (image) {
          const std::string_view text(*image);
          bytes.assign(text.begin(), text.end());
          if (bytes.empty()) throw py::value_error("a correction image is not empty");
        }
        WithoutGil([&] { source->SetReflectionCorrection(std::move(bytes)); });
      },
      py::arg("image"),
      R"(Takes a correction image away from every later frame; None: none any more.

Raises ZocamError when it is not one for this camera; the installed one then stays.)");
}

template <typename Kind, typename Class>
void BindSource(Class& type) {
  type.def("__iter__",
           [](const py::object& self) {
             const auto& source = self.cast<const Owner<Kind>&>();
             WithoutGil([&] { source->BeginLoop(); });
             return self;
           })
      .def("__next__", &Owner<Kind>::Next)
      .def("__enter__", [](const py::object& self) { return self; })
      .def("__exit__",
           [](const Owner<Kind>& source, const py::args&) { WithoutGil([&] { source->Close(); }); })
      .def(
          "close", [](const Owner<Kind>& source) { WithoutGil([&] { source->Close(); }); },
          R"(Ends the stream and lets go of the camera or file.

Threads that wait for frames get ZocamClosedError, and so does who uses the source later. Frames
stay what they are. Closing twice does nothing.)")
      .def_property_readonly(
          "closed", [](const Owner<Kind>& source) { return source->IsClosed(); },
          "Whether it has been closed.");
  BindFacts<Kind>(type);
  BindSettings<Kind>(type);
  BindReferences<Kind>(type);
}

}  // namespace zopy

#endif
