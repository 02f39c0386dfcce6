#include "tools/png_file.h"

#include <png.h>

#include <csetjmp>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>

#include "tools/advice.h"
#include "tools/camera_summary.h"
#include "tools/input_file.h"

namespace {

struct PngRows {
  uint32_t width;
  uint32_t height;
  int bitDepth;
  int colourType;
  size_t rowBytes;
  const uint8_t* bytes;  // 16-bit samples most significant byte first
};

struct PngWriter {
  std::vector<uint8_t> bytes;
  std::string failure;
};

// Called from C: nothing may be thrown through it.
void AppendBytes(png_structp png, png_bytep data, size_t length) {
  auto* writer = static_cast<PngWriter*>(png_get_io_ptr(png));
  bool stored = true;
  try {
    writer->bytes.insert(writer->bytes.end(), data, data + length);
  } catch (...) {
    stored = false;
  }
  if (!stored) png_error(png, "no memory");
}

void KeepFailure(png_structp png, png_const_charp message) {
  try {
    static_cast<PngWriter*>(png_get_error_ptr(png))->failure = message;
  } catch (...) {  // the jump says enough
  }
  png_longjmp(png, 1);
}

void IgnoreWarning(png_structp, png_const_charp) {}

constexpr int kPictureCompression = 3;  // of 9

// libpng reports failures by a jump back into this function, so nothing in it has a destructor.
bool WritePng(png_structp png, png_infop info, PngWriter* writer, const PngRows* rows,
              png_textp texts, int textCount) {
  if (setjmp(png_jmpbuf(png)) != 0) return false;  // NOLINT: libpng knows no other way
  png_set_write_fn(png, writer, AppendBytes, nullptr);
  png_set_IHDR(png, info, rows->width, rows->height, rows->bitDepth, rows->colourType,
               PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (rows->bitDepth == 8) {
    // Enlarged rows repeat: a filter that sees it leaves little to compress, at any level.
    png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_UP);
    png_set_compression_level(png, kPictureCompression);
  }
  png_set_text(png, info, texts, textCount);
  png_write_info(png, info);
  for (uint32_t y = 0; y < rows->height; ++y) png_write_row(png, rows->bytes + y * rows->rowBytes);
  png_write_end(png, nullptr);
  return true;
}

std::vector<uint8_t> Encode(const PngRows& rows, std::vector<PngText> texts) {
  std::vector<png_text> chunks;
  for (PngText& text : texts) {
    png_text chunk{};
    chunk.compression = PNG_TEXT_COMPRESSION_NONE;
    chunk.key = text.key.data();
    chunk.text = text.text.data();
    chunk.text_length = text.text.size();
    chunks.push_back(chunk);
  }
  PngWriter writer;
  png_structp png =
      png_create_write_struct(PNG_LIBPNG_VER_STRING, &writer, KeepFailure, IgnoreWarning);
  png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
  const bool written = info != nullptr && WritePng(png, info, &writer, &rows, chunks.data(),
                                                   static_cast<int>(chunks.size()));
  png_destroy_write_struct(&png, &info);
  if (info == nullptr && !written && writer.failure.empty()) writer.failure = "no memory";
  if (!written) throw std::runtime_error("cannot encode a PNG: " + writer.failure);
  return std::move(writer.bytes);
}

constexpr size_t kSignatureBytes = 8;
constexpr size_t kMostChunkBytes = size_t{1} << 20;

struct PngReader {
  std::span<const uint8_t> rest;
  std::string failure;
};

// Called from C: nothing may be thrown through them.
void KeepReadFailure(png_structp png, png_const_charp message) {
  try {
    static_cast<PngReader*>(png_get_error_ptr(png))->failure = message;
  } catch (...) {  // the jump says enough
  }
  png_longjmp(png, 1);
}

void TakeBytes(png_structp png, png_bytep data, size_t length) {
  auto* reader = static_cast<PngReader*>(png_get_io_ptr(png));
  if (reader->rest.size() < length) png_error(png, "it ends early");
  std::memcpy(data, reader->rest.data(), length);
  reader->rest = reader->rest.subspan(length);
}

// As in WritePng, nothing in these two has a destructor.
bool ReadPngHeader(png_structp png, png_infop info, PngReader* reader) {
  if (setjmp(png_jmpbuf(png)) != 0) return false;  // NOLINT: libpng knows no other way
  png_set_read_fn(png, reader, TakeBytes);
  png_set_user_limits(png, kMostPixelsPerSide, kMostPixelsPerSide);
  png_set_chunk_malloc_max(png, kMostChunkBytes);
  png_read_info(png, info);
  return true;
}

bool ReadPngRows(png_structp png, png_infop info, uint8_t* rows, size_t rowBytes, uint32_t height) {
  if (setjmp(png_jmpbuf(png)) != 0) return false;  // NOLINT: libpng knows no other way
  const int passes = png_set_interlace_handling(png);
  png_read_update_info(png, info);
  for (int pass = 0; pass < passes; ++pass)
    for (uint32_t y = 0; y < height; ++y) png_read_row(png, rows + y * rowBytes, nullptr);
  png_read_end(png, info);
  return true;
}

}  // namespace

std::vector<uint8_t> EncodePng(const Picture& picture, const std::vector<PngText>& texts) {
  static_assert(sizeof(Rgb) == 3);
  return Encode({picture.width, picture.height, 8, PNG_COLOR_TYPE_RGB, size_t{3} * picture.width,
                 picture.pixels.data()->data()},
                texts);
}

std::vector<uint8_t> EncodePng(const zocam::TemperatureImage& image, Quantity quantity,
                               std::vector<PngText> texts) {
  std::vector<uint8_t> bytes;
  bytes.reserve(image.values.size() * 2);
  for (uint16_t value : image.values) {
    bytes.push_back(static_cast<uint8_t>(value >> 8));
    bytes.push_back(static_cast<uint8_t>(value & 0xFF));
  }
  for (PngText& text : DescribeValues(quantity, image.resolution)) texts.push_back(std::move(text));
  return Encode(
      {image.width, image.height, 16, PNG_COLOR_TYPE_GRAY, size_t{2} * image.width, bytes.data()},
      std::move(texts));
}

std::vector<PngText> DescribeValues(Quantity quantity, int32_t resolution) {
  const std::string name = PngQuantityName(quantity);
  if (quantity == Quantity::kCounts) return {{kPngQuantityKey, name}, {"Unit", "1"}};
  const std::string units = std::to_string(resolution);
  return {{kPngQuantityKey, name},
          {"Unit", "1/" + units + " K"},
          {"Resolution", units},
          {"Description", quantity == Quantity::kDifference
                              ? "kelvin = (sample - 27315) / " + units
                              : "degrees Celsius = sample / " + units + " - 273.15"}};
}

std::vector<PngText> DescribeOrigin(const zocam::Device& device, const std::string& time) {
  return {{"Software", "zocam " ZOCAM_VERSION},
          {"Source", SourceText(device)},
          {"Creation Time", time}};
}

std::string SourceText(const zocam::Device& device) {
  const std::string name = device.ProductName();  // recordings have none
  return (name.empty() ? "" : name + " ") + ProductText(device.ProductId()) + ", serial " +
         std::to_string(device.SerialNumber());
}

const char* PngQuantityName(Quantity quantity) {
  switch (quantity) {
    case Quantity::kCounts:
      return "counts";
    case Quantity::kDifference:
      return "temperature difference";
    default:
      return "temperature";
  }
}

bool IsPng(std::span<const uint8_t> bytes) {
  return bytes.size() >= kSignatureBytes && png_sig_cmp(bytes.data(), 0, kSignatureBytes) == 0;
}

PngValues DecodeGrey16Png(std::span<const uint8_t> bytes) {
  PngReader reader{bytes, ""};
  png_structp png =
      png_create_read_struct(PNG_LIBPNG_VER_STRING, &reader, KeepReadFailure, IgnoreWarning);
  png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
  const auto destroy = [&](png_structp one) { png_destroy_read_struct(&one, &info, nullptr); };
  const std::unique_ptr<png_struct, decltype(destroy)> owner(png, destroy);
  if (info == nullptr) throw std::bad_alloc();
  PngValues image;
  const auto require = [&](bool good) {
    if (!good) throw ToolError("the PNG is damaged: " + reader.failure);
  };
  require(ReadPngHeader(png, info, &reader));
  if (png_get_bit_depth(png, info) != 16 || png_get_color_type(png, info) != PNG_COLOR_TYPE_GRAY)
    throw ToolError("the PNG is a picture, not 16-bit grey values; take it with --raw16");
  image.width = png_get_image_width(png, info);
  image.height = png_get_image_height(png, info);
  std::vector<uint8_t> rows(size_t{2} * image.width * image.height);
  require(ReadPngRows(png, info, rows.data(), size_t{2} * image.width, image.height));
  image.values.resize(rows.size() / 2);
  for (size_t i = 0; i < image.values.size(); ++i)
    image.values[i] = static_cast<uint16_t>(rows[2 * i] << 8 | rows[2 * i + 1]);
  png_textp texts = nullptr;
  for (int i = 0, count = png_get_text(png, info, &texts, nullptr); i < count; ++i)
    if (texts[i].text != nullptr) image.texts.push_back({texts[i].key, texts[i].text});
  return image;
}
