// The functions on pictures that need no handle, in buffers of exactly the sizes that they take.
#include <memory>

#include "zocam/zocam.h"

#include "fuzz/input.h"
#include "simd/stage_table.h"

namespace {

constexpr uint64_t kMostBytes = 1 << 20;
constexpr uint8_t kUntouched = 0xEE;

// Small sizes that exist, or any.
uint32_t TakeSize(Input& input) {
  return (input.Byte() & 15) == 0 ? input.Take<uint32_t>() : input.Byte() % 40;
}

// Heap memory of its own, so that a step beyond its end is seen.
struct Buffer {
  explicit Buffer(uint64_t bytes)
      : size(static_cast<std::size_t>(std::min(bytes, kMostBytes))),
        at(std::make_unique<uint8_t[]>(size)) {
    std::fill_n(at.get(), size, kUntouched);
  }
  std::size_t size;
  std::unique_ptr<uint8_t[]> at;
};

void Magnify(Input& input) {
  const uint32_t width = TakeSize(input);
  const uint32_t height = TakeSize(input);
  const uint32_t bytesPerPixel = input.Byte() % 6;
  const uint32_t margin = TakeSize(input);
  const uint64_t sourceBytes = uint64_t{width} * height * bytesPerPixel;
  const uint64_t needed = uint64_t{width - std::min(margin, width)} * height * bytesPerPixel * 9;
  const bool fits = std::max({sourceBytes, needed, uint64_t{width} * height}) <= kMostBytes;
  const bool enough = fits && input.Flag();
  Buffer source(fits ? sourceBytes : 16);
  const auto piece = input.Piece();
  for (std::size_t i = 0; i < source.size && !piece.empty(); ++i)
    source.at[i] = piece[i % piece.size()];
  if (fits && needed == 0) return;
  Buffer out(enough ? needed : fits ? needed - 1 : 16);
  const bool valid = (bytesPerPixel == 3 || bytesPerPixel == 4) && margin < width;
  Bytes expected;
  for (const int32_t level : {0, 1, 2}) {
    if (ZoLib_Priv_ForceSimdLevel(level) != ZO_STATUS_OK) continue;
    std::fill_n(out.at.get(), out.size, kUntouched);
    const ZoStatus status = ZoLib_Magnify3(source.at.get(), width, height, out.at.get(),
                                           static_cast<uint32_t>(out.size), bytesPerPixel, margin);
    Expect((status == ZO_STATUS_OK) == (valid && enough), "succeeds exactly with valid sizes");
    const Bytes written(out.at.get(), out.at.get() + out.size);
    if (expected.empty()) expected = written;
    Expect(written == expected, "every level magnifies alike");
  }
}

void Expand(Input& input) {
  const uint32_t width = TakeSize(input);
  const uint32_t height = TakeSize(input);
  const auto bytesPerPixel =
      input.Flag() ? static_cast<int32_t>(3 + input.Byte() % 2) : input.Take<int32_t>();
  const uint32_t stride = TakeSize(input) * (input.Byte() & 7);
  const uint64_t sourceBytes = uint64_t{width} * height;
  const uint64_t lineBytes = uint64_t{width} * static_cast<uint64_t>(bytesPerPixel & 7);
  const uint64_t pitch = stride != 0 ? stride : lineBytes;
  const bool counts = sourceBytes <= kMostBytes && (pitch == 0 || height <= kMostBytes / pitch);
  const bool valid = (bytesPerPixel == 3 || bytesPerPixel == 4) && pitch >= lineBytes;
  Buffer source(counts ? sourceBytes : 16);
  const uint64_t needed = counts ? pitch * height : 16;
  const bool enough = counts && (needed == 0 || input.Flag());
  Buffer out(enough || needed == 0 ? needed : needed - 1);
  const ZoStatus status = ZoLib_Gray8ToRGB(source.at.get(), width, height, out.at.get(),
                                           static_cast<uint32_t>(out.size), stride, bytesPerPixel);
  Expect((status == ZO_STATUS_OK) == (valid && enough), "succeeds exactly with valid sizes");
  if (status == ZO_STATUS_OK) return;
  Expect(std::all_of(out.at.get(), out.at.get() + out.size,
                     [](uint8_t byte) { return byte == kUntouched; }),
         "nothing is written on failure");
}

void Translate(Input& input) {
  const auto format = input.Take<uint32_t>();
  std::vector<uint32_t> table(ZoLib_GetColorTableSize(format));
  ZoLib_GetColorTable(format, table.data());
  for (auto* translate : {ZoLib_GetManualGainType, ZoLib_GetNonLinearAutoGainType,
                          ZoLib_GetLinearAutoGainType, ZoLib_GetAutoGainType}) {
    const int32_t code = translate(static_cast<int32_t>(format));
    Expect(code == -1 || translate(code) == code, "a translated code is its own translation");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  Input input(data, size);
  switch (input.Byte() % 3) {
    case 0:
      Magnify(input);
      break;
    case 1:
      Expand(input);
      break;
    default:
      Translate(input);
      break;
  }
  return 0;
}
