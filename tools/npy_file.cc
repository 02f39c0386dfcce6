#include "tools/npy_file.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>

#include "tools/advice.h"
#include "tools/input_file.h"

namespace {

constexpr std::array<uint8_t, 6> kMagic = {0x93, 'N', 'U', 'M', 'P', 'Y'};
constexpr size_t kVersionEnd = kMagic.size() + 2;  // major and minor

[[noreturn]] void FailMalformed() { throw ToolError("the NumPy header is damaged"); }

// The header is a Python dictionary of a few fixed kinds of values.
class HeaderText {
 public:
  explicit HeaderText(std::string_view text) : rest_(text) {}

  bool Take(std::string_view token) {
    SkipSpace();
    if (!rest_.starts_with(token)) return false;
    rest_.remove_prefix(token.size());
    return true;
  }
  void Require(std::string_view token) {
    if (!Take(token)) FailMalformed();
  }
  std::string_view TakeQuoted() {
    SkipSpace();
    if (rest_.empty() || (rest_[0] != '\'' && rest_[0] != '"')) FailMalformed();
    const size_t end = rest_.find(rest_[0], 1);
    if (end == std::string_view::npos) FailMalformed();
    const std::string_view text = rest_.substr(1, end - 1);
    rest_.remove_prefix(end + 1);
    return text;
  }
  uint64_t TakeNumber() {
    SkipSpace();
    uint64_t number = 0;
    const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), number);
    if (error != std::errc{}) FailMalformed();
    rest_.remove_prefix(static_cast<size_t>(end - rest_.data()));
    return number;
  }
  void RequireEnd() {
    SkipSpace();
    if (!rest_.empty()) FailMalformed();
  }

 private:
  void SkipSpace() {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\r\n"), rest_.size()));
  }
  std::string_view rest_;
};

struct Header {
  std::optional<std::string> type;
  std::optional<bool> columnOrder;
  std::optional<std::vector<uint64_t>> shape;
};

std::vector<uint64_t> TakeShape(HeaderText& text) {
  std::vector<uint64_t> shape;
  text.Require("(");
  while (!text.Take(")")) {
    shape.push_back(text.TakeNumber());
    if (text.Take(",")) continue;
    text.Require(")");
    break;
  }
  return shape;
}

Header ParseHeader(std::string_view whole) {
  HeaderText text(whole);
  Header header;
  text.Require("{");
  while (!text.Take("}")) {
    const std::string_view key = text.TakeQuoted();
    text.Require(":");
    if (key == "descr") {
      if (text.Take("[")) throw ToolError("the NumPy array has fields, not plain uint16 values");
      header.type = text.TakeQuoted();
    } else if (key == "fortran_order") {
      header.columnOrder = text.Take("True");
      if (!*header.columnOrder) text.Require("False");
    } else if (key == "shape") {
      header.shape = TakeShape(text);
    } else {
      FailMalformed();
    }
    if (text.Take(",")) continue;
    text.Require("}");
    break;
  }
  text.RequireEnd();
  if (!header.type || !header.columnOrder || !header.shape) FailMalformed();
  return header;
}

void RequireImage(const Header& header) {
  if (*header.type != "<u2" && *header.type != ">u2")
    throw ToolError("the NumPy array holds " + *header.type +
                    " values, not uint16; convert it with astype(\"uint16\")");
  if (*header.columnOrder)
    throw ToolError("the NumPy array is stored by columns; store np.ascontiguousarray(array)");
  const std::vector<uint64_t>& shape = *header.shape;
  if (shape.size() != 2)
    throw ToolError("the NumPy array has " + std::to_string(shape.size()) +
                    " dimensions; an image has 2, rows and columns");
  if (std::ranges::any_of(shape, [](uint64_t n) { return n == 0 || n > kMostPixelsPerSide; }))
    throw ToolError("the NumPy array is not of an image's size");
}

// The header's text; what is left in bytes is the data.
std::string_view TakeHeader(std::span<const uint8_t>& bytes) {
  if (!IsNpy(bytes) || bytes.size() < kVersionEnd) FailMalformed();
  const uint8_t version = bytes[kMagic.size()];
  if (version < 1 || version > 3) FailMalformed();
  const size_t lengthBytes = version == 1 ? 2 : 4;
  bytes = bytes.subspan(kVersionEnd);
  if (bytes.size() < lengthBytes) FailMalformed();
  size_t length = 0;
  for (size_t i = lengthBytes; i-- > 0;) length = length << 8 | bytes[i];
  bytes = bytes.subspan(lengthBytes);
  if (bytes.size() < length) FailMalformed();
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), length);
  bytes = bytes.subspan(length);
  return text;
}

// A header of this size has room for any number of images, so that it can be written last. It is
// a multiple of 64, as the format asks for.
constexpr size_t kWrittenHeaderBytes = 128;

std::string FormatHeader(uint64_t images, uint32_t height, uint32_t width) {
  static_assert(std::endian::native == std::endian::little, "the values are written as they are");
  constexpr size_t kPrefixBytes = kVersionEnd + 2;
  std::string text = "{'descr': '<u2', 'fortran_order': False, 'shape': (" +
                     std::to_string(images) + ", " + std::to_string(height) + ", " +
                     std::to_string(width) + "), }";
  text.resize(kWrittenHeaderBytes - kPrefixBytes - 1, ' ');
  const std::string versionAndLength = {1, 0, static_cast<char>(text.size() + 1), 0};
  return std::string(kMagic.begin(), kMagic.end()) + versionAndLength + text + "\n";
}

}  // namespace

bool IsNpy(std::span<const uint8_t> bytes) {
  return bytes.size() >= kMagic.size() && std::ranges::equal(bytes.first(kMagic.size()), kMagic);
}

NpyImage DecodeNpy(std::span<const uint8_t> bytes) {
  const Header header = ParseHeader(TakeHeader(bytes));
  RequireImage(header);
  NpyImage image{
      static_cast<uint32_t>((*header.shape)[1]), static_cast<uint32_t>((*header.shape)[0]), {}};
  const size_t count = size_t{image.width} * image.height;
  if (bytes.size() != 2 * count)
    throw ToolError("the NumPy file has " + std::to_string(bytes.size()) +
                    " bytes of values where " + std::to_string(2 * count) + " belong");
  const size_t high = *header.type == "<u2" ? 1 : 0;
  image.values.resize(count);
  for (size_t i = 0; i < count; ++i)
    image.values[i] = static_cast<uint16_t>(bytes[2 * i + high] << 8 | bytes[2 * i + 1 - high]);
  return image;
}

NpyImagesFile::NpyImagesFile(const std::string& path, uint32_t width, uint32_t height)
    : file_(path), width_(width), height_(height) {
  file_.Write(FormatHeader(0, height, width));
}

void NpyImagesFile::Add(std::span<const uint16_t> values) {
  file_.Write({reinterpret_cast<const uint8_t*>(values.data()), values.size_bytes()});
  ++images_;
}

void NpyImagesFile::Finish() {
  const std::string header = FormatHeader(images_, height_, width_);
  file_.WriteStart({reinterpret_cast<const uint8_t*>(header.data()), header.size()});
  file_.Commit();
}
