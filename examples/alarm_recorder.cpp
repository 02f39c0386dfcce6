// Records the first camera and tells when something is hotter than a limit.
// Usage: alarm_recorder FILE CELSIUS [SECONDS], by default until Ctrl-C. Exit status 3 after an
// alarm.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <vector>
#include <zocam/zocam.hpp>

namespace {

using Clock = std::chrono::steady_clock;

volatile std::sig_atomic_t stopped = 0;

double HottestCelsius(const zocam::TemperatureImage& image) {
  return zocam::Celsius(*std::ranges::max_element(image.values), image.resolution);
}

int Run(const char* path, double limit, double seconds) {
  std::vector<zocam::Device> cameras = zocam::FindDevices();
  if (cameras.empty()) {
    std::fprintf(stderr, "no camera is connected\n");
    return 1;
  }
  zocam::Device& camera = cameras.front();
  camera.StartQueue();                 // frames for us, on this thread
  zocam::Writer writer(camera, path);  // every frame, whether or not we keep up
  std::printf("recording %s to %s\n", camera.Label().c_str(), path);

  const auto end = Clock::now() + std::chrono::duration<double>(seconds);
  bool isHot = false, wasHot = false;
  while (stopped == 0 && Clock::now() < end) {
    const auto frame = camera.NextFrame(std::chrono::milliseconds(200));
    writer.CheckWritten();  // a full disk is no reason to go on silently
    if (!frame) continue;
    const auto image = frame->TryTemperatures();
    if (!image) continue;  // the camera is not ready yet
    const double hottest = HottestCelsius(*image);
    if (hottest > limit && !isHot) std::printf("ALARM: %.2f C\n", hottest);
    isHot = hottest > limit;
    wasHot = wasHot || isHot;
  }
  writer.Finish();
  camera.Stop();
  std::printf("%u frames recorded\n", zocam::Recording::Open(path).LastFrameNumber());
  return wasHot ? 3 : 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: alarm_recorder FILE CELSIUS [SECONDS]\n");
    return 2;
  }
  std::signal(SIGINT, [](int signal) { stopped = signal; });
  try {
    constexpr double kForEver = 1e9;
    return Run(argv[1], std::atof(argv[2]), argc > 3 ? std::atof(argv[3]) : kForEver);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
