// Failures and interventions that a test arms before the call they hit.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace zosim {

// Calls that can be made to fail.
enum class Step {
  kOpen,
  kTransfer,  // UVCIOC_CTRL_QUERY
  kSetFormat,
  kSetParm,
  kRequestBuffers,  // REQBUFS 0 too
  kQueryBuffer,
  kMap,
  kQueueBuffer,
  kStreamOn,
  kStreamOff,
  kPoll,
  kDequeueBuffer,
};

// Moments at which a test can step in. The action runs on the thread that makes the call, with no
// lock of the virtual kernel held: it may unplug, replug, deliver frames, script the firmware.
enum class Moment {
  kBeforeTransfer,  // the transfer is under way, the camera has not seen it yet
  kAfterTransfer,
  kPollReady,  // poll is about to return POLLIN: between poll and dequeue
  kBeforeDequeue,
  kBeforeQueue,
  kBeforeStreamOn,
  kBeforeStreamOff,  // STREAMOFF has arrived, the stream still runs
  kDuringStreamOff,  // the stream is being stopped
  kBeforeOpen,
};

class FaultPlan {
 public:
  // The matching call number `skip` from now (0 is the next) and `times` - 1 further ones fail.
  void Add(Step step, std::optional<uint8_t> selector, int error, unsigned skip, unsigned times);
  void Clear() { faults_.clear(); }
  // Counts a call; the errno it has to fail with, or 0.
  int Take(Step step, std::optional<uint8_t> selector = std::nullopt);

 private:
  struct Fault {
    Step step;
    std::optional<uint8_t> selector;  // none: any
    int error;
    unsigned skip;
    unsigned times;  // kForever: always
  };
  std::vector<Fault> faults_;
};

class HookList {
 public:
  using Action = std::function<void()>;

  // Runs once, at the matching moment number `skip` from now.
  void Add(Moment moment, std::optional<uint8_t> selector, Action action, unsigned skip);
  void Clear() { hooks_.clear(); }
  // Counts a moment; the actions that are due.
  std::vector<Action> Take(Moment moment, std::optional<uint8_t> selector = std::nullopt);

 private:
  struct Hook {
    Moment moment;
    std::optional<uint8_t> selector;
    Action action;
    unsigned skip;
  };
  std::vector<Hook> hooks_;
};

}  // namespace zosim
