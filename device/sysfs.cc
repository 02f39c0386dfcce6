#include "device/sysfs.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <memory>

namespace {

using File = std::unique_ptr<std::FILE, decltype([](std::FILE* file) { std::fclose(file); })>;

// The first line of an attribute, line end included; false when there is none.
bool ReadFirstLine(const char* directory, const char* name, char (&line)[kSysfsLineMax + 1]) {
  char path[96];
  std::snprintf(path, sizeof path, "%s/%s", directory, name);
  const File file(std::fopen(path, "re"));
  return file && std::fgets(line, sizeof line, file.get()) != nullptr;
}

}  // namespace

uint32_t ParseHexLine(const char* line) {
  const char* begin = line + std::strspn(line, " \t");
  if (begin[0] == '0' && (begin[1] == 'x' || begin[1] == 'X')) begin += 2;
  uint32_t value = 0;
  const auto [end, error] = std::from_chars(begin, begin + std::strlen(begin), value, 16);
  return error == std::errc{} ? value : 0;
}

uint32_t ZoLib_Priv_OsDepReadSysfsIdentity(int32_t node, uint32_t* vendorId, uint32_t* productId,
                                           char* name) {
  if (vendorId == nullptr || productId == nullptr || name == nullptr) return 0;
  // The USB device stands one level above its video interface.
  char directory[64];
  std::snprintf(directory, sizeof directory, "/sys/class/video4linux/video%d/device/../", node);
  char vendor[kSysfsLineMax + 1];
  char product[kSysfsLineMax + 1];
  char title[kSysfsLineMax + 1];
  if (!ReadFirstLine(directory, "idVendor", vendor)) return 0;
  if (!ReadFirstLine(directory, "idProduct", product)) return 0;
  if (!ReadFirstLine(directory, "product", title)) return 0;
  *vendorId = ParseHexLine(vendor);
  *productId = ParseHexLine(product);
  const std::size_t length = std::strlen(title);
  const std::size_t kept = length == 0 ? 0 : length - 1;  // without the line end
  std::memcpy(name, title, kept);
  name[kept] = '\0';
  return 1;
}
