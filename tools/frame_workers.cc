#include "tools/frame_workers.h"

#include <pthread.h>

#include <csignal>
#include <exception>
#include <utility>

namespace {

// Threads begun meanwhile get no signals.
class SignalsHeldBack {
 public:
  SignalsHeldBack() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~SignalsHeldBack() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsHeldBack(const SignalsHeldBack&) = delete;
  SignalsHeldBack& operator=(const SignalsHeldBack&) = delete;

 private:
  sigset_t before_;
};

}  // namespace

FrameWorkers::FrameWorkers(uint32_t threads, Work work) : work_(std::move(work)) {
  if (threads < 2) return;
  const SignalsHeldBack heldBack;
  threads_.reserve(threads);
  try {
    for (uint32_t worker = 0; worker < threads; ++worker)
      threads_.emplace_back([this, worker] { Run(worker); });
  } catch (const std::exception&) {
    // Those that there are do it.
  }
}

FrameWorkers::~FrameWorkers() {
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
  }
  added_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

void FrameWorkers::Add(std::unique_ptr<FrameJob> job) {
  order_.push_back(std::move(job));
  FrameJob& added = *order_.back();
  if (threads_.empty()) return DoWork(0, added);
  {
    const std::lock_guard lock(mutex_);
    waiting_.push_back(&added);
  }
  added_.notify_one();
}

std::unique_ptr<FrameJob> FrameWorkers::Take() {
  std::unique_ptr<FrameJob> job = std::move(order_.front());
  order_.pop_front();
  if (!threads_.empty()) {
    std::unique_lock lock(mutex_);
    done_.wait(lock, [&] { return job->isDone; });
  }
  if (job->failure) std::rethrow_exception(job->failure);
  return job;
}

void FrameWorkers::Run(uint32_t worker) {
  std::unique_lock lock(mutex_);
  while (true) {
    added_.wait(lock, [this] { return ended_ || !waiting_.empty(); });
    if (ended_) return;
    FrameJob& job = *waiting_.front();
    waiting_.pop_front();
    lock.unlock();
    DoWork(worker, job);
    lock.lock();
    job.isDone = true;
    done_.notify_one();
  }
}

void FrameWorkers::DoWork(uint32_t worker, FrameJob& job) const {
  try {
    work_(worker, job);
  } catch (...) {
    job.failure = std::current_exception();
  }
}
