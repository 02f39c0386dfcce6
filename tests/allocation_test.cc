// Decoding and rendering allocate nothing after a frame of each kind has been seen.
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/raw_camera.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ZOCAM_COUNTS_ALLOCATIONS 0
#else
#define ZOCAM_COUNTS_ALLOCATIONS 1
#endif

namespace {
thread_local long allocations = 0;
}

#if ZOCAM_COUNTS_ALLOCATIONS
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);

void* malloc(size_t size) { return ++allocations, __libc_malloc(size); }
void* calloc(size_t count, size_t size) { return ++allocations, __libc_calloc(count, size); }
void* realloc(void* memory, size_t size) { return ++allocations, __libc_realloc(memory, size); }
}
#endif

namespace {

TEST(Decoding, AllocatesNothingAfterTheFirstFrame) {
  if (!ZOCAM_COUNTS_ALLOCATIONS) GTEST_SKIP() << "a sanitizer owns malloc";
  for (uint16_t product : {0x6101, 0x6102, 0x6103, 0x6110, 0x6120}) {
    RawCamera camera(product);
    camera.SetSteady(100000, 90000);
    ZoLib_SetNoiseFilter(camera.dev, 1);
    ZoLib_SetUndistortion(camera.dev, 1);
    ZoLib_SetCircumferenceCorrection(camera.dev, 1);
    const std::vector<uint16_t> table(camera.dev->pixelCount);
    ZoLib_SetSubtractionTemp(camera.dev, 1);
    ZoLib_SetSubtractionTempTable(camera.dev, table.data(), camera.dev->imageBytes);
    ZoLib_ReflectCorrGenStart(camera.dev);
    std::vector<uint8_t> out(std::size_t{camera.dev->pixelCount} * 4);
    const auto decodeAll = [&] {
      for (uint32_t window : {0U, 1U}) {
        ZoLib_SetWindowCorrection(camera.dev, window);
        for (uint32_t format = 0; format <= 82; ++format) {
          const ZoStatus status = ZoLib_Decode(camera.dev, camera.frame.data(), out.data(),
                                               static_cast<uint32_t>(out.size()), 0, format);
          if (status != ZO_STATUS_OK && status != ZO_STATUS_INVALID_VALUE) return false;
        }
        ZoLib_FinishDecode(camera.dev);
      }
      return true;
    };
    ASSERT_TRUE(decodeAll());
    const long before = allocations;
    ASSERT_TRUE(decodeAll());
    EXPECT_EQ(allocations, before) << std::hex << product;
  }
  const long before = allocations;
  void* volatile kept = std::calloc(1, 100);
  std::free(kept);
  EXPECT_GT(allocations, before) << "this test sees allocations";
}

}  // namespace
