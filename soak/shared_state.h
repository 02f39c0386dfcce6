// What the threads of the soak share.
#pragma once

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <random>
#include <shared_mutex>
#include <string>
#include <thread>
#include <vector>

#include "sim/virtual_host.h"
#include "soak/findings.h"

namespace soak {

// What a thread decides by. Each thread has its own, so that a seed gives each the same plan.
class Dice {
 public:
  explicit Dice(uint64_t seed) : random_(seed) {}
  uint64_t Below(uint64_t limit) { return random_() % limit; }
  int Between(int low, int high) {
    return low + static_cast<int>(Below(static_cast<uint64_t>(high - low) + 1));
  }
  bool OneIn(uint64_t n) { return Below(n) == 0; }

 private:
  std::mt19937_64 random_;
};

// Shows that a thread still gets on.
class Pulse {
 public:
  explicit Pulse(std::string name) : name_(std::move(name)) { Beat(); }
  void Beat() { last_ = std::chrono::steady_clock::now().time_since_epoch().count(); }
  std::chrono::steady_clock::duration Silence() const {
    return std::chrono::steady_clock::now().time_since_epoch() -
           std::chrono::steady_clock::duration(last_.load());
  }
  const std::string& name() const { return name_; }

 private:
  const std::string name_;
  std::atomic<std::chrono::steady_clock::rep> last_;
};

struct StoredRecording;

// A camera and the handle that its owner lends to others.
struct Camera {
  std::shared_ptr<zosim::VirtualCamera> device;
  uint64_t serial = 0;
  uint16_t product = 0;
  // Held shared while a handle is used, exclusively to end it: nobody may use it meanwhile.
  std::shared_mutex handleMutex;
  _ZoDev* handle = nullptr;
};

struct SharedState {
  Findings findings;
  std::atomic<bool> ends = false;
  std::mutex setupMutex;  // finding and opening cameras: one thread at a time in the process
  std::filesystem::path folder;
  std::vector<std::unique_ptr<Camera>> cameras;

  // Recordings to play; the oldest go.
  std::mutex shelfMutex;
  std::vector<std::shared_ptr<const StoredRecording>> shelf;

  // False once the soak ends.
  bool Sleep(int ms) {
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    while (!ends && std::chrono::steady_clock::now() < until) {
      std::this_thread::sleep_for(std::chrono::milliseconds(std::min(ms, 5)));
    }
    return !ends;
  }
};

// The bodies of the threads.
void OwnCamera(SharedState& shared, Camera& camera, Dice dice, Pulse& pulse);
void CommandCamera(SharedState& shared, Camera& camera, Dice dice, Pulse& pulse);
void PlayRecordings(SharedState& shared, Dice dice, Pulse& pulse);
void Meddle(SharedState& shared, Dice dice, Pulse& pulse);

}  // namespace soak
