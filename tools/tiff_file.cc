#include "tools/tiff_file.h"

#include <tiffio.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "tools/png_file.h"

namespace {

struct MemoryFile {
  std::vector<uint8_t> bytes;
  size_t position = 0;
};

MemoryFile& FileOf(thandle_t handle) { return *static_cast<MemoryFile*>(handle); }

// Called from C: nothing may be thrown through it.
tmsize_t WriteBytes(thandle_t handle, void* data, tmsize_t length) {
  MemoryFile& file = FileOf(handle);
  const auto count = static_cast<size_t>(length);
  try {
    file.bytes.resize(std::max(file.bytes.size(), file.position + count));
  } catch (...) {
    return -1;
  }
  std::memcpy(file.bytes.data() + file.position, data, count);
  file.position += count;
  return length;
}

// The encoder may look at what it has written.
tmsize_t ReadBytes(thandle_t handle, void* data, tmsize_t length) {
  MemoryFile& file = FileOf(handle);
  const size_t there = file.bytes.size() - std::min(file.position, file.bytes.size());
  const size_t count = std::min(static_cast<size_t>(length), there);
  std::memcpy(data, file.bytes.data() + file.position, count);
  file.position += count;
  return static_cast<tmsize_t>(count);
}

toff_t Seek(thandle_t handle, toff_t offset, int from) {
  MemoryFile& file = FileOf(handle);
  if (from == SEEK_CUR) offset += file.position;
  if (from == SEEK_END) offset += file.bytes.size();
  return file.position = offset;
}

int Close(thandle_t) { return 0; }
toff_t SizeOf(thandle_t handle) { return FileOf(handle).bytes.size(); }

// "2026:11:22 23:52:15", as the format wants it.
std::string TiffTime(const DateTime16& time) {
  char text[64];
  std::snprintf(text, sizeof text, "%04u:%02u:%02u %02u:%02u:%02u", unsigned{time.year},
                unsigned{time.month}, unsigned{time.day}, unsigned{time.hour},
                unsigned{time.minute}, unsigned{time.second});
  return text;
}

using Tiff = std::unique_ptr<TIFF, decltype([](TIFF* tiff) { TIFFClose(tiff); })>;

void Require(bool done) {
  if (!done) throw std::runtime_error("cannot encode a TIFF");
}

template <typename Value>
void SetTag(const Tiff& tiff, uint32_t tag, Value value) {
  Require(TIFFSetField(tiff.get(), tag, value) == 1);
}

}  // namespace

std::vector<uint8_t> EncodeTiff(const zocam::TemperatureImage& image, Quantity quantity,
                                const std::string& source, const DateTime16& time) {
  std::string description = "Source: " + source;
  for (const PngText& text : DescribeValues(quantity, image.resolution))
    description += "\n" + text.key + ": " + text.text;
  MemoryFile file;
  const Tiff tiff(TIFFClientOpen("values", "w", &file, ReadBytes, WriteBytes, Seek, Close, SizeOf,
                                 nullptr, nullptr));
  Require(tiff != nullptr);
  SetTag(tiff, TIFFTAG_IMAGEWIDTH, image.width);
  SetTag(tiff, TIFFTAG_IMAGELENGTH, image.height);
  SetTag(tiff, TIFFTAG_BITSPERSAMPLE, 16);
  SetTag(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
  SetTag(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  SetTag(tiff, TIFFTAG_ROWSPERSTRIP, image.height);
  SetTag(tiff, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
  SetTag(tiff, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
  SetTag(tiff, TIFFTAG_SOFTWARE, "zocam " ZOCAM_VERSION);
  SetTag(tiff, TIFFTAG_DATETIME, TiffTime(time).c_str());
  SetTag(tiff, TIFFTAG_IMAGEDESCRIPTION, description.c_str());
  std::vector<uint16_t> row(image.width);  // the encoder changes what it is given
  for (uint32_t y = 0; y < image.height; ++y) {
    std::copy_n(image.values.begin() + int64_t{y} * image.width, image.width, row.begin());
    Require(TIFFWriteScanline(tiff.get(), row.data(), y, 0) == 1);
  }
  Require(TIFFFlush(tiff.get()) == 1);
  return std::move(file.bytes);
}
