#include "sim/launcher/preload_library.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace zosim::launcher {
namespace {

namespace fs = std::filesystem;

constexpr const char* kLibraryName = "libzocam-sim.so";

bool CanRun(const fs::path& file) {
  return !fs::is_directory(file) && access(file.c_str(), X_OK) == 0;
}

}  // namespace

fs::path FindPreloadLibrary() {
  std::error_code error;
  const fs::path self = fs::read_symlink("/proc/self/exe", error);
  if (error) return {};
  const fs::path here = self.parent_path();
  for (const fs::path& directory : {here, here / "../lib", here / ".." / ZOCAM_SIM_LIBDIR}) {
    fs::path candidate = fs::weakly_canonical(directory / kLibraryName, error);
    if (!error && fs::exists(candidate, error)) return candidate;
  }
  return {};
}

fs::path FindProgram(const std::string& program) {
  if (program.find('/') != std::string::npos)
    return CanRun(program) ? fs::path(program) : fs::path();
  const char* path = std::getenv("PATH");
  std::istringstream directories{std::string(path != nullptr ? path : "/usr/bin:/bin")};
  for (std::string directory; std::getline(directories, directory, ':');) {
    fs::path candidate = fs::path(directory.empty() ? "." : directory) / program;
    if (CanRun(candidate)) return candidate;
  }
  return {};
}

std::string AddressSanitizerOf(const fs::path& program) {
  std::error_code error;
  const auto size = fs::file_size(program, error);
  if (error) return {};
  // In one piece: programs with debug information are large.
  std::string bytes(size, '\0');
  std::ifstream(program, std::ios::binary).read(bytes.data(), static_cast<std::streamsize>(size));
  if (!bytes.starts_with("\177ELF")) return {};
  // The names of needed libraries stand in the file as plain strings.
  for (const char* const name : {"libasan.so.", "libclang_rt.asan-"}) {
    const size_t start = bytes.find(name);
    if (start == std::string::npos) continue;
    return bytes.substr(start, bytes.find('\0', start) - start);
  }
  return {};
}

}  // namespace zosim::launcher
