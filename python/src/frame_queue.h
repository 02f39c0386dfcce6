// Frames on their way from the capture thread to Python: at most so many, the oldest give way.
#ifndef ZOCAM_PYTHON_FRAME_QUEUE_H
#define ZOCAM_PYTHON_FRAME_QUEUE_H

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>

#include "python/src/frame.h"

namespace zopy {

class FrameQueue {
 public:
  explicit FrameQueue(size_t capacity) : capacity_(capacity) {}

  // Never waits for a reader.
  void Push(std::unique_ptr<FrameData> frame) {
    std::unique_ptr<FrameData> oldest;  // freed behind the lock
    {
      const std::lock_guard lock(mutex_);
      if (frames_.size() >= capacity_) {
        oldest = std::move(frames_.front());
        frames_.pop_front();
        ++dropped_;
      }
      frames_.push_back(std::move(frame));
    }
    changed_.notify_one();
  }

  // Null after the time-out, or once woken.
  std::unique_ptr<FrameData> Pop(std::chrono::milliseconds timeout) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, timeout, [this] { return !frames_.empty() || !open_; });
    if (frames_.empty()) return nullptr;
    std::unique_ptr<FrameData> frame = std::move(frames_.front());
    frames_.pop_front();
    return frame;
  }

  // Empty and open for a new stream.
  void Begin() {
    const std::lock_guard lock(mutex_);
    frames_.clear();
    dropped_ = 0;
    open_ = true;
  }

  // Nobody waits any more.
  void End() {
    {
      const std::lock_guard lock(mutex_);
      open_ = false;
    }
    changed_.notify_all();
  }

  // Since Begin().
  uint64_t Dropped() const {
    const std::lock_guard lock(mutex_);
    return dropped_;
  }

 private:
  const size_t capacity_;
  mutable std::mutex mutex_;  // guards:
  std::condition_variable changed_;
  std::deque<std::unique_ptr<FrameData>> frames_;
  uint64_t dropped_ = 0;
  bool open_ = true;
};

}  // namespace zopy

#endif
