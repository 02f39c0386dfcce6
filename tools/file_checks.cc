#include "tools/file_checks.h"

#include <filesystem>

#include "tools/advice.h"

namespace {

namespace fs = std::filesystem;

// Pipes and devices may be written to twice.
bool IsSameFile(const std::string& a, const std::string& b) {
  if (a.empty() || b.empty()) return false;
  std::error_code error;
  if (fs::exists(a, error) && fs::exists(b, error))
    return fs::is_regular_file(a, error) && fs::equivalent(a, b, error);
  return fs::weakly_canonical(fs::absolute(a), error) ==
         fs::weakly_canonical(fs::absolute(b), error);
}

}  // namespace

void RequireFile(const std::string& path) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (fs::exists(status) && !fs::is_regular_file(status))
    throw ToolError("cannot read " + path + ": it is no file");
}

void RequireOtherFile(const std::string& output, const std::string& recording) {
  if (IsSameFile(output, recording))
    throw ToolError("cannot write " + output + ": it is the recording itself; name another file");
}

void RequireDistinctFiles(const std::string& source, std::span<const std::string> outputs) {
  for (size_t i = 0; i < outputs.size(); ++i) {
    RequireOtherFile(outputs[i], source);
    for (size_t k = 0; k < i; ++k)
      if (IsSameFile(outputs[k], outputs[i]))
        throw ToolError("cannot write " + outputs[i] +
                        " twice: give every output a name of its own");
  }
}
