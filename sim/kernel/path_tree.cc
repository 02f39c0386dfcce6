#include "sim/kernel/path_tree.h"

#include <algorithm>
#include <deque>

#include "sim/kernel/sysfs_layout.h"

namespace zosim::kernel {
namespace {

constexpr int kMostLinks = 40;  // as the real kernel allows in one path

// "a//b/./c" to {"a", "b", "c"}.
std::deque<std::string> Components(std::string_view path) {
  std::deque<std::string> parts;
  while (!path.empty()) {
    const size_t end = std::min(path.find('/'), path.size());
    const std::string_view part = path.substr(0, end);
    if (!part.empty() && part != ".") parts.emplace_back(part);
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return parts;
}

bool IsOrIsBelow(std::string_view path, std::string_view directory) {
  if (!path.starts_with(directory)) return false;
  return path.size() == directory.size() || path[directory.size()] == '/';
}

std::string Clean(std::string_view path) {
  std::string clean;
  for (const std::string& part : Components(path)) clean += "/" + part;
  return clean;
}

}  // namespace

PathTree::PathTree() { Clear(); }

void PathTree::Clear() {
  entries_.clear();
  AddDirectories(std::string(kClassDirectory));
}

void PathTree::AddDirectories(const std::string& path) {
  for (size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1)) {
    entries_.try_emplace(path.substr(0, end));
  }
  entries_.try_emplace(path);
}

void PathTree::AddFile(const std::string& path, std::string content) {
  AddDirectories(path.substr(0, path.rfind('/')));
  entries_[path] = {PathEntry::Kind::kFile, std::move(content), -1};
}

void PathTree::AddLink(const std::string& path, std::string target) {
  AddDirectories(path.substr(0, path.rfind('/')));
  entries_[path] = {PathEntry::Kind::kLink, std::move(target), -1};
}

void PathTree::AddVideoNode(int number) {
  entries_["/dev/video" + std::to_string(number)] = {PathEntry::Kind::kVideoNode, "", number};
  entries_.try_emplace("/dev");
}

bool PathTree::Covers(std::string_view path) {
  // Nearly every path of a program ends here.
  if (!path.starts_with("/dev/") && !path.starts_with("/sys/")) return false;
  const std::string clean = Clean(path);
  return clean.starts_with("/dev/video") || IsOrIsBelow(clean, kClassDirectory) ||
         IsOrIsBelow(clean, kDevicesDirectory);
}

std::optional<PathTree::Found> PathTree::Find(std::string_view path, bool followLast) const {
  std::deque<std::string> rest = Components(path);
  std::string current;
  int links = 0;
  while (!rest.empty()) {
    const std::string part = rest.front();
    rest.pop_front();
    if (part == "..") {
      current.erase(current.empty() ? 0 : current.rfind('/'));
      continue;
    }
    std::string next = current;
    next.append("/").append(part);
    const auto found = entries_.find(next);
    if (found == entries_.end()) return std::nullopt;
    const PathEntry& entry = found->second;
    if (entry.kind == PathEntry::Kind::kLink && (!rest.empty() || followLast)) {
      if (++links > kMostLinks) return std::nullopt;
      const std::deque<std::string> target = Components(entry.text);
      rest.insert(rest.begin(), target.begin(), target.end());
      if (entry.text.starts_with('/')) current.clear();
      continue;
    }
    if (entry.kind != PathEntry::Kind::kDirectory && !rest.empty()) return std::nullopt;
    current = next;
  }
  const auto found = entries_.find(current);
  if (found == entries_.end()) return std::nullopt;
  return Found{current, found->second};
}

std::vector<std::string> PathTree::NamesIn(const std::string& directory) const {
  std::vector<std::string> names;
  const std::string prefix = directory + "/";
  for (auto it = entries_.lower_bound(prefix); it != entries_.end(); ++it) {
    if (!it->first.starts_with(prefix)) break;
    const std::string name = it->first.substr(prefix.size());
    if (name.find('/') == std::string::npos) names.push_back(name);
  }
  return names;
}

}  // namespace zosim::kernel
