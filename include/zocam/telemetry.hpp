/**
 * @file telemetry.hpp
 * What a camera tells of itself in the footer of each frame; comes with zocam.hpp.
 *
 * The footer is 16-bit big-endian words behind the image; of 32-bit values the less significant
 * word stands first. Offsets in bytes: 1 revision, 2 time, 6 state of the correction (bits 4 and
 * 5), 48 sensor and 52 housing temperature, 58, 60 and 64 sensor temperature, time and housing
 * temperature at the last correction.
 */
#ifndef ZOCAM_TELEMETRY_HPP
#define ZOCAM_TELEMETRY_HPP

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>

namespace zocam {

/** The telemetry of one frame. FFC is the flat-field correction, for which the camera closes its
 * shutter for a moment, now and then by itself. */
struct Telemetry {
  using Milliseconds = std::chrono::duration<uint32_t, std::milli>; /**< of the camera's clock */

  uint8_t revision = 0;          /**< of the footer's layout: 9, 10 or 14 */
  Milliseconds time{};           /**< since the camera was started; wraps after 49 days */
  uint8_t ffcState = 0;          /**< the camera's own code, 0 to 3 */
  Milliseconds ffcTime{};        /**< of the last FFC; 0: none has been made yet */
  double sensorKelvin = 0.0;     /**< temperature of the sensor */
  double housingKelvin = 0.0;    /**< temperature of the housing */
  double ffcSensorKelvin = 0.0;  /**< sensorKelvin at the last FFC */
  double ffcHousingKelvin = 0.0; /**< housingKelvin at the last FFC */

  /** Whether an FFC was made: temperatures before are not to be relied on, if there are any. */
  bool IsCorrected() const noexcept { return ffcTime.count() != 0; }

  /** Bytes of a footer that are read. */
  static constexpr size_t kBytes = 66;

  /** Reads a footer of at least kBytes bytes; of fewer everything is 0. Thread: any. */
  static Telemetry Read(std::span<const uint8_t> footer) noexcept {
    if (footer.size() < kBytes) return {};
    const auto word = [&](size_t at) {
      return static_cast<uint16_t>(footer[at] << 8 | footer[at + 1]);
    };
    const auto time = [&](size_t at) {
      return Milliseconds(word(at) | static_cast<uint32_t>(word(at + 2)) << 16);
    };
    constexpr double kPerKelvin = 100.0;
    Telemetry telemetry;
    telemetry.revision = footer[1];
    telemetry.time = time(2);
    telemetry.ffcState = footer[6] >> 4 & 3;
    telemetry.sensorKelvin = word(48) / kPerKelvin;
    telemetry.housingKelvin = word(52) / kPerKelvin;
    telemetry.ffcSensorKelvin = word(58) / kPerKelvin;
    telemetry.ffcTime = time(60);
    telemetry.ffcHousingKelvin = word(64) / kPerKelvin;
    return telemetry;
  }
};

}  // namespace zocam

#endif /* ZOCAM_TELEMETRY_HPP */
