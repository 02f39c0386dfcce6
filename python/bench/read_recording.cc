// What python/bench/frames.py compares the package with: reads a recording frame by frame through
// the C++ interface. Prints microseconds per frame. Usage: read_recording FILE [image|copy]; image
// decodes each frame, copy also copies as many bytes as a float image has.
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "zocam/zocam.hpp"

int main(int argc, char** argv) {
  using Clock = std::chrono::steady_clock;
  if (argc < 2) return 2;
  const std::string_view mode = argc > 2 ? argv[2] : "";
  const bool decodes = mode == "image" || mode == "copy";
  zocam::Recording film = zocam::Recording::OpenPassive(argv[1]);
  film.StartQueue();
  const size_t pixels = size_t{film.Width()} * film.Height();
  std::vector<float> from(pixels);
  std::vector<uint16_t> image(pixels);
  uint64_t sum = 0;
  uint64_t frames = 0;
  const Clock::time_point start = Clock::now();
  while (const auto frame = film.NextFrame()) {
    if (decodes) frame->Temperatures(image);
    if (mode == "copy") {
      std::vector<float> to(from);
      from[0] = static_cast<float>(image[0]);
      sum += static_cast<uint64_t>(to[pixels / 2]);
    }
    sum += image[0];
    ++frames;
  }
  const std::chrono::duration<double, std::micro> took = Clock::now() - start;
  std::printf("%.3f %llu\n", took.count() / static_cast<double>(frames),
              static_cast<unsigned long long>(sum));
}
