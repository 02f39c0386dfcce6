#include "sim/launcher/preload_library.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
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
  std::ifstream file(program, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
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
