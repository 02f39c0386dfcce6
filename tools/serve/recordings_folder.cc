#include "tools/serve/recordings_folder.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

#include "zocam/zocam.hpp"

#include "tools/advice.h"
#include "tools/camera_summary.h"
#include "tools/picture_options.h"
#include "tools/png_file.h"
#include "tools/recording_file.h"
#include "tools/serve/request_error.h"
#include "tools/source.h"

namespace serve {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr std::string_view kSuffix = ".y4m";
constexpr size_t kMostNameBytes = 128;
constexpr uint32_t kThumbnailWidth = 160;
constexpr int kMostFramesTried = 60;  // those before the first flat-field correction show nothing

std::string TimeText(const DateTime16& time) {
  char text[64];
  std::snprintf(text, sizeof text, "%04u-%02u-%02uT%02u:%02u:%02u", time.year, time.month, time.day,
                time.hour, time.minute, time.second);
  return text;
}

std::vector<uint8_t> MakeThumbnail(zocam::Recording& film) {
  const PictureOptions options;
  options.Apply(film);
  for (int i = 0; i < kMostFramesTried; ++i) {
    const auto frame = film.NextFrame(0ms);
    if (!frame) return {};
    if (!frame->TryTemperatures()) continue;
    const Picture picture = RenderPicture(*frame, options);
    const uint32_t height = picture.height * kThumbnailWidth / picture.width;
    return EncodePng(Resample(picture, kThumbnailWidth, height), {});
  }
  return {};
}

// A damaged one is listed, too: its owner wants to know.
Json TextOf(const fs::path& path, std::uintmax_t bytes, std::vector<uint8_t>* thumbnail) {
  Json text = {{"name", path.filename().string()}, {"bytes", bytes}};
  try {
    zocam::Recording film = OpenRecording(path);
    text.update(IdentityOf(film));
    text.update({{"frames", film.LastFrameNumber()},
                 {"seconds", SecondsOf(film.Length())},
                 {"time", TimeText(film.HeadDateTime())},
                 {"damaged", false}});
    if (thumbnail->empty()) *thumbnail = MakeThumbnail(film);
  } catch (const std::exception& error) {
    text.update({{"damaged", true}, {"error", error.what()}});
  }
  return text;
}

}  // namespace

bool IsRecordingName(std::string_view name) {
  constexpr std::string_view kAllowed =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.";
  return name.size() > kSuffix.size() && name.size() <= kMostNameBytes && name.front() != '.' &&
         name.ends_with(kSuffix) && name.find_first_not_of(kAllowed) == std::string_view::npos;
}

RecordingsFolder::RecordingsFolder(const fs::path& folder) : folder_(folder) {
  std::error_code error;
  if (!fs::is_directory(folder, error))
    throw ToolError("cannot record to " + folder.string() + ": " +
                    (error ? error.message() : "it is no folder") +
                    "; name a folder with --recordings");
}

fs::path RecordingsFolder::PathForNew(std::string* name, const std::string& serial) const {
  if (name->empty()) {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    char time[32] = "";
    if (localtime_r(&now, &local) != nullptr)
      std::strftime(time, sizeof time, "%Y%m%d-%H%M%S", &local);
    *name = serial + "-" + time + std::string(kSuffix);
  }
  if (!IsRecordingName(*name))
    throw RequestError(
        "a recording's name is made of letters, digits, -, _ and ., and ends in .y4m");
  return folder_ / *name;
}

std::optional<fs::path> RecordingsFolder::PathOf(std::string_view name) const {
  if (!IsRecordingName(name)) return std::nullopt;
  const fs::path path = folder_ / name;
  std::error_code error;
  // Not through links, which lead anywhere.
  if (fs::symlink_status(path, error).type() != fs::file_type::regular) return std::nullopt;
  return path;
}

Json RecordingsFolder::List() {
  const std::lock_guard alone(listing_);
  std::vector<std::pair<fs::file_time_type, std::string>> names;
  std::error_code error;
  for (fs::directory_iterator entry(folder_, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename();
    const auto path = PathOf(name);
    if (!path) continue;
    std::error_code gone;
    const auto bytes = fs::file_size(*path, gone);
    const auto changed = gone ? fs::file_time_type() : fs::last_write_time(*path, gone);
    if (gone || bytes == 0) continue;  // an empty one holds a name for a recording that begins
    names.emplace_back(changed, name);
    Known now{bytes, changed, {}, {}};
    {
      const std::lock_guard lock(mutex_);
      const auto known = known_.find(name);
      if (known != known_.end()) {
        if (known->second.bytes == bytes && known->second.changed == changed) continue;
        // One that grows keeps its picture.
        if (known->second.bytes < bytes) now.thumbnail = known->second.thumbnail;
      }
    }
    now.text = TextOf(*path, bytes, &now.thumbnail);
    const std::lock_guard lock(mutex_);
    known_.insert_or_assign(name, std::move(now));
  }
  if (error) throw ToolError("cannot list " + folder_.string() + ": " + error.message());
  std::ranges::sort(names, std::greater());
  Json list = Json::array();
  const std::lock_guard lock(mutex_);
  for (const auto& [changed, name] : names) {
    const auto known = known_.find(name);
    if (known != known_.end()) list.push_back(known->second.text);
  }
  std::erase_if(known_, [&](const auto& known) {
    return std::ranges::find(names, known.first, [](const auto& one) { return one.second; }) ==
           names.end();
  });
  return list;
}

std::vector<uint8_t> RecordingsFolder::Thumbnail(std::string_view name) {
  {
    const std::lock_guard lock(mutex_);
    const auto known = known_.find(name);
    if (known != known_.end()) return known->second.thumbnail;
  }
  List();
  const std::lock_guard lock(mutex_);
  const auto known = known_.find(name);
  return known == known_.end() ? std::vector<uint8_t>() : known->second.thumbnail;
}

}  // namespace serve
