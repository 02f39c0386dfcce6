#include "tools/terminal_screen.h"

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <initializer_list>

#include "tools/advice.h"
#include "tools/end_signal.h"
#include "tools/terminal_window.h"

namespace {

constexpr std::string_view kEnter = "\x1b[?1049h\x1b[?25l\x1b[2J";  // other screen, no cursor
constexpr std::string_view kLeave = "\x1b[0m\x1b[?25h\x1b[?1049l";
constexpr auto kRestOfKey = std::chrono::milliseconds(20);
constexpr std::initializer_list<int> kCrashSignals = {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL};

// Reached from signal handlers.
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

// The handler is gone by now: raised again, the signal ends the program as it would have.
void OnCrashSignal(int signal) {
  GiveBack();
  raise(signal);
}

void GiveBackOnCrash() {
  for (int signal : kCrashSignals) {
    struct sigaction action {};
    action.sa_handler = OnCrashSignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
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

// The bytes of the first key, or 0 when its end has not come yet: ESC [ parameters and a letter or
// ~, or ESC O and a letter.
size_t KeyLength(std::string_view typed) {
  if (typed[0] != '\x1b') return 1;
  if (typed.size() < 2) return 0;
  if (typed[1] == 'O') return typed.size() < 3 ? 0 : 3;
  if (typed[1] != '[') return 1;
  for (size_t i = 2; i < typed.size(); ++i)
    if (typed[i] >= '@' && typed[i] <= '~') return i + 1;
  return 0;
}

std::string WithOneName(std::string key) {
  if (key.starts_with("\x1bO")) key[1] = '[';
  if (key == "\x1b[1~" || key == "\x1b[7~") return std::string(kKeyHome);
  if (key == "\x1b[4~" || key == "\x1b[8~") return std::string(kKeyEnd);
  return key;
}

}  // namespace

TerminalScreen::TerminalScreen() : isTerminal_(isatty(STDOUT_FILENO) != 0) {
  NoticeEndSignals();
  if (!isTerminal_) return;
  GiveBackOnCrash();
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

CellSize TerminalScreen::Size() const { return WindowSize(STDOUT_FILENO); }

bool TerminalScreen::HasKeys() const { return keysTaken != 0; }

// False when no bytes came.
bool TerminalScreen::ReadKeys(std::chrono::milliseconds timeout) {
  pollfd input{HasKeys() ? STDIN_FILENO : -1, POLLIN, 0};
  if (poll(&input, 1, static_cast<int>(timeout.count())) <= 0) return false;
  char bytes[64];
  const ssize_t length = read(STDIN_FILENO, bytes, sizeof bytes);
  if (length > 0) typed_.append(bytes, static_cast<size_t>(length));
  if (length == 0) EndSignalWithin(timeout);  // a terminal that is gone is always ready
  return length > 0;
}

std::string TerminalScreen::NextKey(std::chrono::milliseconds timeout) {
  if (typed_.empty() && !ReadKeys(timeout)) return "";
  size_t length = KeyLength(typed_);
  // The rest of a longer key is on its way, unless it was the escape key itself.
  if (length == 0 && ReadKeys(kRestOfKey)) length = KeyLength(typed_);
  if (length == 0) length = typed_.size();
  const std::string key = typed_.substr(0, length);
  typed_.erase(0, length);
  return WithOneName(key);
}

void TerminalScreen::Write(std::string_view text) const {
  while (!text.empty()) {
    const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
    if (written < 0 && errno == EINTR && EndSignal() == 0) continue;
    if (written < 0 && errno == EINTR) return;  // the program is about to end
    if (written < 0) throw ToolError("cannot write to standard output: " + ErrnoText(errno));
    text.remove_prefix(static_cast<size_t>(written));
  }
}
