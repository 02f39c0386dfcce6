// Which descriptors and addresses belong to the virtual kernel. Asked in every interposed call, so
// it takes no lock: a program's own files cost one load.
//
// Sanitizer runtimes make such calls before they can bear instrumented code. What the question
// needs is therefore inlined into the interposer, which is built without instrumentation.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace zosim::kernel {

enum class Claim : uint8_t { kNone, kVideoNode, kDirectory };

class DescriptorClaims {
 public:
  static constexpr int kMost = 65536;  // higher descriptors cannot be virtual

  [[gnu::always_inline]] Claim Of(int fd) const {
    if (fd < 0 || fd >= kMost) return Claim::kNone;
    return claims_[fd].load(std::memory_order_acquire);
  }
  void Set(int fd, Claim claim) { claims_[fd].store(claim, std::memory_order_release); }

 private:
  std::atomic<Claim> claims_[kMost] = {};
};

class MappingClaims {
 public:
  [[gnu::always_inline]] bool Has(uintptr_t address) const {
    if (count_.load(std::memory_order_acquire) == 0 || address == 0) return false;
    for (const auto& claimed : addresses_) {
      if (claimed.load(std::memory_order_acquire) == address) return true;
    }
    return false;
  }
  bool Add(uintptr_t address) { return Replace(0, address, 1); }
  void Remove(uintptr_t address) { Replace(address, 0, -1); }

 private:
  // Called with the virtual kernel's lock held, so that nobody else writes.
  bool Replace(uintptr_t before, uintptr_t after, int change) {
    for (auto& claimed : addresses_) {
      if (claimed.load(std::memory_order_relaxed) != before) continue;
      claimed.store(after, std::memory_order_release);
      count_.fetch_add(change, std::memory_order_release);
      return true;
    }
    return false;
  }

  std::atomic<uintptr_t> addresses_[512] = {};
  std::atomic<int> count_ = 0;
};

// Constant-initialised, so that they can be asked before any constructor ran.
inline constinit DescriptorClaims descriptorClaims;
inline constinit MappingClaims mappingClaims;

}  // namespace zosim::kernel
