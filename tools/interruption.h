// Work that a signal ends early, taking back what it has begun.
#ifndef ZOCAM_TOOLS_INTERRUPTION_H
#define ZOCAM_TOOLS_INTERRUPTION_H

#include "tools/end_signal.h"

struct Interruption {
  int signal;
};

// Called again and again by such work. Never throws where NoticeEndSignals() was not called.
inline void ThrowIfInterrupted() {
  if (const int signal = EndSignal()) throw Interruption{signal};
}

// The exit status of the work, or that of a program ended by the signal.
template <typename Work>
int RunInterruptibly(Work work) {
  try {
    return work();
  } catch (const Interruption& interruption) {
    return 128 + interruption.signal;
  }
}

#endif
