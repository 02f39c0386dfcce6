#include "core/moving_average.h"

#include <new>

MovingAvg::MovingAvg() = default;
MovingAvg::MovingAvg(int window) { Init(window); }
MovingAvg::~MovingAvg() { delete[] values_; }

void MovingAvg::Init(int window) {
  delete[] values_;
  size_ = window;
  values_ = window > 0 ? new (std::nothrow) double[static_cast<std::size_t>(window)]() : nullptr;
}

void MovingAvg::Put(double value) {
  if (values_ == nullptr) return;
  if (count_ < size_) ++count_;
  if (next_ >= size_) next_ = 0;  // the window was made shorter
  values_[next_] = value;
  next_ = (next_ + 1) % size_;
}

double MovingAvg::Get() {
  if (values_ == nullptr) return 0.0;
  if (count_ < size_) return values_[(next_ + size_ - 1) % size_];
  double sum = 0.0;
  for (int32_t i = 0; i < size_; ++i) sum += values_[i];
  return sum / size_;
}
