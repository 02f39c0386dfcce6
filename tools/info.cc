// zocam info: all there is to know of one camera.
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>

#include "tools/camera_summary.h"
#include "tools/commands.h"
#include "tools/source.h"

namespace {

struct InfoOptions {
  std::string device;
  bool json = false;
};

nlohmann::ordered_json DescribeSource(zocam::Device& device) {
  nlohmann::ordered_json info = SummaryJson(device.Label(), device);
  info["release"] = device.ReleaseNumber();
  info["width"] = device.Width();
  info["height"] = device.Height();
  info["footerLines"] = device.FooterLines();
  info["telemetryRevision"] = device.TelemetryRevision();
  info["active"] = device.ActiveState();
  info["config"] = device.Config();
  info["noiseFilter"] = device.NoiseFilter();
  info["noiseFilterThreshold"] = device.NoiseFilterThreshold();
  info["undistortion"] = device.Undistortion();
  info["circumferenceCorrection"] = device.CircumferenceCorrection();
  return info;
}

void PrintText(const nlohmann::ordered_json& info) {
  const auto text = [&](const char* key) { return info[key].get<std::string>(); };
  const auto number = [&](const char* key) { return info[key].get<unsigned>(); };
  const auto onOff = [&](const char* key) { return info[key].get<bool>() ? "on" : "off"; };
  std::printf("node                      %s\n", text("node").c_str());
  std::printf("product                   %s  %s\n", text("product").c_str(), text("name").c_str());
  std::printf("serial number             %s\n", text("serial").c_str());
  std::printf("firmware                  %s\n", text("firmware").c_str());
  std::printf("hardware release          0x%04X\n", number("release"));
  std::printf("picture                   %u x %u pixels, %u footer lines\n", number("width"),
              number("height"), number("footerLines"));
  std::printf("telemetry revision        %u\n", number("telemetryRevision"));
  std::printf("active state              %u\n", number("active"));
  std::printf("configuration             0x%04X\n", number("config"));
  std::printf("noise filter              %s, threshold %u\n", onOff("noiseFilter"),
              number("noiseFilterThreshold"));
  std::printf("lens undistortion         %s\n", onOff("undistortion"));
  std::printf("circumference correction  %s\n", onOff("circumferenceCorrection"));
}

}  // namespace

void AddInfoCommand(CLI::App& app, Action& action) {
  CLI::App* command = app.add_subcommand("info", "show all there is to know of one camera");
  const auto options = std::make_shared<InfoOptions>();
  AddSourceArgument(*command, options->device);
  command->add_flag("--json", options->json, "print JSON");
  command->callback([&action, options] {
    action = [options] {
      zocam::Device device = OpenSource(options->device);
      const nlohmann::ordered_json info = DescribeSource(device);
      if (options->json) {
        std::printf(
            "%s\n",
            info.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace).c_str());
      } else {
        PrintText(info);
      }
      return kDone;
    };
  });
}
