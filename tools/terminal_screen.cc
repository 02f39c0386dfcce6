#include "tools/terminal_screen.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <initializer_list>

#include "tools/advice.h"

namespace {

constexpr std::string_view kEnter = "\x1b[?1049h\x1b[?25l\x1b[2J";  // other screen, no cursor
constexpr std::string_view kLeave = "\x1b[0m\x1b[?25h\x1b[?1049l";
constexpr std::initializer_list<int> kEndSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
constexpr std::initializer_list<int> kCrashSignals = {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL};

// Reached from signal handlers.
volatile std::sig_atomic_t endSignal = 0;
volatile std::sig_atomic_t screenTaken = 0;
volatile std::sig_atomic_t keysTaken = 0;
termios savedKeys;

void GiveBack() {
  if (screenTaken != 0 && write(STDOUT_FILENO, kLeave.data(), kLeave.size()) < 0) {
    // Nothing is left to be told it on.
  }
  if (keysTaken != 0) tcsetattr(STDIN_FILENO, TCSANOW, &savedKeys);
  screenTaken = 0;
  keysTaken = 0;
}

void OnEndSignal(int signal) { endSignal = signal; }

// The handler is gone by now: raised again, the signal ends the program as it would have.
void OnCrashSignal(int signal) {
  GiveBack();
  raise(signal);
}

void Handle(std::initializer_list<int> signals, void (*handler)(int), int flags) {
  for (int signal : signals) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
  }
}

void TakeKeys() {
  if (isatty(STDIN_FILENO) == 0 || tcgetattr(STDIN_FILENO, &savedKeys) != 0) return;
  termios keys = savedKeys;
  keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  keys.c_cc[VMIN] = 0;
  keys.c_cc[VTIME] = 0;
  keys.c_cc[VSUSP] = _POSIX_VDISABLE;  // a stopped program would leave its screen behind
  keysTaken = 1;
  tcsetattr(STDIN_FILENO, TCSANOW, &keys);
}

}  // namespace

TerminalScreen::TerminalScreen() : isTerminal_(isatty(STDOUT_FILENO) != 0) {
  Handle(kEndSignals, OnEndSignal, 0);
  if (!isTerminal_) return;
  Handle(kCrashSignals, OnCrashSignal, static_cast<int>(SA_RESETHAND | SA_NODEFER));
  TakeKeys();
  screenTaken = 1;
  try {
    Write(kEnter);
  } catch (...) {
    GiveBack();
    throw;
  }
}

TerminalScreen::~TerminalScreen() { GiveBack(); }

CellSize TerminalScreen::Size() const {
  winsize window{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) != 0 || window.ws_col == 0 || window.ws_row == 0)
    return {80, 24};
  return {window.ws_col, window.ws_row};
}

bool TerminalScreen::KeyPressed(std::string_view keys) const {
  if (keysTaken == 0) return false;
  pollfd input{STDIN_FILENO, POLLIN, 0};
  char key = 0;
  while (poll(&input, 1, 0) > 0 && read(STDIN_FILENO, &key, 1) == 1)
    if (keys.find(key) != std::string_view::npos) return true;
  return false;
}

int TerminalScreen::EndSignal() { return endSignal; }

void TerminalScreen::Write(std::string_view text) const {
  while (!text.empty()) {
    const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
    if (written < 0 && errno == EINTR && endSignal == 0) continue;
    if (written < 0 && errno == EINTR) return;  // the program is about to end
    if (written < 0) throw ToolError("cannot write to standard output: " + ErrnoText(errno));
    text.remove_prefix(static_cast<size_t>(written));
  }
}
