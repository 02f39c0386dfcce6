#include "tools/video_pipe.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/advice.h"
#include "tools/interruption.h"

namespace {

// Between looks at the signals and at the program.
constexpr int kLongestWaitMs = 200;
constexpr std::chrono::milliseconds kPause(10);

std::vector<std::string> ProgramArguments(const std::string& file, uint32_t width, uint32_t height,
                                          const std::string& rate) {
  // Players want even sizes: where they are not, a line is added.
  return {"ffmpeg",
          "-y",
          "-nostdin",
          "-loglevel",
          "error",
          "-f",
          "rawvideo",
          "-pixel_format",
          "rgb24",
          "-video_size",
          std::to_string(width) + "x" + std::to_string(height),
          "-framerate",
          rate,
          "-i",
          "pipe:0",
          "-vf",
          "pad=ceil(iw/2)*2:ceil(ih/2)*2",
          "-c:v",
          "libx264",
          "-pix_fmt",
          "yuv420p",
          "-crf",
          "18",
          "-movflags",
          "+faststart",
          "-f",
          "mp4",
          "file:" + file};
}

// In a process group of its own: Ctrl-C is for this program, which removes the file then.
pid_t Spawn(const std::string& program, std::vector<std::string> arguments, int input,
            int messages) {
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_adddup2(&files, input, STDIN_FILENO);
  posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_adddup2(&files, messages, STDERR_FILENO);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  posix_spawnattr_setpgroup(&attributes, 0);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
  std::vector<char*> pointers;
  pointers.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  pid_t process = -1;
  const int error =
      posix_spawn(&process, program.c_str(), &files, &attributes, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&files);
  posix_spawnattr_destroy(&attributes);
  if (error != 0) throw ToolError("cannot start " + program + ": " + ErrnoText(error));
  return process;
}

// The last line that is not empty.
std::string LastLine(int file) {
  std::array<char, 4096> end{};
  const off_t size = lseek(file, 0, SEEK_END);
  const auto length = static_cast<off_t>(end.size());
  const ssize_t read = pread(file, end.data(), end.size(), size > length ? size - length : 0);
  std::string_view text(end.data(), read > 0 ? static_cast<size_t>(read) : 0);
  while (text.ends_with('\n')) text.remove_suffix(1);
  return std::string(text.substr(text.rfind('\n') + 1));
}

}  // namespace

std::string FindVideoProgram() {
  const char* places = std::getenv("PATH");
  std::string_view rest = places != nullptr ? places : "";
  while (!rest.empty()) {
    const size_t colon = rest.find(':');
    const std::string_view folder = rest.substr(0, colon);
    std::string program = (folder.empty() ? "." : std::string(folder)) + "/ffmpeg";
    if (access(program.c_str(), X_OK) == 0) return program;
    rest.remove_prefix(colon == std::string_view::npos ? rest.size() : colon + 1);
  }
  throw ToolError("videos need the program ffmpeg, which is not here; install the package ffmpeg");
}

VideoPipe::VideoPipe(const std::string& program, const std::string& file, uint32_t width,
                     uint32_t height, const std::string& rate)
    : program_(program), messages_(memfd_create("messages", MFD_CLOEXEC)) {
  std::array<int, 2> ends{};
  if (messages_ < 0 || pipe2(ends.data(), O_CLOEXEC) != 0) {
    const int error = errno;
    if (messages_ >= 0) close(messages_);
    throw ToolError("cannot start " + program + ": " + ErrnoText(error));
  }
  std::signal(SIGPIPE, SIG_IGN);  // a program that gave up shows in the result of a write
  input_ = ends[1];
  fcntl(input_, F_SETFL, O_NONBLOCK);  // so that a program that takes nothing holds up nobody
  try {
    process_ = Spawn(program, ProgramArguments(file, width, height, rate), ends[0], messages_);
  } catch (...) {
    for (int fd : {ends[0], ends[1], messages_}) close(fd);
    throw;
  }
  close(ends[0]);
}

VideoPipe::~VideoPipe() {
  if (process_ > 0) kill(process_, SIGKILL);
  Wait();
  close(messages_);
}

void VideoPipe::Write(const Picture& picture) {
  static_assert(sizeof(Rgb) == 3);
  std::span<const Rgb> pixels = picture.pixels;
  std::span<const uint8_t> bytes(pixels.data()->data(), pixels.size_bytes());
  while (!bytes.empty()) {
    const ssize_t written = write(input_, bytes.data(), bytes.size());
    if (written < 0 && errno == EAGAIN) {
      AwaitRoom();
      continue;
    }
    if (written < 0 && errno != EINTR) FailAsToldByProgram();
    if (written < 0) continue;
    bytes = bytes.subspan(static_cast<size_t>(written));
  }
}

void VideoPipe::AwaitRoom() const {
  ThrowIfInterrupted();
  pollfd room{input_, POLLOUT, 0};
  poll(&room, 1, kLongestWaitMs);
}

void VideoPipe::Finish() {
  // The end of its input tells the program to complete the video.
  close(std::exchange(input_, -1));
  siginfo_t ended{};
  while (waitid(P_PID, static_cast<id_t>(process_), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
         ended.si_pid == 0) {
    ThrowIfInterrupted();
    EndSignalWithin(kPause);
  }
  const int status = Wait();
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) FailAsToldByProgram();
}

int VideoPipe::Wait() {
  if (input_ >= 0) close(std::exchange(input_, -1));
  int status = 0;
  const pid_t process = std::exchange(process_, -1);
  if (process > 0)
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) continue;
  return status;
}

void VideoPipe::FailAsToldByProgram() {
  Wait();
  const std::string said = LastLine(messages_);
  throw ToolError(program_ + " failed" + (said.empty() ? " and did not say why" : ": " + said));
}
