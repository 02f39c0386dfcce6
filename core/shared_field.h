// A record field that two threads may touch outside a lock: every access is atomic, and the type
// says so where the field is declared. The record stays plain memory around it.
#ifndef ZOCAM_CORE_SHARED_FIELD_H
#define ZOCAM_CORE_SHARED_FIELD_H

#include <atomic>

// Acquire and release: whoever sees one field's new value also sees what was stored before it (a
// handle that reads as disconnected also reads as unconnected).
template <class T>
class SharedField {
 public:
  constexpr SharedField() noexcept : value_{} {}
  constexpr SharedField(T value) noexcept : value_{value} {}  // NOLINT: reads as a plain field
  SharedField(const SharedField&) = delete;
  SharedField& operator=(const SharedField&) = delete;

  operator T() const noexcept { return Load(); }  // NOLINT: reads as a plain field
  T operator=(T value) noexcept {                 // NOLINT: assigns as a plain field
    Store(value);
    return value;
  }
  T Load() const noexcept { return value_.load(std::memory_order_acquire); }
  void Store(T value) noexcept { value_.store(value, std::memory_order_release); }

 private:
  std::atomic<T> value_;
  static_assert(std::atomic<T>::is_always_lock_free);
};

#endif
