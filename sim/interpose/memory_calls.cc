// mmap and munmap.
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "sim/interpose/next_call.h"
#include "sim/kernel/calls.h"
#include "sim/kernel/claims.h"

namespace zosim::interpose {
namespace {

using MmapFunction = void*(void*, size_t, int, int, int, off_t);

constinit NextCall<MmapFunction> nextMmap("mmap");
constinit NextCall<MmapFunction> nextMmap64("mmap64");
constinit NextCall<int(void*, size_t)> nextMunmap("munmap");

void* Mmap(NextCall<MmapFunction>& next, void* address, size_t length, int protection, int flags,
           int fd, off_t offset) {
  const bool anonymous = (flags & MAP_ANONYMOUS) != 0;
  if (!anonymous && kernel::descriptorClaims.Of(fd) == kernel::Claim::kVideoNode) {
    const Errno error;
    void* mapped = MAP_FAILED;
    error.ReturnInt(kernel::Map(address, length, protection, flags, fd, offset, &mapped));
    return mapped;
  }
  if (MmapFunction* real = next.Get()) {
    return real(address, length, protection, flags, fd, offset);
  }
  // NOLINTNEXTLINE(performance-no-int-to-ptr): this is how the system call gives an address
  return reinterpret_cast<void*>(syscall(SYS_mmap, address, length, protection, flags, fd, offset));
}

}  // namespace

extern "C" {
#pragma GCC visibility push(default)

void* InterposedMmap(void* address, size_t length, int protection, int flags, int fd,
                     off_t offset) __asm__("mmap");
void* InterposedMmap(void* address, size_t length, int protection, int flags, int fd,
                     off_t offset) {
  return Mmap(nextMmap, address, length, protection, flags, fd, offset);
}

void* InterposedMmap64(void* address, size_t length, int protection, int flags, int fd,
                       off_t offset) __asm__("mmap64");
void* InterposedMmap64(void* address, size_t length, int protection, int flags, int fd,
                       off_t offset) {
  return Mmap(nextMmap64, address, length, protection, flags, fd, offset);
}

int InterposedMunmap(void* address, size_t length) __asm__("munmap");
int InterposedMunmap(void* address, size_t length) {
  if (kernel::mappingClaims.Has(reinterpret_cast<uintptr_t>(address))) {
    const Errno error;
    return error.ReturnInt(kernel::Unmap(address, length));
  }
  if (auto* real = nextMunmap.Get()) return real(address, length);
  return static_cast<int>(syscall(SYS_munmap, address, length));
}

#pragma GCC visibility pop
}  // extern "C"

}  // namespace zosim::interpose
