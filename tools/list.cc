// zocam list: the cameras that are connected, and why one cannot be used.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>

#include "tools/advice.h"
#include "tools/camera_summary.h"
#include "tools/commands.h"
#include "tools/node_scan.h"

namespace {

void PrintText(const NodeScan& scan) {
  for (const FoundCamera& camera : scan.cameras) {
    std::printf("%s\n", SummaryLine(camera.node, camera.device).c_str());
    if (camera.beyondLibraryScan)
      std::printf(
          "  (programs must be told this node: a gap in the node numbers, or a number above "
          "31, hides it from their search)\n");
  }
  for (const RefusedCamera& refused : scan.refused)
    std::printf("%s  %s  cannot be used: %s\n", refused.node.c_str(),
                ProductText(refused.productId).c_str(),
                WithAdvice(refused.reason, refused.advice).c_str());
  if (scan.cameras.empty() && scan.refused.empty())
    std::printf("No camera is connected (looked at /dev/video0 to /dev/video%d).\n", kLastNode);
}

void PrintJson(const NodeScan& scan) {
  nlohmann::ordered_json document = {{"cameras", nlohmann::ordered_json::array()},
                                     {"refused", nlohmann::ordered_json::array()}};
  for (const FoundCamera& camera : scan.cameras) {
    nlohmann::ordered_json entry = SummaryJson(camera.node, camera.device);
    entry["beyondLibraryScan"] = camera.beyondLibraryScan;
    document["cameras"].push_back(std::move(entry));
  }
  for (const RefusedCamera& refused : scan.refused)
    document["refused"].push_back({{"node", refused.node},
                                   {"product", ProductText(refused.productId)},
                                   {"name", refused.name},
                                   {"reason", refused.reason},
                                   {"advice", refused.advice}});
  std::printf(
      "%s\n",
      document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace).c_str());
}

}  // namespace

void AddListCommand(CLI::App& app, Action& action) {
  CLI::App* command = app.add_subcommand("list", "list the cameras that are connected");
  const auto json = std::make_shared<bool>(false);
  command->add_flag("--json", *json, "print JSON");
  command->callback([&action, json] {
    action = [json] {
      const NodeScan scan = ScanNodes();
      *json ? PrintJson(scan) : PrintText(scan);
      return scan.cameras.empty() ? kFailed : kDone;
    };
  });
}
