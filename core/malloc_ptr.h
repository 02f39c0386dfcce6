// Owned malloc memory, for the buffers that the record holds and the arrays it hands out.
#ifndef ZOCAM_CORE_MALLOC_PTR_H
#define ZOCAM_CORE_MALLOC_PTR_H

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <type_traits>

struct FreeDeleter {
  void operator()(void* memory) const noexcept { std::free(memory); }
};

template <class T>
using MallocPtr = std::unique_ptr<T, FreeDeleter>;

// A zeroed array of count elements, or null when there is no memory.
template <class T>
MallocPtr<T[]> AllocateZeroed(std::size_t count) noexcept {
  static_assert(std::is_trivial_v<T>);
  // NOLINTNEXTLINE(bugprone-sizeof-expression): arrays of handles are meant to hold pointers
  return MallocPtr<T[]>(static_cast<T*>(std::calloc(count, sizeof(T))));
}

// Makes sure that the array exists; false when there is no memory.
template <class T>
bool EnsureAllocated(MallocPtr<T[]>& array, std::size_t count) noexcept {
  if (!array) array = AllocateZeroed<T>(count);
  return array != nullptr;
}

#endif
