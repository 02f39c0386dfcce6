// Threads for what can be done for each frame alone. Frames are handed over and taken back in the
// order of the recording by one thread, which alone reads and writes files; the workers in between
// have one frame each.
#ifndef ZOCAM_TOOLS_FRAME_WORKERS_H
#define ZOCAM_TOOLS_FRAME_WORKERS_H

#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "tools/frame_sink.h"

// A frame on its way from the recording to the output.
struct FrameJob {
  zocam::FrameCopy source;
  ExportedFrame frame;
  bool hasTemperatures = false;
  std::exception_ptr failure;  // of whoever worked on it; it is told when the frame's turn comes
  bool isDone = false;
};

class FrameWorkers {
 public:
  using Work = std::function<void(uint32_t worker, FrameJob& job)>;

  // With one thread, or when no more can be made, the calling one does the work. Signals go to the
  // calling thread, whose polls they end.
  FrameWorkers(uint32_t threads, Work work);
  // Lets the frames in work be finished, and drops the others.
  ~FrameWorkers();
  FrameWorkers(const FrameWorkers&) = delete;
  FrameWorkers& operator=(const FrameWorkers&) = delete;

  // 0: the calling thread works.
  uint32_t Count() const { return static_cast<uint32_t>(threads_.size()); }

  void Add(std::unique_ptr<FrameJob> job);
  bool IsEmpty() const { return order_.empty(); }
  // Frames not yet taken: one for each worker and a few that wait for their turn. Enlarged pictures
  // take megabytes each.
  bool IsFull() const {
    return order_.size() > (threads_.empty() ? 0 : threads_.size() + kMostWaiting);
  }
  // The one added first, once it is done; throws its failure.
  std::unique_ptr<FrameJob> Take();

 private:
  static constexpr size_t kMostWaiting = 8;

  void Run(uint32_t worker);
  void DoWork(uint32_t worker, FrameJob& job) const;

  const Work work_;
  std::vector<std::thread> threads_;
  std::deque<std::unique_ptr<FrameJob>> order_;  // the calling thread's own

  std::mutex mutex_;  // guards what follows, and isDone of the jobs
  std::condition_variable added_, done_;
  std::deque<FrameJob*> waiting_;
  bool ended_ = false;
};

#endif
