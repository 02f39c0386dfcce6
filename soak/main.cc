// The soak's main thread: plugs the cameras in, starts the threads, samples what the process holds,
// and looks at what is left at the end.
//
//   zocam_soak [--seconds N] [--seed N] [--samples FILE.csv] [--summary FILE.json]
#include <malloc.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string_view>

#include "soak/process_sample.h"
#include "soak/stored_recording.h"

namespace {

using namespace std::chrono_literals;
using soak::Camera;
using soak::Count;
using soak::Dice;
using soak::ProcessSample;
using soak::Pulse;
using soak::SharedState;

constexpr std::array<uint16_t, 5> kProducts = {0x6101, 0x6100, 0x6103, 0x6102, 0x6120};
constexpr int kPlayers = 2;
constexpr auto kSampleEvery = 500ms;
constexpr auto kLongestSilence = 60s;  // no call waits as long as that

struct Options {
  double seconds = 60.0;
  uint64_t seed = std::random_device{}();
  std::string samples;
  std::string summary;
};

template <typename Number>
void ReadNumber(std::string_view text, Number& number) {
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  if (error == std::errc{} && rest == end) return;
  std::fprintf(stderr, "soak: not a number: %s\n", text.data());
  std::exit(2);
}

Options ReadOptions(int count, char** words) {
  Options options;
  for (int i = 1; i + 1 < count; i += 2) {
    const std::string_view name = words[i];
    const std::string_view value = words[i + 1];
    if (name == "--seconds") {
      ReadNumber(value, options.seconds);
    } else if (name == "--seed") {
      ReadNumber(value, options.seed);
    } else if (name == "--samples") {
      options.samples = value;
    } else if (name == "--summary") {
      options.summary = value;
    } else {
      count = 0;
    }
  }
  if (count % 2 == 1) return options;
  std::fprintf(stderr,
               "usage: zocam_soak [--seconds N] [--seed N] [--samples FILE] [--summary FILE]\n");
  std::exit(2);
}

void PlugCameras(SharedState& shared) {
  for (const uint16_t product : kProducts) {
    auto camera = std::make_unique<Camera>();
    camera->product = product;
    camera->serial = 1000U + product;
    camera->device = zosim::Host().PlugCamera({.productId = product,
                                               .serialNumber = camera->serial,
                                               .noiseKelvin = 0.05,
                                               .stampsFrames = true});
    camera->device->SetPace(zosim::Pace::Rate(zosim::kHighRate));
    camera->device->SetTimings({.noAnswerMs = 300});
    shared.cameras.push_back(std::move(camera));
  }
}

// All threads of the soak, each with dice and a pulse.
class Crew {
 public:
  Crew(SharedState& shared, uint64_t seed) : shared_(shared), seed_(seed) {
    for (const auto& camera : shared.cameras) {
      const std::string name = "camera " + std::to_string(camera->serial);
      Start("owner of " + name, [&shared, own = camera.get()](Dice dice, Pulse& pulse) {
        soak::OwnCamera(shared, *own, dice, pulse);
      });
      Start("commander of " + name, [&shared, own = camera.get()](Dice dice, Pulse& pulse) {
        soak::CommandCamera(shared, *own, dice, pulse);
      });
    }
    for (int i = 0; i < kPlayers; ++i) {
      Start("player",
            [&shared](Dice dice, Pulse& pulse) { soak::PlayRecordings(shared, dice, pulse); });
    }
    Start("meddler", [&shared](Dice dice, Pulse& pulse) { soak::Meddle(shared, dice, pulse); });
  }

  // Ends the program when a thread is stuck: none of them waits for long.
  void CheckPulses() const {
    for (const auto& pulse : pulses_) {
      if (pulse->Silence() < kLongestSilence) continue;
      std::fprintf(stderr, "soak: %s is stuck; seed %llu\n", pulse->name().c_str(),
                   static_cast<unsigned long long>(seed_));
      std::abort();
    }
  }

  void Join() {
    shared_.ends = true;
    while (running_ > 0) {
      CheckPulses();
      std::this_thread::sleep_for(10ms);
    }
    for (std::thread& thread : threads_) thread.join();
  }

 private:
  template <typename Body>
  void Start(std::string name, Body body) {
    Pulse& pulse = *pulses_.emplace_back(std::make_unique<Pulse>(std::move(name)));
    ++running_;
    threads_.emplace_back([this, body, dice = Dice(seed_ * 1000 + threads_.size()), &pulse] {
      body(dice, pulse);
      --running_;
    });
  }

  SharedState& shared_;
  const uint64_t seed_;
  std::atomic<int> running_ = 0;
  std::vector<std::unique_ptr<Pulse>> pulses_;
  std::vector<std::thread> threads_;
};

void Soak(SharedState& shared, const Options& options) {
  Crew crew(shared, options.seed);
  std::ofstream samples(options.samples);
  samples << "seconds,residentKiB,heapKiB,descriptors,threads,framesSeen,pulls\n";
  const auto start = std::chrono::steady_clock::now();
  std::chrono::duration<double> passed{};
  while (passed.count() < options.seconds) {
    std::this_thread::sleep_for(kSampleEvery);
    crew.CheckPulses();
    zosim::Host().ClearLog();
    for (const auto& camera : shared.cameras) camera->device->ForgetFrames();
    const ProcessSample sample = soak::SampleProcess();
    passed = std::chrono::steady_clock::now() - start;
    samples << passed.count() << ',' << sample.residentKiB << ',' << sample.heapKiB << ','
            << sample.descriptors << ',' << sample.threads << ','
            << shared.findings.Of(Count::kSeen) << ',' << shared.findings.Of(Count::kPulls)
            << std::endl;
  }
  crew.Join();
}

void CheckNothingIsLeft(SharedState& shared, const ProcessSample& before) {
  if (zosim::Host().Live() != zosim::LiveCounts{}) {
    shared.findings.Found(Count::kLeft, "descriptors, mappings or buffers of a camera");
  }
  ProcessSample after = soak::SampleProcess();
  for (int tries = 0; tries < 100 && after.threads > before.threads; ++tries) {
    std::this_thread::sleep_for(10ms);  // the kernel counts a joined thread a little longer
    after = soak::SampleProcess();
  }
  if (after.threads != before.threads) shared.findings.Found(Count::kLeft, "a thread");
  if (after.descriptors != before.descriptors) shared.findings.Found(Count::kLeft, "a descriptor");
}

}  // namespace

int main(int count, char** words) {
  const Options options = ReadOptions(count, words);
#ifdef M_ARENA_MAX
  // One heap for all threads: with one for each, resident memory goes up for many minutes only
  // because blocks of any age come to lie in all of them.
  mallopt(M_ARENA_MAX, 1);
#endif
  std::printf("seed %llu\n", static_cast<unsigned long long>(options.seed));
  std::fflush(stdout);
  SharedState shared;
  shared.folder =
      std::filesystem::temp_directory_path() / ("zocam-soak-" + std::to_string(getpid()));
  std::filesystem::create_directories(shared.folder);
  std::thread([] {}).join();  // a sanitizer starts its own thread with the first one
  const ProcessSample before = soak::SampleProcess();

  PlugCameras(shared);
  Soak(shared, options);
  CheckNothingIsLeft(shared, before);
  shared.shelf.clear();
  std::filesystem::remove_all(shared.folder);

  const std::string summary = "{\"seed\": " + std::to_string(options.seed) +
                              ", \"seconds\": " + std::to_string(options.seconds) +
                              ", \"wrong\": " + std::to_string(shared.findings.Wrong()) + ", " +
                              shared.findings.AsJson() + "}\n";
  std::printf("%s", summary.c_str());
  if (!options.summary.empty()) std::ofstream(options.summary) << summary;
  return shared.findings.Wrong() == 0 && shared.findings.Of(Count::kSeen) > 0 ? 0 : 1;
}
