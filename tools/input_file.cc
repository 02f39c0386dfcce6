#include "tools/input_file.h"

#include <cerrno>
#include <cstdio>
#include <memory>

#include "tools/advice.h"

std::vector<uint8_t> ReadInputFile(const std::string& path, size_t most) {
  constexpr size_t kBlock = size_t{1} << 16;
  const std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "rbe"), &std::fclose);
  if (!file) throw ToolError("cannot read " + path + ": " + ErrnoText(errno));
  std::vector<uint8_t> bytes;
  // Not by its size: a pipe has none.
  for (size_t got = kBlock; got == kBlock && bytes.size() <= most;) {
    const size_t end = bytes.size();
    bytes.resize(end + kBlock);
    got = std::fread(&bytes[end], 1, kBlock, file.get());
    bytes.resize(end + got);
  }
  if (std::ferror(file.get()) != 0)
    throw ToolError("cannot read " + path + ": " + ErrnoText(errno));
  if (bytes.size() > most) throw ToolError(path + " is too large for what it should be");
  return bytes;
}
