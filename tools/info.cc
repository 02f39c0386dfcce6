// zocam info: all there is to know of one camera or recording.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "tools/advice.h"
#include "tools/camera_summary.h"
#include "tools/commands.h"
#include "tools/offset_text.h"
#include "tools/recording_file.h"
#include "tools/source.h"

namespace {

using nlohmann::ordered_json;

struct InfoOptions {
  std::string device;
  bool json = false;
};

void AddModel(ordered_json& info, const zocam::Device& device) {
  info["release"] = device.ReleaseNumber();
  info["width"] = device.Width();
  info["height"] = device.Height();
  info["footerLines"] = device.FooterLines();
  info["telemetryRevision"] = device.TelemetryRevision();
}

void AddDecoding(ordered_json& info, const zocam::Device& device) {
  info["noiseFilter"] = device.NoiseFilter();
  info["noiseFilterThreshold"] = device.NoiseFilterThreshold();
  info["undistortion"] = device.Undistortion();
  info["circumferenceCorrection"] = device.CircumferenceCorrection();
}

ordered_json DescribeCamera(zocam::Device& device) {
  ordered_json info = SummaryJson(device.Label(), device);
  AddModel(info, device);
  info["active"] = device.ActiveState();
  info["config"] = device.Config();
  AddDecoding(info, device);
  return info;
}

// The stamp of a record, unless that is damaged.
std::optional<zocam::FrameStamp> StampOf(RecordingFile& file, int64_t record) {
  if (file.StateOf(record) != RecordState::kIntact) return std::nullopt;
  return file.StampOf(record);
}

ordered_json DateTimeOf(const std::optional<zocam::FrameStamp>& stamp) {
  return stamp ? ordered_json(DateTimeText(stamp->dateTime)) : ordered_json();
}

// Takes the same time for every length: looks at the first and the last record only. What they
// cannot tell is null.
void AddExtent(ordered_json& info, RecordingFile& file, const zocam::Recording& film) {
  const uint64_t frames = file.Capacity();
  const auto behindFirst = static_cast<int64_t>(frames - 1) * file.RecordBytes();
  const auto first = StampOf(file, file.FirstRecord());
  const auto last = StampOf(file, file.FirstRecord() + behindFirst);
  // Otherwise it was started again in the middle, or something is missing.
  const bool isOneStretch = first && last && last->number - first->number == frames - 1 &&
                            last->timeOffset >= first->timeOffset;
  info["from"] = DateTimeOf(first);
  info["to"] = DateTimeOf(last);
  info["frames"] = frames;
  info["length"] = nullptr;
  info["rate"] = film.FrameRate();
  info["measuredRate"] = nullptr;
  if (isOneStretch) {
    const double length = SecondsOf(last->timeOffset - first->timeOffset);
    info["length"] = length;
    if (length > 0.0) info["measuredRate"] = static_cast<double>(frames - 1) / length;
  }
  info["tornTail"] = file.TailBytes();
}

ordered_json DescribeRecording(const std::string& path) {
  const std::unique_ptr<RecordingFile> file = OpenRecordingFile(path);
  const zocam::Recording film = zocam::Recording::OpenPassive(path);
  ordered_json info = {{"file", path}, {"bytes", file->Size()}};
  info.update(SummaryJson(path, film));
  info.erase("node");
  info.erase("name");  // files do not keep it
  AddModel(info, film);
  AddExtent(info, *file, film);
  AddDecoding(info, film);
  return info;
}

void PrintLine(const char* name, const std::string& value) {
  std::printf("%-24s  %s\n", name, value.c_str());
}

std::string TextOf(const ordered_json& info, const char* key) {
  return info[key].is_null() ? "unknown" : info[key].get<std::string>();
}

std::string HexText(const ordered_json& value) {
  return ProductText(static_cast<uint16_t>(value.get<unsigned>()));
}

// A number with its unit; what could not be told is null.
std::string NumberText(const ordered_json& value, const char* format) {
  if (value.is_null()) return "unknown";
  char text[64];
  std::snprintf(text, sizeof text, format, value.get<double>());
  return text;
}

void PrintModel(const ordered_json& info) {
  const std::string name = info.contains("name") ? "  " + TextOf(info, "name") : "";
  PrintLine("product", TextOf(info, "product") + name);
  PrintLine("serial number", TextOf(info, "serial"));
  PrintLine("firmware", TextOf(info, "firmware"));
  PrintLine("hardware release", HexText(info["release"]));
  PrintLine("picture", info["width"].dump() + " x " + info["height"].dump() + " pixels, " +
                           info["footerLines"].dump() + " footer lines");
  PrintLine("telemetry revision", info["telemetryRevision"].dump());
}

void PrintCameraState(const ordered_json& info) {
  PrintLine("active state", info["active"].dump());
  PrintLine("configuration", HexText(info["config"]));
}

void PrintExtent(const ordered_json& info) {
  PrintLine("recorded", TextOf(info, "from") + " to " + TextOf(info, "to"));
  PrintLine("frames", info["frames"].dump());
  PrintLine("length", NumberText(info["length"], "%.3f s"));
  PrintLine("frame rate", NumberText(info["measuredRate"], "%.2f frames/s") +
                              NumberText(info["rate"], ", %.2f as the file tells"));
  if (const auto torn = info["tornTail"].get<int64_t>(); torn != 0)
    PrintLine("damage", "only the first " + std::to_string(torn) +
                            " bytes of a last record; see zocam check");
}

void PrintDecoding(const ordered_json& info) {
  const auto onOff = [&](const char* key) { return info[key].get<bool>() ? "on" : "off"; };
  PrintLine("noise filter", std::string(onOff("noiseFilter")) + ", threshold " +
                                info["noiseFilterThreshold"].dump());
  PrintLine("lens undistortion", onOff("undistortion"));
  PrintLine("circumference correction", onOff("circumferenceCorrection"));
}

void PrintText(const ordered_json& info) {
  const bool isRecording = info.contains("file");
  if (isRecording) {
    PrintLine("file", TextOf(info, "file") + ", " + info["bytes"].dump() + " bytes");
  } else {
    PrintLine("node", TextOf(info, "node"));
  }
  PrintModel(info);
  if (isRecording) {
    PrintExtent(info);
  } else {
    PrintCameraState(info);
  }
  PrintDecoding(info);
}

ordered_json Describe(const std::string& name) {
  if (NamesRecording(name)) return DescribeRecording(name);
  zocam::Device device = OpenCamera(name);
  return DescribeCamera(device);
}

}  // namespace

void AddInfoCommand(CLI::App& app, Action& action) {
  CLI::App* command =
      app.add_subcommand("info", "show all there is to know of one camera or recording");
  const auto options = std::make_shared<InfoOptions>();
  AddSourceArgument(*command, options->device);
  command->add_flag("--json", options->json, "print JSON");
  command->callback([&action, options] {
    action = [options] {
      const ordered_json info = Describe(options->device);
      if (options->json) {
        std::printf("%s\n",
                    info.dump(2, ' ', false, ordered_json::error_handler_t::replace).c_str());
      } else {
        PrintText(info);
      }
      return kDone;
    };
  });
}
