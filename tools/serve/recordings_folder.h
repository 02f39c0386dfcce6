// The folder that recordings are made in and listed from. Names come from strangers: only plain
// names of regular files in this very folder are ever opened.
#ifndef ZOCAM_TOOLS_SERVE_RECORDINGS_FOLDER_H
#define ZOCAM_TOOLS_SERVE_RECORDINGS_FOLDER_H

#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/serve/source_state.h"

namespace serve {

// Letters, digits, '-', '_' and '.', no '.' in front, ending in ".y4m".
bool IsRecordingName(std::string_view name);

class RecordingsFolder {
 public:
  // Throws ToolError when it is no folder.
  explicit RecordingsFolder(const std::filesystem::path& folder);

  // Where a new recording of that name goes; with an empty name one is made. Throws ToolError.
  std::filesystem::path PathForNew(std::string* name, const std::string& serial) const;
  // Of a recording that is there; nothing when there is none of that name.
  std::optional<std::filesystem::path> PathOf(std::string_view name) const;

  // Newest first. Any thread; takes as long as reading what is new takes.
  Json List();
  // A small picture of the first frame that can be shown, a PNG. Empty without one.
  std::vector<uint8_t> Thumbnail(std::string_view name);

 private:
  struct Known {
    std::uintmax_t bytes;
    std::filesystem::file_time_type changed;
    Json text;
    std::vector<uint8_t> thumbnail;
  };

  const std::filesystem::path folder_;
  std::mutex listing_;  // held by who looks through the folder; taken before the other
  std::mutex mutex_;    // guards what is known
  std::map<std::string, Known, std::less<>> known_;
};

}  // namespace serve

#endif
