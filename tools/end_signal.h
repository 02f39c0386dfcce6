// The signals that ask the program to end (Ctrl-C, a closed terminal, a shutdown), noticed where
// the program can leave everything in order.
#ifndef ZOCAM_TOOLS_END_SIGNAL_H
#define ZOCAM_TOOLS_END_SIGNAL_H

#include <chrono>

// From now on these signals are only remembered. A hangup that is ignored (nohup) stays ignored.
void NoticeEndSignals();

// The signal that asked the program to end, or 0.
int EndSignal();

// The same, after so long unless a signal comes before.
int EndSignalWithin(std::chrono::milliseconds time);

// The exit status of a program that only shows something and was ended by this signal: a person's
// Ctrl-C is no failure.
int StatusAfterSignal(int signal);

#endif
