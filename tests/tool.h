// The zocam command as users run it: on virtual cameras, through the launcher.
#ifndef ZOCAM_TESTS_TOOL_H
#define ZOCAM_TESTS_TOOL_H

#include <gtest/gtest.h>
#include <png.h>
#include <sys/wait.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

struct Outcome {
  int status;
  std::string out;  // standard output and error together
};

inline Outcome Shell(const std::string& line) {
  Outcome outcome{-1, ""};
  FILE* pipe = popen(("{ " + line + "; } 2>&1 </dev/null").c_str(), "r");
  if (pipe == nullptr) return outcome;
  char buffer[4096];
  while (size_t length = fread(buffer, 1, sizeof buffer, pipe)) outcome.out.append(buffer, length);
  const int ended = pclose(pipe);
  outcome.status = WIFEXITED(ended) ? WEXITSTATUS(ended) : 128 + WTERMSIG(ended);
  return outcome;
}

// Runs "zocam ARGUMENTS" with the launcher's options, e.g. "-c 6103".
inline Outcome Zocam(const std::string& cameras, const std::string& arguments) {
  return Shell(ZOCAM_SIM " " + cameras + " -- " ZOCAM_TOOL " " + arguments);
}

inline bool Has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

struct Png {
  uint32_t width = 0, height = 0;
  int bitDepth = 0;
  std::map<std::string, std::string> texts;
  std::vector<std::vector<uint8_t>> rows;

  unsigned Sample16(size_t x, size_t y) const {
    return static_cast<unsigned>(rows[y][2 * x] << 8 | rows[y][2 * x + 1]);
  }
};

inline Png ReadPng(const std::filesystem::path& file) {
  Png result;
  FILE* stream = fopen(file.c_str(), "rb");
  if (stream == nullptr) return result;
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_init_io(png, stream);
  png_read_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
  result.width = png_get_image_width(png, info);
  result.height = png_get_image_height(png, info);
  result.bitDepth = png_get_bit_depth(png, info);
  for (uint32_t y = 0; y < result.height; ++y) {
    const png_bytep row = png_get_rows(png, info)[y];
    result.rows.emplace_back(row, row + png_get_rowbytes(png, info));
  }
  png_textp texts = nullptr;
  for (int i = png_get_text(png, info, &texts, nullptr); i-- > 0;)
    result.texts[texts[i].key] = texts[i].text;
  png_destroy_read_struct(&png, &info, nullptr);
  fclose(stream);
  return result;
}

class Tool : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = testing::TempDir() + "zocam-tool-XXXXXX";
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder_ = name;
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }
  std::string File(const char* name) const { return folder_ / name; }
  size_t FileCount() const {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(folder_), {}));
  }
  std::filesystem::path folder_;
};

#endif
