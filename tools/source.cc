#include "tools/source.h"

#include <CLI/CLI.hpp>

#include "tools/advice.h"
#include "tools/file_checks.h"
#include "tools/offset_text.h"

namespace {

void AddName(CLI::App& command, std::string& name, const char* what) {
  command.add_option("DEVICE", name, what)->type_name("");
}

}  // namespace

void AddCameraArgument(CLI::App& command, std::string& name) {
  AddName(command, name,
          "serial number or node of the camera; may be left out when there is only one");
}

void AddSourceArgument(CLI::App& command, std::string& name) {
  AddName(command, name,
          "serial number or node of the camera, or a recording; may be left out when there is only "
          "one camera");
}

void AddRecordingArgument(CLI::App& command, std::string& path) {
  command.add_option("FILE", path, "the recording")->type_name("")->required();
}

zocam::Recording OpenRecording(const std::string& path, std::chrono::milliseconds from) {
  RequireFile(path);
  zocam::Recording film = zocam::Recording::OpenPassive(path);
  film.StartQueue();
  if (from.count() == 0 || film.Seek(from)) return film;
  // A seek does not reach the frames of the last time: read up to them.
  constexpr std::chrono::milliseconds kStep(1);
  if (from != film.Length() || !film.Seek(from - kStep))
    throw ToolError(path + " ends at " + OffsetText(film.Length()) + ", before " +
                    OffsetText(from));
  film.NextFrame();
  return film;
}

zocam::Device OpenSource(const std::string& name) {
  if (NamesRecording(name)) return OpenRecording(name);
  return OpenCamera(name);
}
