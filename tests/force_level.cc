// Preloaded into the test programs and the tools they start, takes the instruction set that
// ZOCAM_SIMD_LEVEL names into use (0 scalar, 1 baseline, 2 AVX2): see scripts/check levels.
#include <dlfcn.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

[[gnu::constructor]] void ForceLevel() {
  const char* const level = std::getenv("ZOCAM_SIMD_LEVEL");
  void* const found = dlsym(RTLD_DEFAULT, "ZoLib_Priv_ForceSimdLevel");
  if (level == nullptr || found == nullptr) return;  // a program without the library
  const auto force = reinterpret_cast<uint32_t (*)(int32_t)>(found);
  if (force(std::atoi(level)) == 0) return;
  std::fprintf(stderr, "force_level: this machine has no level %s\n", level);
  std::abort();
}

}  // namespace
