// A camera's identity as text and as JSON.
#ifndef ZOCAM_TOOLS_CAMERA_SUMMARY_H
#define ZOCAM_TOOLS_CAMERA_SUMMARY_H

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "zocam/zocam.hpp"

// "0x6103", the product ID.
std::string ProductText(uint16_t productId);
// "1.10", from 0x0110.
std::string FirmwareText(uint16_t version);
// "/dev/video0  0x6103  Thermal Camera  serial 42  firmware 1.10"
std::string SummaryLine(const std::string& place, const zocam::Device& device);
// node, product, name, serial (as text: it has 64 bits) and firmware.
nlohmann::ordered_json SummaryJson(const std::string& place, const zocam::Device& device);

#endif
