// Averages the last few values of a per-frame reading.
#ifndef ZOCAM_CORE_MOVING_AVERAGE_H
#define ZOCAM_CORE_MOVING_AVERAGE_H

#include <cstdint>

#include "zocam/zocam.h"

// Until the window is full, Get is the newest value alone; from then on the mean of the window.
// A window that could not be allocated keeps nothing and reads 0.0.
class ZO_API MovingAvg {
 public:
  MovingAvg();
  explicit MovingAvg(int window);
  ~MovingAvg();
  MovingAvg(const MovingAvg&) = delete;
  MovingAvg& operator=(const MovingAvg&) = delete;

  // Another window, without values; the count of values put so far stays.
  void Init(int window);
  void Put(double value);
  double Get();

  // Forgets the values; window and storage stay.
  void Restart() { next_ = count_ = 0; }

  bool HasStorage() const { return values_ != nullptr; }

 private:
  int32_t size_ = 0;   // length of the window
  int32_t next_ = 0;   // slot that the next Put writes
  int32_t count_ = 0;  // values put so far, at most size_
  double* values_ = nullptr;
};

#endif
