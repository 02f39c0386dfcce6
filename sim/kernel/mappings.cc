// mmap and munmap of driver buffers.
#include <sys/mman.h>

#include <cerrno>

#include "sim/kernel/calls.h"
#include "sim/kernel/claims.h"
#include "sim/kernel/host_state.h"

namespace zosim::kernel {
namespace {

// The buffer to map, or why not.
int FindBuffer(const OpenFile& file, size_t length, int protection, int flags, long offset,
               std::shared_ptr<DriverBuffer>* memory) {
  if (!file.attachment->registered) return ENODEV;
  const bool shared = (flags & MAP_TYPE) == MAP_SHARED || (flags & MAP_TYPE) == MAP_SHARED_VALIDATE;
  if (file.node->kind != NodeKind::kCapture || !shared || (protection & PROT_READ) == 0) {
    return EINVAL;
  }
  *memory = file.attachment->queue.AtOffset(static_cast<uint64_t>(offset));
  if (*memory == nullptr || length > (*memory)->pageRoundedLength()) return EINVAL;
  return 0;
}

}  // namespace

int Map(void* address, size_t length, int protection, int flags, int fd, long offset,
        void** mapped) {
  HostState& host = State();
  Lock lock(host.mutex);
  Advance(host);
  const auto found = host.files.find(fd);
  if (found == host.files.end()) return -ENODEV;
  const std::shared_ptr<OpenFile> file = found->second;
  LogEntry entry;
  entry.call = Call::kMap;
  entry.name = "mmap";
  entry.node = file->node->number;
  entry.fd = fd;
  entry.arguments = {static_cast<uint32_t>(offset), static_cast<uint32_t>(length)};

  std::shared_ptr<DriverBuffer> memory;
  if (file->attachment->camera != nullptr) {
    entry.error = file->attachment->camera->faults.Take(Step::kMap);
  }
  if (entry.error == 0) {
    entry.error = FindBuffer(*file, length, protection, flags, offset, &memory);
  }
  void* made = MAP_FAILED;
  if (entry.error == 0) {
    made = mmap(address, length, protection, flags, memory->file(), 0);
    if (made == MAP_FAILED) entry.error = errno;
  }
  host.log.Add(entry);
  if (entry.error != 0) return -entry.error;
  const auto at = reinterpret_cast<uintptr_t>(made);
  if (!mappingClaims.Add(at)) {
    munmap(made, length);
    return -ENOMEM;
  }
  host.mappings[at] = {file, std::move(memory), length};
  *mapped = made;
  return 0;
}

int Unmap(void* address, size_t length) {
  HostState& host = State();
  Lock lock(host.mutex);
  Advance(host);
  const auto at = reinterpret_cast<uintptr_t>(address);
  const auto found = host.mappings.find(at);
  if (found != host.mappings.end()) {
    LogEntry entry;
    entry.call = Call::kUnmap;
    entry.name = "munmap";
    entry.node = found->second.file->node->number;
    entry.fd = found->second.file->descriptor;
    entry.arguments = {0, static_cast<uint32_t>(length)};
    // Nobody unmaps a part of a buffer on purpose; say so instead of losing track of the rest.
    const bool whole = PageRounded(length) >= PageRounded(found->second.length);
    if (!whole) entry.error = EINVAL;
    host.log.Add(entry);
    if (!whole) return -EINVAL;
    mappingClaims.Remove(at);
    host.mappings.erase(found);
  }
  return munmap(address, length) < 0 ? -errno : 0;
}

}  // namespace zosim::kernel
