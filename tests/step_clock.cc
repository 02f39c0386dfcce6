// Preloaded into a program: a wall clock that is set by ZOCAM_CLOCK_STEP seconds as soon as the
// file ZOCAM_CLOCK_STEPPED exists. Asks the kernel itself, since the virtual camera stands in the
// place of the C library's calls.
#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>

namespace {

long StepS() {
  static const char* const file = std::getenv("ZOCAM_CLOCK_STEPPED");
  static const char* const step = std::getenv("ZOCAM_CLOCK_STEP");
  if (file == nullptr || step == nullptr) return 0;
  return syscall(SYS_faccessat, AT_FDCWD, file, F_OK) == 0 ? std::atol(step) : 0;
}

}  // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* now) noexcept {
  const long result = syscall(SYS_clock_gettime, clock, now);
  if (result == 0 && clock == CLOCK_REALTIME) now->tv_sec += StepS();
  return static_cast<int>(result);
}

int gettimeofday(timeval* now, void* /*zone*/) noexcept {
  timespec exact{};
  const int result = clock_gettime(CLOCK_REALTIME, &exact);
  *now = {exact.tv_sec, exact.tv_nsec / 1000};
  return result;
}

time_t time(time_t* now) noexcept {
  timespec exact{};
  clock_gettime(CLOCK_REALTIME, &exact);
  if (now != nullptr) *now = exact.tv_sec;
  return exact.tv_sec;
}
}
