/**
 * @file zocam.hpp
 * Owner classes over zocam.h for C++20. Header-only: link libzocam as for C.
 *
 * @code{.cpp}
 * zocam::Device camera = zocam::Device::OpenNode("/dev/video0");
 * camera.StartQueue();
 * while (auto frame = camera.NextFrame(std::chrono::seconds(2))) {
 *   zocam::TemperatureImage image = frame->Temperatures();
 *   std::printf("%.2f C\n", image.Celsius(0));
 * }
 * @endcode
 *
 * What is added to the C interface: handles close themselves, failures are exceptions of type
 * zocam::Error, callbacks are any callable, frames know their handle. Nothing is hidden:
 * Device::Handle() gives the C handle for whatever has no member here.
 *
 * Thread words are those of zocam.h. A Device is moved, never copied; moving it does not disturb a
 * running stream. Frames must not outlive the Device they came from.
 */
#ifndef ZOCAM_ZOCAM_HPP
#define ZOCAM_ZOCAM_HPP

#include "zocam/device.hpp"
#include "zocam/error.hpp"
#include "zocam/image.hpp"
#include "zocam/recording.hpp"
#include "zocam/telemetry.hpp"
#include "zocam/zocam.h"

#endif /* ZOCAM_ZOCAM_HPP */
