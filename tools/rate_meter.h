// Frames per second, as they come.
#ifndef ZOCAM_TOOLS_RATE_METER_H
#define ZOCAM_TOOLS_RATE_METER_H

#include <chrono>
#include <cstdint>
#include <deque>

// Over the last second or two.
class RateMeter {
 public:
  using Clock = std::chrono::steady_clock;

  // To be told now and then how many frames there have been.
  void Count(Clock::time_point now, uint64_t frames) {
    counts_.push_back({now, frames});
    while (counts_.size() > 2 && now - counts_.front().time > std::chrono::seconds(2))
      counts_.pop_front();
  }
  double PerSecond() const {
    if (counts_.size() < 2 || counts_.back().time == counts_.front().time) return 0.0;
    const std::chrono::duration<double> span = counts_.back().time - counts_.front().time;
    return static_cast<double>(counts_.back().frames - counts_.front().frames) / span.count();
  }

 private:
  struct Reading {
    Clock::time_point time;
    uint64_t frames;
  };
  std::deque<Reading> counts_;
};

#endif
