#include "tools/end_signal.h"

#include <poll.h>

#include <csignal>
#include <initializer_list>

#include "tools/commands.h"

namespace {

constexpr std::initializer_list<int> kEndSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

volatile std::sig_atomic_t endSignal = 0;

void OnEndSignal(int signal) { endSignal = signal; }

}  // namespace

void NoticeEndSignals() {
  for (int signal : kEndSignals) {
    struct sigaction action {};
    const bool isKnown = sigaction(signal, nullptr, &action) == 0;
    if (signal == SIGHUP && isKnown && action.sa_handler == SIG_IGN) continue;  // nohup
    action = {};
    action.sa_handler = OnEndSignal;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
  }
}

int EndSignal() { return endSignal; }

int EndSignalWithin(std::chrono::milliseconds time) {
  if (endSignal == 0) poll(nullptr, 0, static_cast<int>(time.count()));
  return endSignal;
}

int StatusAfterSignal(int signal) { return signal == 0 || signal == SIGINT ? kDone : 128 + signal; }
