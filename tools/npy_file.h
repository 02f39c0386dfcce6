// Arrays of 16-bit values as NumPy stores them (.npy).
#ifndef ZOCAM_TOOLS_NPY_FILE_H
#define ZOCAM_TOOLS_NPY_FILE_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tools/output_file.h"

struct NpyImage {
  uint32_t width = 0;
  uint32_t height = 0;
  std::vector<uint16_t> values;  // row by row
};

// Whether the bytes begin as such a file does.
bool IsNpy(std::span<const uint8_t> bytes);

// Reads a two-dimensional array of uint16 in row order, of either byte order. Throws ToolError,
// which says what the array is instead.
NpyImage DecodeNpy(std::span<const uint8_t> bytes);

// A three-dimensional array (images, rows, columns) of uint16, written image by image: of any
// length. All of it throws ToolError.
class NpyImagesFile {
 public:
  NpyImagesFile(const std::string& path, uint32_t width, uint32_t height);

  void Add(std::span<const uint16_t> values);
  // Only now is the file there.
  void Finish();

 private:
  OutputStream file_;
  const uint32_t width_;
  const uint32_t height_;
  uint64_t images_ = 0;
};

#endif
