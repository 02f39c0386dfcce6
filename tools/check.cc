// zocam check: whether a recording is intact, and a new file of what is.
#include <CLI/CLI.hpp>
#include <cinttypes>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "tools/advice.h"
#include "tools/commands.h"
#include "tools/file_checks.h"
#include "tools/interruption.h"
#include "tools/offset_text.h"
#include "tools/output_file.h"
#include "tools/recording_walk.h"
#include "tools/source.h"

namespace {

using nlohmann::ordered_json;

struct CheckOptions {
  std::string path;
  std::string repairPath;
  bool overwrite = false;
  bool json = false;
};

void PrintJson(const ordered_json& json) {
  std::printf("%s\n", json.dump(2, ' ', false, ordered_json::error_handler_t::replace).c_str());
}

void PrintFindings(const WalkResult& result) {
  for (size_t i = 0; i < kFindingKinds; ++i) {
    const auto kind = static_cast<FindingKind>(i);
    const Findings& findings = result.Of(kind);
    const char* rank = IsDamage(kind) ? "damage" : "note";
    for (const Finding& finding : findings.first)
      std::printf("%s: record %" PRIu64 ", byte %" PRId64 ", after %s: %s\n", rank, finding.record,
                  finding.offset, OffsetText(finding.after).c_str(), finding.text.c_str());
    if (findings.count > findings.first.size())
      std::printf("%s: %" PRIu64 " more of the kind \"%s\"\n", rank,
                  findings.count - findings.first.size(), FindingName(kind));
  }
}

void PrintText(const CheckOptions& options, const WalkResult& result) {
  std::printf("%s: %" PRIu64 " intact records, %s\n", options.path.c_str(), result.records,
              OffsetText(result.length).c_str());
  PrintFindings(result);
  if (result.records == 0) std::printf("damage: there is no intact record\n");
  if (!result.IsDamaged()) {
    std::printf("no damage found\n");
  } else if (result.records != 0 && options.repairPath.empty()) {
    std::printf("--repair NEW saves the intact records in a new file\n");
  }
}

void PrintRepair(const CheckOptions& options, const WalkResult& result) {
  std::printf("%s: %" PRIu64 " records saved\n", options.repairPath.c_str(), result.records);
  if (result.Of(FindingKind::kOutOfOrder).count != 0)
    std::printf("they stand in the order they had, also where that is wrong\n");
}

ordered_json DescribeFindings(const WalkResult& result) {
  ordered_json list = ordered_json::array();
  for (size_t i = 0; i < kFindingKinds; ++i) {
    const auto kind = static_cast<FindingKind>(i);
    for (const Finding& finding : result.Of(kind).first)
      list.push_back({{"kind", FindingName(kind)},
                      {"damage", IsDamage(kind)},
                      {"record", finding.record},
                      {"offset", finding.offset},
                      {"bytes", finding.bytes},
                      {"after", SecondsOf(finding.after)},
                      {"text", finding.text}});
  }
  return list;
}

ordered_json DescribeCounts(const WalkResult& result) {
  ordered_json counts = ordered_json::object();
  for (size_t i = 0; i < kFindingKinds; ++i) {
    const auto kind = static_cast<FindingKind>(i);
    counts[FindingName(kind)] = result.Of(kind).count;
  }
  return counts;
}

// The new file, if one is wanted.
class Repair {
 public:
  explicit Repair(const CheckOptions& options) : path_(options.repairPath) {
    if (path_.empty()) return;
    RequireOtherFile(path_, options.path);
    std::error_code error;
    if (!options.overwrite && std::filesystem::exists(path_, error))
      throw ToolError(path_ + " exists; name another file or add --overwrite");
    NoticeEndSignals();  // a half-written file is removed then
    output_.emplace(path_);
  }

  void Write(std::span<const uint8_t> bytes) {
    if (output_) output_->Write(bytes);
  }
  // False when no file is wanted.
  bool Finish(const WalkResult& result) {
    if (!output_) return false;
    if (result.records == 0)
      throw ToolError(path_ + " was not written: there is no intact record to save");
    output_->Commit();
    return true;
  }

 private:
  const std::string path_;
  std::optional<OutputStream> output_;
};

// A header line is told like the other damage, but nothing behind it can be read.
int ReportHeader(const CheckOptions& options, const HeaderDamage& damage) {
  if (options.json) {
    PrintJson({{"file", options.path}, {"damaged", true}, {"header", damage.what()}});
  } else {
    std::printf("%s\ndamage: %s\n", options.path.c_str(), damage.what());
  }
  if (!options.repairPath.empty())
    throw ToolError(options.repairPath +
                    " was not written: without the header line no record can be found");
  return kFailed;
}

int CheckRecords(const CheckOptions& options, RecordingFile& file) {
  Repair repair(options);
  repair.Write(file.Header());
  const WalkResult result =
      WalkRecording(file, [&](const IntactRecord& one) { repair.Write(one.bytes); });
  if (options.json) {
    PrintJson({{"file", options.path},
               {"records", result.records},
               {"length", SecondsOf(result.length)},
               {"damaged", result.IsDamaged()},
               {"counts", DescribeCounts(result)},
               {"findings", DescribeFindings(result)}});
  } else {
    PrintText(options, result);
  }
  const bool repaired = repair.Finish(result);
  if (repaired && !options.json) PrintRepair(options, result);
  return result.IsDamaged() ? kFailed : kDone;
}

int Check(const CheckOptions& options) {
  std::optional<RecordingFile> file;
  try {
    file.emplace(options.path);
  } catch (const HeaderDamage& damage) {
    return ReportHeader(options, damage);
  }
  return RunInterruptibly([&] { return CheckRecords(options, *file); });
}

}  // namespace

void AddCheckCommand(CLI::App& app, Action& action) {
  CLI::App* command = app.add_subcommand("check", "look for damage in a recording, and mend it");
  const auto options = std::make_shared<CheckOptions>();
  AddRecordingArgument(*command, options->path);
  CLI::Option* repair = command
                            ->add_option("--repair", options->repairPath,
                                         "write the intact records to a new recording")
                            ->type_name("NEW");
  command->add_flag("--overwrite", options->overwrite, "replace NEW when it exists")->needs(repair);
  command->add_flag("--json", options->json, "print JSON");
  command->callback([&action, options] { action = [options] { return Check(*options); }; });
}
