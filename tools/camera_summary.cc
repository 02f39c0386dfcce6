#include "tools/camera_summary.h"

#include <cstdio>
#include <nlohmann/json.hpp>

std::string ProductText(uint16_t productId) {
  char text[8];
  std::snprintf(text, sizeof text, "0x%04X", unsigned{productId});
  return text;
}

std::string FirmwareText(uint16_t version) {
  char text[8];
  std::snprintf(text, sizeof text, "%x.%02x", version >> 8, version & 0xFF);
  return text;
}

std::string SummaryLine(const std::string& place, const zocam::Device& device) {
  return place + "  " + ProductText(device.ProductId()) + "  " + device.ProductName() +
         "  serial " + std::to_string(device.SerialNumber()) + "  firmware " +
         FirmwareText(device.FirmwareVersion());
}

nlohmann::ordered_json SummaryJson(const std::string& place, const zocam::Device& device) {
  return {{"node", place},
          {"product", ProductText(device.ProductId())},
          {"name", device.ProductName()},
          {"serial", std::to_string(device.SerialNumber())},
          {"firmware", FirmwareText(device.FirmwareVersion())}};
}
