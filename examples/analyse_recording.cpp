// Offline analysis of a recording: where and when was it hottest, and how did the mean of each
// frame go? Prints a table of time, mean and maximum in degrees Celsius, then the summary.
// Usage: analyse_recording FILE
#include <algorithm>
#include <cstdio>
#include <numeric>
#include <zocam/zocam.hpp>

namespace {

struct Hottest {
  double celsius = -273.15;
  double seconds = 0.0;
  uint32_t x = 0, y = 0;
};

int Run(const char* path) {
  // Passive: every frame, as fast as this loop takes them.
  zocam::Recording film = zocam::Recording::OpenPassive(path);
  film.StartQueue();
  Hottest hottest;
  unsigned undecoded = 0;
  std::printf("seconds,mean,maximum\n");
  while (const auto frame = film.NextFrame()) {
    const auto image = frame->TryTemperatures();
    if (!image) {
      ++undecoded;
      continue;
    }
    const auto& values = image->values;
    const auto most = std::ranges::max_element(values);
    const double sum = std::accumulate(values.begin(), values.end(), 0.0);
    const double seconds = std::chrono::duration<double>(frame->Stamp()->timeOffset).count();
    const double maximum = zocam::Celsius(*most, image->resolution);
    const double mean = zocam::Celsius(sum / static_cast<double>(values.size()), image->resolution);
    std::printf("%.3f,%.2f,%.2f\n", seconds, mean, maximum);
    if (maximum > hottest.celsius) {
      const auto pixel = static_cast<uint32_t>(most - values.begin());
      hottest = {maximum, seconds, pixel % image->width, pixel / image->width};
    }
  }
  std::fprintf(stderr,
               "%s: %u frames, %u without temperatures; hottest %.2f C at %.3f s, pixel %u,%u\n",
               path, film.LastFrameNumber(), undecoded, hottest.celsius, hottest.seconds, hottest.x,
               hottest.y);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: analyse_recording FILE\n");
    return 2;
  }
  try {
    return Run(argv[1]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
