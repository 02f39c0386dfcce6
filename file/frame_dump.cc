// One frame as plain text: column header, a line of telemetry, the image as rows of numbers.
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>

#include "core/clocks.h"
#include "core/device_record.h"
#include "core/entry_guard.h"
#include "core/file_access.h"
#include "decode/raw_frame.h"

namespace {

// Two decimals with a point, whatever the process's locale.
std::string Fixed(double value) {
  char digits[400];
  const auto [end, error] =
      std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, 2);
  return error == std::errc{} ? std::string(digits, end) : "nan";
}

void AppendTelemetry(std::string& text, const Footer& footer, const DateTime16& time) {
  char clock[48];
  std::snprintf(clock, sizeof clock, "%02d/%02d:%02d:%02d.%03d", time.day, time.hour, time.minute,
                time.second, time.millisecond);
  char line[256];
  std::snprintf(line, sizeof line, "TELEMETRY %15s %10d %10d %3d %6s %6s %6s %6s\n", clock,
                static_cast<int32_t>(footer.Time()), static_cast<int32_t>(footer.FfcTime()),
                footer.FfcState(), Fixed(footer.SensorKelvin()).c_str(),
                Fixed(footer.FfcSensorKelvin()).c_str(), Fixed(footer.HousingKelvin()).c_str(),
                Fixed(footer.FfcHousingKelvin()).c_str());
  text += line;
}

void AppendRow(std::string& text, std::span<const uint16_t> row, int32_t resolution,
               bool asTemperature) {
  for (const uint16_t value : row) {
    text += asTemperature ? Fixed(static_cast<double>(value) / resolution) : std::to_string(value);
    text += ' ';
  }
  text += '\n';
}

std::string Describe(const _ZoDev& dev, const uint16_t* image, const uint8_t* telemetry,
                     const DateTime16& time, bool asTemperature) {
  std::string text(10, ' ');
  char header[128];
  std::snprintf(header, sizeof header, "%15s %10s %10s %3s %6s %6s %6s %6s\n", "SYSTIME", "TIME",
                "TIME_FFC", "FCS", "FPAT", "FPATFC", "HOUT", "HOUTFC");
  text += header;
  AppendTelemetry(text, Footer(telemetry), time);
  const int32_t resolution = dev.tempResolution == 0 ? 1 : dev.tempResolution.Load();
  for (uint32_t row = 0; row < dev.frameHeight; ++row) {
    AppendRow(text, {image + std::size_t{row} * dev.frameWidth, dev.frameWidth}, resolution,
              asTemperature);
  }
  return text;
}

DateTime16 TimeOf(const uint16_t* dateTime) {
  DateTime16 time{};
  if (dateTime == nullptr) {
    ZoLib_Priv_GetLocalDateTime(&time);
  } else {
    std::memcpy(&time, dateTime, sizeof time);
  }
  return time;
}

}  // namespace

ZoStatus ZoLib_DumpFrame(_ZoDev* dev, const char* path, const uint16_t* image, uint32_t imageBytes,
                         const uint8_t* telemetry, const uint16_t* dateTime,
                         uint32_t asTemperature) {
  if (dev == nullptr || image == nullptr || telemetry == nullptr) return ZO_STATUS_INVALID_VALUE;
  if (dev->imageBytes > imageBytes) return ZO_STATUS_NOT_ENOUGH_SIZE;
  return GuardedEntry([&]() -> ZoStatus {
    const std::string text = Describe(*dev, image, telemetry, TimeOf(dateTime), asTemperature != 0);
    File opened;
    if (path != nullptr) {
      opened.reset(ZoLib_Priv_OsDepFOpen(path, "w"));
      if (!opened) return ZO_STATUS_FILE_IO_ERROR;
    }
    std::FILE* file = opened ? opened.get() : stdout;
    std::fwrite(text.data(), 1, text.size(), file);
    return ZO_STATUS_OK;
  });
}
