// The files that the virtual host shows: /dev/videoN and the sysfs directories of the devices
// behind them, as a tree in memory with directories, links and file contents.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zosim::kernel {

struct PathEntry {
  enum class Kind { kDirectory, kFile, kLink, kVideoNode };
  Kind kind = Kind::kDirectory;
  std::string text;  // content of a file, target of a link
  int number = -1;   // of a video node
};

class PathTree {
 public:
  PathTree();

  // Paths are absolute and clean. Parent directories are made as needed.
  void AddFile(const std::string& path, std::string content);
  void AddLink(const std::string& path, std::string target);
  void AddVideoNode(int number);
  void Clear();  // back to the empty class directory

  // Whether the virtual host decides about this path, present or not.
  static bool Covers(std::string_view path);

  struct Found {
    std::string path;  // without links, "." and ".."
    PathEntry entry;
  };
  // Follows links; the last one only when `followLast`. None when there is no such file.
  std::optional<Found> Find(std::string_view path, bool followLast = true) const;
  // Names in a directory that Find gave.
  std::vector<std::string> NamesIn(const std::string& directory) const;

 private:
  void AddDirectories(const std::string& path);

  std::map<std::string, PathEntry> entries_;  // by clean path
};

}  // namespace zosim::kernel
