#include "sim/kernel/faults.h"

#include <utility>

#include "sim/model/firmware.h"

namespace zosim {

void FaultPlan::Add(Step step, std::optional<uint8_t> selector, int error, unsigned skip,
                    unsigned times) {
  if (times > 0) faults_.push_back({step, selector, error, skip, times});
}

int FaultPlan::Take(Step step, std::optional<uint8_t> selector) {
  int error = 0;
  for (size_t i = 0; i < faults_.size();) {
    Fault& fault = faults_[i];
    const bool matches = fault.step == step && (!fault.selector || fault.selector == selector);
    if (!matches || error != 0) {
      ++i;
    } else if (fault.skip > 0) {
      --fault.skip;
      ++i;
    } else {
      error = fault.error;
      if (fault.times != kForever && --fault.times == 0) {
        faults_.erase(faults_.begin() + static_cast<std::ptrdiff_t>(i));
      } else {
        ++i;
      }
    }
  }
  return error;
}

void HookList::Add(Moment moment, std::optional<uint8_t> selector, Action action, unsigned skip) {
  hooks_.push_back({moment, selector, std::move(action), skip});
}

std::vector<HookList::Action> HookList::Take(Moment moment, std::optional<uint8_t> selector) {
  std::vector<Action> due;
  std::erase_if(hooks_, [&](Hook& hook) {
    if (hook.moment != moment || (hook.selector && hook.selector != selector)) return false;
    if (hook.skip > 0) {
      --hook.skip;
      return false;
    }
    due.push_back(std::move(hook.action));
    return true;
  });
  return due;
}

}  // namespace zosim
