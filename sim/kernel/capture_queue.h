// The driver's buffer queue of one plugged-in camera: who holds which buffer. It decides nothing
// about time; frames are put into it by frame_source.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "sim/kernel/driver_buffer.h"

namespace zosim::kernel {

using Time = std::chrono::steady_clock::time_point;

class CaptureQueue {
 public:
  enum class Holder {
    kProgram,  // dequeued, or never queued
    kDriver,   // queued, waiting for a frame
    kDone,     // filled, waiting to be dequeued
  };
  struct Slot {
    std::shared_ptr<DriverBuffer> memory;
    Holder holder = Holder::kProgram;
    bool error = false;  // holds no valid frame
    bool filledOnce = false;
    uint32_t bytesUsed = 0;
    uint32_t sequence = 0;
    Time timestamp;
  };

  // The operations give 0 or an errno.
  int Allocate(uint32_t count, uint32_t length);
  void Free();  // mapped memory lives on through its mappings
  int Queue(uint32_t index);
  int Dequeue(uint32_t* index);  // EAGAIN when nothing is done
  void Start();
  void Stop();  // every buffer goes back to the program

  // The oldest buffer that waits for a frame, or null.
  Slot* NextEmpty();
  // That buffer becomes the newest done one.
  void Complete(uint32_t bytesUsed, uint32_t sequence, bool error, Time timestamp);

  bool streaming() const { return streaming_; }
  bool hasDone() const { return !done_.empty(); }
  bool allTaken() const { return waiting_.empty(); }
  bool allWaiting() const { return waiting_.size() == slots_.size(); }
  const std::vector<Slot>& slots() const { return slots_; }
  // The buffer at an mmap offset, or null.
  std::shared_ptr<DriverBuffer> AtOffset(uint64_t offset) const;
  uint32_t OffsetOf(uint32_t index) const;

 private:
  std::vector<Slot> slots_;
  std::deque<uint32_t> waiting_;
  std::deque<uint32_t> done_;
  bool streaming_ = false;
};

}  // namespace zosim::kernel
