#include "tools/serve/jpeg_file.h"

#include <turbojpeg.h>

#include <memory>

#include "tools/advice.h"

namespace serve {
namespace {

constexpr int kQuality = 90;

using Encoder = std::unique_ptr<void, decltype([](tjhandle encoder) { tjDestroy(encoder); })>;
using Bytes = std::unique_ptr<unsigned char, decltype([](unsigned char* bytes) { tjFree(bytes); })>;

}  // namespace

std::string EncodeJpeg(const Picture& picture) {
  const Encoder encoder(tjInitCompress());
  unsigned char* bytes = nullptr;
  unsigned long size = 0;
  const int failed = tjCompress2(
      encoder.get(), picture.pixels.data()->data(), static_cast<int>(picture.width), 0,
      static_cast<int>(picture.height), TJPF_RGB, &bytes, &size, TJSAMP_444, kQuality, 0);
  const Bytes owner(bytes);
  if (failed != 0)
    throw ToolError(std::string("cannot make a JPEG: ") + tjGetErrorStr2(encoder.get()));
  return std::string(reinterpret_cast<const char*>(bytes), size);
}

}  // namespace serve
