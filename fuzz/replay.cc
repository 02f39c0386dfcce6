// Runs a fuzzer on the files that are named, and on those in folders that are named.
#include <filesystem>
#include <fstream>

#include "fuzz/input.h"

namespace {

int replayed = 0;

void Replay(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const Bytes bytes(std::istreambuf_iterator<char>(file), {});
  std::fprintf(stderr, "%s\n", path.c_str());  // the last one printed is the culprit
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  ++replayed;
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (!std::filesystem::is_directory(argv[i])) {
      if (std::filesystem::exists(argv[i])) Replay(argv[i]);
      continue;
    }
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) Replay(entry.path());
  }
  std::fprintf(stderr, "%d inputs replayed\n", replayed);
  return replayed == 0 ? 1 : 0;
}
